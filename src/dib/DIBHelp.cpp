// SPDX-License-Identifier: Apache-2.0
#include "DIBHelp.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "dib/layout.h"

using namespace dibkit;

namespace {

constexpr unsigned long kNoColor = 0xFF000000;

struct ColorTable {
  unsigned char* first;
  size_t entrySize;

  unsigned char* Entry(int index) const { return first + static_cast<size_t>(index) * entrySize; }
};

// With a core header the table starts at offset 12 whatever the size field says.
ColorTable TableOf(unsigned char* dib) {
  return HasInfoHeader(dib) ? ColorTable{dib + kInfoHeaderSize, sizeof(tagRGBQUAD)}
                            : ColorTable{dib + kCoreHeaderSize, sizeof(tagRGBTRIPLE)};
}

// Both entry layouts begin with blue, green, red.
uint32_t EntryColor(const unsigned char* entry) { return PackColor(entry[2], entry[1], entry[0]); }

void StoreColor(unsigned char* entry, unsigned long color) {
  entry[0] = BlueOf(color);
  entry[1] = GreenOf(color);
  entry[2] = RedOf(color);
}

// The accessors compute the stride in signed 32-bit arithmetic with an arithmetic shift.
int32_t SignedStride(unsigned char* dib) {
  const uint32_t bits = DIBBitCount(dib) * static_cast<uint32_t>(DIBWidth(dib)) + 31;
  return static_cast<int32_t>(static_cast<uint32_t>(static_cast<int32_t>(bits) >> 5) * 4);
}

unsigned char* RowAddress(unsigned char* dib, int y) {
  return DIBBits(dib) + static_cast<ptrdiff_t>(int64_t{SignedStride(dib)} * y);
}

BITMAPINFOHEADER FreshHeader(unsigned long width, unsigned long height, uint16_t bitCount) {
  return {.biSize = kInfoHeaderSize,
          .biWidth = static_cast<int32_t>(static_cast<uint32_t>(width)),
          .biHeight = static_cast<int32_t>(static_cast<uint32_t>(height)),
          .biPlanes = 1,
          .biBitCount = bitCount,
          .biCompression = BI_RGB,
          .biSizeImage = 0,
          .biXPelsPerMeter = 0,
          .biYPelsPerMeter = 0,
          .biClrUsed = 0,
          .biClrImportant = 0};
}

uint16_t CreatedDepth(unsigned short depth) {
  if (depth <= 1) return 1;
  if (depth <= 4) return 4;
  if (depth <= 8) return 8;
  if (depth <= 16) return 16;
  if (depth <= 24 || depth > 32) return 24;
  return depth;
}

uint16_t SetDepth(unsigned short depth) {
  if (depth <= 1) return 1;
  if (depth <= 4) return 4;
  if (depth <= 8) return 8;
  if (depth <= 24) return 24;
  return 4;
}

}  // namespace

int32_t DIBWidth(unsigned char* dib) {
  return HasInfoHeader(dib) ? LoadSigned32(dib + kBiWidth) : Load16(dib + kBcWidth);
}

int32_t DIBHeight(unsigned char* dib) {
  return HasInfoHeader(dib) ? LoadSigned32(dib + kBiHeight) : Load16(dib + kBcHeight);
}

uint16_t DIBBitCount(unsigned char* dib) {
  return Load16(dib + (HasInfoHeader(dib) ? kBiBitCount : kBcBitCount));
}

uint16_t DIBNumColors(unsigned char* dib) {
  if (HasInfoHeader(dib)) {
    const uint32_t used = Load32(dib + kBiClrUsed);
    if (used != 0) return static_cast<uint16_t>(used);
  }
  switch (DIBBitCount(dib)) {
    case 1:
      return 2;
    case 4:
      return 16;
    case 8:
      return 256;
    default:
      return 0;
  }
}

uint16_t PaletteSize(unsigned char* dib) {
  return static_cast<uint16_t>(DIBNumColors(dib) * TableOf(dib).entrySize);
}

unsigned char* DIBBits(unsigned char* dib) {
  return dib + Load32(dib + kBiSize) + PaletteSize(dib);
}

uint32_t DIBSize(unsigned char* dib) {
  const uint32_t rows = static_cast<uint32_t>(DIBHeight(dib));
  return Load32(dib + kBiSize) + PaletteSize(dib) + static_cast<uint32_t>(SignedStride(dib)) * rows;
}

unsigned long GetIndexColor(unsigned char* dib, int index) {
  if (index < 0 || index >= DIBNumColors(dib)) return kNoColor;
  return EntryColor(TableOf(dib).Entry(index));
}

void SetIndexColor(unsigned char* dib, int index, unsigned long color) {
  if (index < 0 || index >= DIBNumColors(dib)) return;
  StoreColor(TableOf(dib).Entry(index), color);
}

int32_t GetColorIndex(unsigned char* dib, unsigned long color) {
  const ColorTable table = TableOf(dib);
  const int count = DIBNumColors(dib);
  for (int i = 0; i < count; ++i) {
    if (EntryColor(table.Entry(i)) == static_cast<uint32_t>(color)) return i;
  }
  return -1;
}

void SetDIB(unsigned char* dib, unsigned long width, unsigned long height, unsigned short depth) {
  StoreHeader(dib, FreshHeader(width, height, SetDepth(depth)));
}

int DIBMask(unsigned char* dib, unsigned long& red, unsigned long& green, unsigned long& blue) {
  red = green = blue = 0;
  const uint16_t bitCount = Load16(dib + kBiBitCount);
  if (Load32(dib + kBiCompression) != BI_BITFIELDS || (bitCount != 16 && bitCount != 32)) return 0;
  red = Load32(dib + kBitFieldMasks);
  green = Load32(dib + kBitFieldMasks + 4);
  blue = Load32(dib + kBitFieldMasks + 8);
  return 1;
}

void GetShifts(unsigned long mask, unsigned short& left, unsigned short& right) {
  const uint32_t bits = static_cast<uint32_t>(mask);
  left = 0;
  right = 0;
  if (bits == 0) {
    left = 8;
    right = 32;
    return;
  }
  const int lowest = std::countr_zero(bits);
  // A mask of all ones is a run of 32 bits.
  const int run = std::countr_one(bits >> lowest);
  if (run > 8) {
    right = static_cast<unsigned short>(lowest + run - 8);
  } else {
    left = static_cast<unsigned short>(8 - run);
    right = static_cast<unsigned short>(lowest);
  }
}

int32_t GetBitIndex(unsigned char* dib, int x, int y) {
  switch (DIBBitCount(dib)) {
    case 8:
      return RowAddress(dib, y)[x];
    case 4: {
      const unsigned char pair = RowAddress(dib, y)[x / 2];
      return x % 2 == 0 ? pair >> 4 : pair & 15;
    }
    case 1:
      return RowAddress(dib, y)[x / 8] >> (7 - x % 8) & 1;
    default:
      return -1;
  }
}

void SetBitIndex(unsigned char* dib, int x, int y, unsigned short value) {
  switch (DIBBitCount(dib)) {
    case 8:
      RowAddress(dib, y)[x] = static_cast<unsigned char>(value);
      break;
    case 4: {
      const int nibble = value & 15;
      unsigned char& pair = RowAddress(dib, y)[x / 2];
      pair = static_cast<unsigned char>(pair | (x % 2 == 0 ? nibble << 4 : nibble));
      break;
    }
    case 1: {
      const int mask = 0xF0 >> x % 8;
      unsigned char& group = RowAddress(dib, y)[x / 8];
      group = static_cast<unsigned char>((value & 1) != 0 ? group | mask : group & ~mask);
      break;
    }
    default:
      break;
  }
}

void CopyColorTable(unsigned char* source, unsigned char* destination) {
  const ColorTable from = TableOf(source);
  const ColorTable to = TableOf(destination);
  const int count = std::min(DIBNumColors(source), DIBNumColors(destination));
  if (from.entrySize == to.entrySize) {
    std::memmove(to.first, from.first, from.entrySize * static_cast<size_t>(count));
    return;
  }
  for (int i = 0; i < count; ++i) {
    std::memcpy(to.Entry(i), from.Entry(i), sizeof(tagRGBTRIPLE));
  }
}

tagHANDLE* CreateDIB(unsigned long width, unsigned long height, unsigned short depth) {
  const uint32_t columns = static_cast<uint32_t>(width);
  const uint32_t rows = static_cast<uint32_t>(height);
  const uint16_t bitCount = CreatedDepth(depth);
  if (columns == 0 || rows == 0) return nullptr;

  unsigned char header[kInfoHeaderSize];
  StoreHeader(header, FreshHeader(width, height, bitCount));
  const uint64_t fixedSize = kInfoHeaderSize + uint64_t{PaletteSize(header)};
  const uint64_t stride = RowStride(bitCount, columns);
  if (stride > (UINT32_MAX - fixedSize) / rows) return nullptr;

  tagHANDLE* handle = GlobalAlloc(GHND, static_cast<unsigned>(fixedSize + stride * rows));
  if (handle == nullptr) return nullptr;
  void* block = GlobalLock(handle);
  if (block == nullptr) {
    GlobalFree(handle);
    return nullptr;
  }
  std::memcpy(block, header, sizeof header);
  GlobalUnlock(handle);
  return handle;
}

int CompareRGBQUAD(tagRGBQUAD entry, unsigned char red, unsigned char green, unsigned char blue) {
  return entry.rgbRed == red && entry.rgbGreen == green && entry.rgbBlue == blue ? 1 : 0;
}

int CompareRGBTRIPLE(tagRGBTRIPLE entry, unsigned char red, unsigned char green,
                     unsigned char blue) {
  return entry.rgbtRed == red && entry.rgbtGreen == green && entry.rgbtBlue == blue ? 1 : 0;
}

int CompareRGB(tagRGBQUAD entry, unsigned long color) {
  return CompareRGBQUAD(entry, RedOf(color), GreenOf(color), BlueOf(color));
}

int CompareRGBT(tagRGBTRIPLE entry, unsigned long color) {
  return CompareRGBTRIPLE(entry, RedOf(color), GreenOf(color), BlueOf(color));
}

void CopyRGB(tagRGBQUAD* entry, unsigned long color) {
  entry->rgbBlue = BlueOf(color);
  entry->rgbGreen = GreenOf(color);
  entry->rgbRed = RedOf(color);
}

void CopyRGBT(tagRGBTRIPLE* entry, unsigned long color) {
  entry->rgbtBlue = BlueOf(color);
  entry->rgbtGreen = GreenOf(color);
  entry->rgbtRed = RedOf(color);
}
