// SPDX-License-Identifier: Apache-2.0
//
// Any sound image, compared with the slow model.
#include "DIBApi.h"
#include "reference/depth_model.h"
#include "support/call_image.h"
#include "support/dib.h"
#include "support/host_test.h"

namespace dibtest {
namespace {

using Bytes = std::vector<uint8_t>;

DibShape RandomShape(Random& random) {
  constexpr uint16_t kDepths[] = {1, 4, 8, 16, 24, 32};
  DibShape shape;
  shape.bits = kDepths[random.Below(6)];
  shape.width = static_cast<int32_t>(1 + random.Below(70));
  shape.height = static_cast<int32_t>(1 + random.Below(5));
  shape.core = random.Below(6) == 0;
  if (shape.core) return shape;
  if (random.Below(3) == 0) shape.height = -shape.height;
  if (shape.bits <= 8 && random.Below(2) == 0) {
    shape.clrUsed = 1 + random.Below(300);
    shape.tableEntries = static_cast<int>(shape.clrUsed);
  }
  if ((shape.bits == 16 || shape.bits == 32) && random.Below(2) == 0) {
    shape.compression = 3;
    shape.clrUsed = random.Below(2) * 3;
    for (int i = 0; i < 3; ++i) {
      shape.masks.push_back(random.Next() & random.Next() & random.Next() << random.Below(20));
    }
  } else if (random.Below(5) == 0) {
    shape.compression = 1 + random.Below(2);
    shape.rowBytes = random.Below(600);
    shape.sizeImage = static_cast<uint32_t>(shape.rowBytes);
  }
  return shape;
}

void Compare(ImageFunction function, const Dib& dib, const std::optional<Bytes>& expected) {
  for (const GuardSide side : {GuardSide::kEnd, GuardSide::kStart}) {
    ASSERT_EQ(CallImage(function, dib.Bytes(), side), expected.value_or(Bytes{}))
        << dib.Bits() << " bits, " << dib.Width() << " x " << dib.Height();
  }
}

class DepthRandom : public HostTest {};

TEST_F(DepthRandom, ImagesConvertAsTheModelSays) {
  Random random(17);
  for (int round = 0; round < 3000; ++round) {
    SCOPED_TRACE(round);
    Dib dib(RandomShape(random));
    for (size_t i = dib.TableOffset(); i < dib.Bytes().size(); ++i) {
      // Masks stay what the shape says.
      if (dib.Bits() > 8 && i < dib.RowsOffset()) continue;
      dib.Bytes()[i] = random.Byte();
    }
    Compare(TopDownToBottomUp, dib, TurnSlowly(dib.Bytes()));
    Compare(ConvertTo16BPPDIB, dib, ConvertSlowly(dib.Bytes(), 16));
    Compare(ConvertTo24BPPDIB, dib, ConvertSlowly(dib.Bytes(), 24));
    if (HasFatalFailure()) return;
  }
}

}  // namespace
}  // namespace dibtest
