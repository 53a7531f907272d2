// SPDX-License-Identifier: Apache-2.0
//
// Where the fields of a packed DIB stand, and the arithmetic of its rows.
#ifndef DIBKIT_SRC_DIB_LAYOUT_H
#define DIBKIT_SRC_DIB_LAYOUT_H

#include <cstddef>
#include <cstdint>

#include "WinTypes.h"
#include "dib/bytes.h"

namespace dibkit {

inline constexpr uint32_t kInfoHeaderSize = 40;
inline constexpr uint32_t kCoreHeaderSize = 12;

inline constexpr size_t kFileHeaderSize = 14;  // stands before the packed DIB in a bitmap file

// Offsets of the core header's fields.
inline constexpr size_t kBcWidth = 4;
inline constexpr size_t kBcHeight = 6;
inline constexpr size_t kBcBitCount = 10;

// Offsets of the info header's fields.
inline constexpr size_t kBiSize = 0;
inline constexpr size_t kBiWidth = 4;
inline constexpr size_t kBiHeight = 8;
inline constexpr size_t kBiPlanes = 12;
inline constexpr size_t kBiBitCount = 14;
inline constexpr size_t kBiCompression = 16;
inline constexpr size_t kBiSizeImage = 20;
inline constexpr size_t kBiXPelsPerMeter = 24;
inline constexpr size_t kBiYPelsPerMeter = 28;
inline constexpr size_t kBiClrUsed = 32;
inline constexpr size_t kBiClrImportant = 36;
inline constexpr size_t kBitFieldMasks = 40;

inline bool HasInfoHeader(const unsigned char* dib) { return Load32(dib) == kInfoHeaderSize; }

inline int32_t LoadSigned32(const unsigned char* at) { return static_cast<int32_t>(Load32(at)); }

inline BITMAPINFOHEADER LoadHeader(const unsigned char* at) {
  return {.biSize = Load32(at + kBiSize),
          .biWidth = LoadSigned32(at + kBiWidth),
          .biHeight = LoadSigned32(at + kBiHeight),
          .biPlanes = Load16(at + kBiPlanes),
          .biBitCount = Load16(at + kBiBitCount),
          .biCompression = Load32(at + kBiCompression),
          .biSizeImage = Load32(at + kBiSizeImage),
          .biXPelsPerMeter = LoadSigned32(at + kBiXPelsPerMeter),
          .biYPelsPerMeter = LoadSigned32(at + kBiYPelsPerMeter),
          .biClrUsed = Load32(at + kBiClrUsed),
          .biClrImportant = Load32(at + kBiClrImportant)};
}

inline void StoreHeader(unsigned char* at, const BITMAPINFOHEADER& header) {
  Store32(at + kBiSize, header.biSize);
  Store32(at + kBiWidth, static_cast<uint32_t>(header.biWidth));
  Store32(at + kBiHeight, static_cast<uint32_t>(header.biHeight));
  Store16(at + kBiPlanes, header.biPlanes);
  Store16(at + kBiBitCount, header.biBitCount);
  Store32(at + kBiCompression, header.biCompression);
  Store32(at + kBiSizeImage, header.biSizeImage);
  Store32(at + kBiXPelsPerMeter, static_cast<uint32_t>(header.biXPelsPerMeter));
  Store32(at + kBiYPelsPerMeter, static_cast<uint32_t>(header.biYPelsPerMeter));
  Store32(at + kBiClrUsed, header.biClrUsed);
  Store32(at + kBiClrImportant, header.biClrImportant);
}

// Bytes of one row, padded to a multiple of 4. Sound images have a stride below 2^32; an impossible
// one stays visible here as a large number.
inline constexpr uint64_t RowStride(uint32_t bitCount, uint32_t width) {
  return (uint64_t{bitCount} * width + 31) / 32 * 4;
}

// The colour value of three components: red in the lowest byte.
inline constexpr uint32_t PackColor(uint8_t red, uint8_t green, uint8_t blue) {
  return red | uint32_t{green} << 8 | uint32_t{blue} << 16;
}

inline constexpr uint8_t RedOf(unsigned long color) { return static_cast<uint8_t>(color); }
inline constexpr uint8_t GreenOf(unsigned long color) { return static_cast<uint8_t>(color >> 8); }
inline constexpr uint8_t BlueOf(unsigned long color) { return static_cast<uint8_t>(color >> 16); }

// True when blue, green and red are equal in each of the 4-byte entries. Looks at all of them,
// which lanes can do at once.
inline bool IsGrayTable(const unsigned char* entries, size_t count) {
  uint32_t differing = 0;
  for (size_t i = 0; i < count; ++i) {
    const uint32_t entry = Load32(entries + i * sizeof(tagRGBQUAD));
    differing |= entry ^ entry >> 8;
  }
  return (differing & 0xFFFF) == 0;
}

// The 8-bit value of one bit-field channel; a right shift of 32 marks a channel without bits.
inline constexpr uint8_t Channel(uint32_t pixel, uint32_t mask, unsigned left, unsigned right) {
  return right < 32 ? static_cast<uint8_t>((pixel & mask) >> right << left) : uint8_t{0};
}

}  // namespace dibkit

#endif  // DIBKIT_SRC_DIB_LAYOUT_H
