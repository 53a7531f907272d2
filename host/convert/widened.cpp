// SPDX-License-Identifier: Apache-2.0
#include "convert/widened.h"

#include <algorithm>
#include <cstdlib>

#include "bitmap/fields.h"
#include "bitmap/little_endian.h"
#include "convert/channel_rows.h"
#include "convert/library_call.h"
#include "convert/new_dib.h"
#include "dibkit/DIBApi.h"
#include "dibkit/WinTypes.h"
#include "dibkit/host/dib_layout.h"
#include "dibkit/host/locked_block.h"

namespace dibkit::host {
namespace {

constexpr uint32_t kMaskBytes = 12;

bool HasMasks(const DibFields& image) { return image.compression == BI_BITFIELDS; }

Channels ChannelsOf(tagHANDLE* dib) {
  if (!HasMasks(FieldsOf(dib))) {
    return {ChannelOf(0x001F), ChannelOf(0x03E0), ChannelOf(0x7C00)};
  }
  const LockedBlock lock(dib);
  const unsigned char* masks = lock.Bytes().data() + kBiMasks;
  return {ChannelOf(Load32(masks + 8)), ChannelOf(Load32(masks + 4)), ChannelOf(Load32(masks))};
}

bool AreShort(const Channels& channels) {
  return std::max({channels.blue.bits, channels.green.bits, channels.red.bits}) <= 8;
}

// The library moves channels of up to 8 bits to the top of their bytes at the speed of memory.
OwnedBlock MovedAndStretched(const OwnedBlock& dib, const Channels& channels) {
  const DibFields image = FieldsOf(dib.get());
  // A positive height keeps ConvertTo24BPPDIB from turning the image on its own.
  SetHeight(dib.get(), std::abs(image.height));
  OwnedBlock result = CallLibrary(dib, 24, ConvertTo24BPPDIB);
  SetHeight(dib.get(), image.height);
  SetHeight(result.get(), image.height);
  const RowStretcher stretcher(channels);
  if (!stretcher.Changes()) {
    return result;
  }
  const LockedBlock lock(result.get());
  unsigned char* row = lock.Bytes().data() + kInfoHeaderBytes;
  const auto stride = static_cast<size_t>(RowStride(image.width, 24));
  for (int32_t y = 0; y < std::abs(image.height); ++y, row += stride) {
    stretcher.Stretch(row, image.width);
  }
  return result;
}

// The library cuts longer channels.
OwnedBlock Rounded(const OwnedBlock& dib, const Channels& channels) {
  const DibFields image = FieldsOf(dib.get());
  const auto rows = static_cast<uint32_t>(std::abs(image.height));
  const LockedBlock source(dib.get());
  const unsigned char* header = source.Bytes().data();
  OwnedBlock result =
      NewDib(image.width, rows, 24,
             {LoadSigned32(header + kBiXPelsPerMeter), LoadSigned32(header + kBiYPelsPerMeter)});
  SetHeight(result.get(), image.height);
  const LockedBlock target(result.get());
  const auto widen = image.bitCount == 16 ? WidenRow16 : WidenRow32;
  const unsigned char* from = header + kInfoHeaderBytes + (HasMasks(image) ? kMaskBytes : 0);
  unsigned char* to = target.Bytes().data() + kInfoHeaderBytes;
  const auto fromStride = static_cast<size_t>(RowStride(image.width, image.bitCount));
  const auto toStride = static_cast<size_t>(RowStride(image.width, 24));
  for (uint32_t y = 0; y < rows; ++y, from += fromStride, to += toStride) {
    widen(from, to, image.width, channels);
  }
  return result;
}

}  // namespace

OwnedBlock Widened(const OwnedBlock& dib) {
  const Channels channels = ChannelsOf(dib.get());
  return AreShort(channels) ? MovedAndStretched(dib, channels) : Rounded(dib, channels);
}

}  // namespace dibkit::host
