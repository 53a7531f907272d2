// SPDX-License-Identifier: Apache-2.0
#include "convert/library_call.h"
#include "convert/plain.h"
#include "dibkit/Color.h"
#include "dibkit/DIBHelp.h"
#include "dibkit/host/dib_view.h"
#include "dibkit/host/locked_block.h"
#include "resample/sampled.h"

namespace dibkit::host {
namespace {

using GreyFunction = unsigned long (*)(unsigned long);

GreyFunction FunctionOf(GreyRule rule, GreyLevels levels) {
  const bool few = levels == GreyLevels::k16;
  switch (rule) {
    case GreyRule::kEasy:
      return few ? ColorToMono16Easy : ColorToMono256Easy;
    case GreyRule::kMinMax:
      return few ? ColorToMono16MinMax : ColorToMono256MinMax;
    default:
      return few ? ColorToMono16 : ColorToMono256;
  }
}

void FillGreyTable(unsigned char* dib) {
  for (unsigned level = 0; level < 256; ++level) {
    SetIndexColor(dib, static_cast<int>(level), level * 0x010101UL);
  }
}

// `from` holds blue, green, red.
void GreyRow(const unsigned char* from, unsigned char* to, uint32_t width, GreyFunction grey) {
  for (uint32_t x = 0; x < width; ++x, from += 3) {
    const uint32_t color = from[2] | uint32_t{from[1]} << 8 | uint32_t{from[0]} << 16;
    to[x] = static_cast<unsigned char>(grey(color));
  }
}

}  // namespace

OwnedBlock GreyOf24(const OwnedBlock& colours, GreyRule rule, GreyLevels levels) {
  const LockedBlock from(colours.get());
  const DibView colors(from.Bytes());
  OwnedBlock result = CallLibrary(colours, 8, [&colors](unsigned char*) {
    return CreateDIB(colors.Width(), colors.Height(), 8);
  });
  const LockedBlock to(result.get());
  FillGreyTable(to.Bytes().data());
  const DibLayout layout = LayoutOf(colors.Width(), colors.Height(), 8);
  unsigned char* row = DIBBits(to.Bytes().data());
  for (uint32_t y = 0; y < colors.Height(); ++y, row += layout.stride) {
    GreyRow(colors.Row(y).data(), row, colors.Width(), FunctionOf(rule, levels));
  }
  return result;
}

OwnedBlock PlainToGrey(const OwnedBlock& plain, GreyRule rule, GreyLevels levels) {
  const uint16_t bits = FieldsOf(plain.get()).bitCount;
  const bool isRamp = rule == GreyRule::kLuminance && levels == GreyLevels::k256;
  const OwnedBlock widened = isRamp && bits <= 8 ? OwnedBlock() : PlainTo24(plain);
  const OwnedBlock& source = widened ? widened : plain;
  if (!isRamp) {
    return GreyOf24(source, rule, levels);
  }
  const LockedBlock lock(source.get());
  const DibView image(lock.Bytes());
  return BlockMeans(image, SampleKind::kGrey, {}, {image.Width(), image.Height()}, nullptr);
}

}  // namespace dibkit::host
