// SPDX-License-Identifier: Apache-2.0
#include "bitmap/presentation.h"

#include <algorithm>

#include "bitmap/fields.h"
#include "bitmap/little_endian.h"
#include "dibkit/WinTypes.h"
#include "dibkit/host/dib_layout.h"

namespace dibkit::host {
namespace {

constexpr size_t kMaskBytes = 4;
constexpr uint32_t kMaskCount = 3;

uint32_t PresentedCompression(BitmapCompression compression) {
  switch (compression) {
    case BitmapCompression::kRle8:
      return BI_RLE8;
    case BitmapCompression::kRle4:
      return BI_RLE4;
    case BitmapCompression::kBitFields:
    case BitmapCompression::kAlphaBitFields:
      return BI_BITFIELDS;
    default:
      return BI_RGB;
  }
}

// Spreads a row of `width` pixels from 2 to 4 bits.
void SpreadTwoBitRow(const unsigned char* from, unsigned char* to, uint32_t width) {
  for (uint32_t x = 0; x < width; ++x) {
    const int index = from[x / 4] >> (6 - x % 4 * 2) & 3;
    to[x / 2] |= static_cast<unsigned char>(x % 2 == 0 ? index << 4 : index);
  }
}

}  // namespace

bool KeepsStream(const BitmapDescription& bitmap) {
  return bitmap.compression == BitmapCompression::kRle8 ||
         bitmap.compression == BitmapCompression::kRle4;
}

Presentation PresentationOf(const BitmapDescription& bitmap, uint64_t streamBytes, bool bottomUp) {
  Presentation form{};
  form.bitCount = bitmap.bitCount == 2 ? uint16_t{4} : bitmap.bitCount;
  form.topDown = bitmap.topDown && !bottomUp;
  form.compression = PresentedCompression(bitmap.compression);
  const DibLayout layout = LayoutOf(bitmap.width, bitmap.height, form.bitCount);
  form.tableEntries = layout.tableEntries;
  form.maskCount = form.compression == BI_BITFIELDS ? kMaskCount : 0;
  form.colorsUsed = form.maskCount;
  form.pixelOffset = uint64_t{layout.rowsOffset} + form.maskCount * kMaskBytes;
  form.pixelBytes = KeepsStream(bitmap) ? streamBytes : layout.rowsBytes;
  form.blockBytes = form.pixelOffset + form.pixelBytes;
  return form;
}

void WritePresentedHeader(std::span<unsigned char> block, const BitmapDescription& bitmap,
                          const Presentation& form) {
  unsigned char* header = block.data();
  Store32(header, kInfoHeaderBytes);
  Store32(header + kBiWidth, bitmap.width);
  Store32(header + kBiHeight, form.topDown ? 0U - bitmap.height : bitmap.height);
  Store16(header + kBiPlanes, 1);
  Store16(header + kBiBitCount, form.bitCount);
  Store32(header + kBiCompression, form.compression);
  Store32(header + kBiSizeImage, KeepsStream(bitmap) ? static_cast<uint32_t>(form.pixelBytes) : 0);
  Store32(header + kBiXPelsPerMeter, static_cast<uint32_t>(bitmap.xPelsPerMeter));
  Store32(header + kBiYPelsPerMeter, static_cast<uint32_t>(bitmap.yPelsPerMeter));
  Store32(header + kBiColorsUsed, form.colorsUsed);
  for (uint32_t i = 0; i < form.maskCount; ++i) {
    Store32(header + kBiMasks + i * kMaskBytes, bitmap.masks[i]);
  }
}

void PresentRow(const unsigned char* from, unsigned char* to, const BitmapDescription& bitmap,
                uint16_t bitCount) {
  if (bitmap.bitCount == bitCount) {
    std::copy_n(from, static_cast<size_t>(RowStride(bitmap.width, bitCount)), to);
  } else {
    SpreadTwoBitRow(from, to, bitmap.width);
  }
}

}  // namespace dibkit::host
