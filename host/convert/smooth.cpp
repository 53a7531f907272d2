// SPDX-License-Identifier: Apache-2.0
#include "convert/smooth.h"

#include <algorithm>
#include <vector>

#include "dibkit/host/dib_view.h"
#include "dibkit/host/locked_block.h"
#include "resample/sampled.h"

namespace dibkit::host {
namespace {

// Each level and its neighbours along the row: 8 times their weighted mean.
void SumsAlong(const unsigned char* row, uint16_t* sums, uint32_t width) {
  const uint32_t last = width - 1;
  const auto sum = [row](uint32_t left, uint32_t x, uint32_t right) {
    return static_cast<uint16_t>(row[left] + 6 * row[x] + row[right]);
  };
  sums[0] = sum(0, 0, std::min(1U, last));
  for (uint32_t x = 1; x < last; ++x) {
    sums[x] = sum(x - 1, x, x + 1);
  }
  sums[last] = sum(last - std::min(1U, last), last, last);
}

void MeansAcross(const uint16_t* above, const uint16_t* here, const uint16_t* below,
                 unsigned char* row, uint32_t width) {
  constexpr unsigned kShift = 6;  // 8 x 8 parts
  constexpr uint32_t kHalf = 32;
  for (uint32_t x = 0; x < width; ++x) {
    row[x] = static_cast<unsigned char>((above[x] + 6U * here[x] + below[x] + kHalf) >> kShift);
  }
}

}  // namespace

OwnedBlock SmoothGrey(const OwnedBlock& plain) {
  OwnedBlock grey;
  {
    const LockedBlock lock(plain.get());
    const DibView image(lock.Bytes());
    grey = BlockMeans(image, SampleKind::kGrey, {}, {image.Width(), image.Height()}, nullptr);
  }
  const LockedBlock lock(grey.get());
  const DibView view(lock.Bytes());
  unsigned char* rows = lock.Bytes().data() + view.Layout().rowsOffset;
  const auto stride = static_cast<size_t>(view.Layout().stride);
  std::vector<uint16_t> above(view.Width());
  std::vector<uint16_t> here(view.Width());
  std::vector<uint16_t> below(view.Width());
  SumsAlong(rows, here.data(), view.Width());
  above = here;
  // A row is overwritten when its sums and those of the next are taken.
  for (uint32_t y = 0; y < view.Height(); ++y) {
    const uint32_t next = std::min(y + 1, view.Height() - 1);
    if (next != y) {
      SumsAlong(rows + next * stride, below.data(), view.Width());
    } else {
      below = here;
    }
    MeansAcross(above.data(), here.data(), below.data(), rows + y * stride, view.Width());
    above.swap(here);
    here.swap(below);
  }
  return grey;
}

}  // namespace dibkit::host
