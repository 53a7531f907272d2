// SPDX-License-Identifier: Apache-2.0
#include "resolution/preconversion.h"

#include <cstring>

#include "Cnv_res_mem.h"
#include "dib/depth_rows.h"
#include "dib/layout.h"
#include "resolution/geometry.h"
#include "resolution/gray_ramp.h"

namespace dibkit::resolution {
namespace {

constexpr size_t kEntrySize = sizeof(tagRGBQUAD);

// A 4- or 8-bit source with the full table that is taken to stand behind its 40-byte header.
struct PaletteSource {
  const unsigned char* header;
  const unsigned char* table;
  const unsigned char* rows;
  SourceGeometry geometry;
  size_t rowBytes;
};

PaletteSource ReadPaletteSource(const unsigned char* dib, const SourceGeometry& geometry) {
  const unsigned char* table = dib + kInfoHeaderSize;
  return {dib, table, table + kEntrySize * FullTableEntries(geometry.bitCount), geometry,
          RowBytes(geometry.bitCount, geometry.width)};
}

bool HasGrayTable(const unsigned char* dib, uint16_t bitCount) {
  const unsigned char* table = dib + kInfoHeaderSize;
  if (bitCount == 8 && IsGrayRamp(table)) return true;
  return IsGrayTable(table, FullTableEntries(bitCount));
}

bool IsColorPalette(const unsigned char* dib, uint16_t bitCount) {
  return (bitCount == 4 || bitCount == 8) && !HasGrayTable(dib, bitCount);
}

bool IsGray4(const unsigned char* dib, uint16_t bitCount) {
  return bitCount == 4 && HasGrayTable(dib, bitCount);
}

// What one of the two widenings makes of which source.
struct Target {
  bool (*applies)(const unsigned char* dib, uint16_t bitCount);
  uint16_t bitCount;
  uint32_t declaredColors;  // biClrUsed and biClrImportant
  uint32_t grayLevels;      // entries of the table
  RowForms from4;
  RowForms from8;
};

constexpr Target kTrueColor{IsColorPalette,
                            24,
                            0,
                            0,
                            {ColorTableTo24<4>, &RowKernels::bits4To24},
                            {ColorTableTo24<8>, &RowKernels::bits8To24}};
// The header declares 8 colours although the table has 256; hosts rely on it.
constexpr Target kGray8{IsGray4, 8, 8, 256, {GrayTableTo8, &RowKernels::bits4To8}, {}};

// The first 32 bytes are the source's, biSizeImage and both resolutions among them.
void WriteHeader(const PaletteSource& source, const Target& target, unsigned char* dib) {
  std::memcpy(dib, source.header, kBiClrUsed);
  Store16(dib + kBiBitCount, target.bitCount);
  Store32(dib + kBiClrUsed, target.declaredColors);
  Store32(dib + kBiClrImportant, target.declaredColors);
  for (uint32_t level = 0; level < target.grayLevels; ++level) {
    Store32(dib + kInfoHeaderSize + kEntrySize * level, level * 0x010101);
  }
}

void WriteImage(const PaletteSource& source, const Target& target, size_t rowBytes,
                unsigned char* dib) {
  WriteHeader(source, target, dib);
  const SourceGeometry& geometry = source.geometry;
  const PixelMeaning meaning{.colors = source.table,
                             .entrySize = kEntrySize,
                             .colorCount = FullTableEntries(geometry.bitCount)};
  ConvertRows({.from = source.rows,
               .fromBits = geometry.bitCount,
               .fromStride = source.rowBytes,
               .fromBytes = uint64_t{source.rowBytes} * geometry.height,
               .to = dib + kInfoHeaderSize + kEntrySize * target.grayLevels,
               .toBits = target.bitCount,
               .toStride = rowBytes,
               .width = geometry.width,
               .rows = geometry.height},
              geometry.bitCount == 8 ? target.from8 : target.from4, meaning);
}

Widening WidenLocked(const unsigned char* dib, const Target& target, tagHANDLE*& out) {
  const SourceGeometry geometry = ReadSourceGeometry(dib);
  if (!target.applies(dib, geometry.bitCount)) return Widening::kNotNeeded;
  const uint32_t rowBytes = RowBytes(target.bitCount, geometry.width);
  if (rowBytes > UINT16_MAX) return Widening::kNoMemory;

  const uint32_t fixedSize =
      kInfoHeaderSize + static_cast<uint32_t>(kEntrySize) * target.grayLevels;
  tagHANDLE* result = GlobalAlloc(GHND, rowBytes * geometry.height + fixedSize);
  if (result == nullptr) return Widening::kNoMemory;
  void* block = GlobalLock(result);
  if (block == nullptr) {
    GlobalFree(result);
    return Widening::kNoMemory;
  }
  WriteImage(ReadPaletteSource(dib, geometry), target, rowBytes,
             static_cast<unsigned char*>(block));
  GlobalUnlock(result);
  out = result;
  return Widening::kDone;
}

Widening Widen(tagHANDLE* src, const Target& target, tagHANDLE*& out) {
  out = nullptr;
  const void* dib = src != nullptr ? GlobalLock(src) : nullptr;
  if (dib == nullptr) return Widening::kNotLockable;
  const Widening result = WidenLocked(static_cast<const unsigned char*>(dib), target, out);
  GlobalUnlock(src);
  return result;
}

}  // namespace

Widening WidenColorPalette(tagHANDLE* src, tagHANDLE*& out) { return Widen(src, kTrueColor, out); }
Widening WidenGray4(tagHANDLE* src, tagHANDLE*& out) { return Widen(src, kGray8, out); }

}  // namespace dibkit::resolution

using dibkit::resolution::Widening;

int ConvertImage(tagHANDLE* src, tagHANDLE** out) {
  return dibkit::resolution::WidenColorPalette(src, *out) == Widening::kDone ? 1 : 0;
}

int ConvertImage2(tagHANDLE* src, tagHANDLE** out) {
  return dibkit::resolution::WidenGray4(src, *out) == Widening::kDone ? 1 : 0;
}
