// SPDX-License-Identifier: Apache-2.0
#include "resolution/preconversion.h"

#include <cstring>

#include "Cnv_res_mem.h"
#include "dib/layout.h"
#include "resolution/geometry.h"

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
  return IsGrayTable(dib + kInfoHeaderSize, FullTableEntries(bitCount));
}

bool IsColorPalette(const unsigned char* dib, uint16_t bitCount) {
  return (bitCount == 4 || bitCount == 8) && !HasGrayTable(dib, bitCount);
}

bool IsGray4(const unsigned char* dib, uint16_t bitCount) {
  return bitCount == 4 && HasGrayTable(dib, bitCount);
}

struct Index8 {
  unsigned operator()(const unsigned char* row, size_t x) const { return row[x]; }
};

struct Index4 {
  unsigned operator()(const unsigned char* row, size_t x) const {
    return x % 2 == 0 ? row[x / 2] >> 4 : row[x / 2] & 15u;
  }
};

template <typename Index>
void CopyColors(const PaletteSource& source, const unsigned char* row, unsigned char* out) {
  for (size_t x = 0; x < source.geometry.width; ++x) {
    std::memcpy(out + 3 * x, source.table + kEntrySize * Index{}(row, x), 3);
  }
}

void CopyGrays(const PaletteSource& source, const unsigned char* row, unsigned char* out) {
  for (size_t x = 0; x < source.geometry.width; ++x) {
    out[x] = source.table[kEntrySize * Index4{}(row, x)];
  }
}

void MakeTrueColorRow(const PaletteSource& source, const unsigned char* row, unsigned char* out) {
  if (source.geometry.bitCount == 8) {
    CopyColors<Index8>(source, row, out);
  } else {
    CopyColors<Index4>(source, row, out);
  }
}

// What one of the two widenings makes of which source.
struct Target {
  bool (*applies)(const unsigned char* dib, uint16_t bitCount);
  uint16_t bitCount;
  uint32_t declaredColors;  // biClrUsed and biClrImportant
  uint32_t grayLevels;      // entries of the table
  void (*makeRow)(const PaletteSource&, const unsigned char* row, unsigned char* out);
};

constexpr Target kTrueColor{IsColorPalette, 24, 0, 0, MakeTrueColorRow};
// The header declares 8 colours although the table has 256; hosts rely on it.
constexpr Target kGray8{IsGray4, 8, 8, 256, CopyGrays};

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
  unsigned char* rows = dib + kInfoHeaderSize + kEntrySize * target.grayLevels;
  for (size_t y = 0; y < source.geometry.height; ++y) {
    target.makeRow(source, source.rows + y * source.rowBytes, rows + y * rowBytes);
  }
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
