// SPDX-License-Identifier: Apache-2.0
//
// Packed DIBs as plain values: built field by field, put into a block, read back. Written without
// any of the library's own code, so that it can judge it.
#ifndef DIBKIT_TESTS_SUPPORT_DIB_H
#define DIBKIT_TESTS_SUPPORT_DIB_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "GlobalMemory.h"

namespace dibtest {

struct Rgb {
  uint8_t red;
  uint8_t green;
  uint8_t blue;
  bool operator==(const Rgb&) const = default;
};

// A small generator whose sequence is the same everywhere.
class Random {
 public:
  explicit Random(uint64_t seed) : m_state(seed * 2 + 1) {}
  uint32_t Next();
  // 0 to n - 1.
  uint32_t Below(uint32_t n) { return static_cast<uint32_t>((uint64_t{Next()} * n) >> 32); }
  uint8_t Byte() { return static_cast<uint8_t>(Next() >> 24); }

 private:
  uint64_t m_state;
};

// Pixels per metre that read back as `dpi`.
constexpr int32_t PelsPerMeter(unsigned dpi) { return static_cast<int32_t>(dpi * 10000u / 254u); }

struct DibShape {
  int32_t width = 1;
  int32_t height = 1;  // negative: the top row comes first
  uint16_t bits = 24;
  int32_t xPels = PelsPerMeter(300);
  int32_t yPels = PelsPerMeter(300);
  uint32_t compression = 0;
  uint32_t sizeImage = 0;
  uint32_t clrUsed = 0;
  uint32_t clrImportant = 0;
  int tableEntries = -1;             // entries that the block has; -1: 2^bits up to 8 bits, else 0
  std::vector<uint32_t> masks = {};  // words between table and rows
  bool core = false;                 // a 12-byte header with 3-byte entries
  int64_t rowBytes = -1;             // bytes of the pixel area; -1: stride x rows
};

// Bytes of a row, padded to a multiple of 4.
size_t StrideOf(unsigned bits, size_t width);

class Dib {
 public:
  // Header as the shape says, everything behind it 0.
  explicit Dib(const DibShape& shape);
  // A whole block as it is; it must begin with a 40-byte header.
  static Dib FromBytes(const std::vector<uint8_t>& bytes);
  // A copy of a live block; locks and unlocks it.
  static Dib FromHandle(tagHANDLE* handle);

  // A new unlocked block with these bytes.
  tagHANDLE* ToHandle() const;

  std::vector<uint8_t>& Bytes() { return m_bytes; }
  const std::vector<uint8_t>& Bytes() const { return m_bytes; }
  uint8_t* Data() { return m_bytes.data(); }

  uint16_t Get16(size_t offset) const;
  uint32_t Get32(size_t offset) const;
  void Set16(size_t offset, uint16_t value);
  void Set32(size_t offset, uint32_t value);

  int32_t Width() const;
  int32_t Height() const;
  size_t Rows() const;  // the height without its sign
  uint16_t Bits() const;
  size_t Stride() const { return StrideOf(Bits(), static_cast<size_t>(Width())); }

  bool IsCore() const { return m_core; }
  size_t TableOffset() const { return m_core ? 12 : 40; }
  size_t EntrySize() const { return m_core ? 3 : 4; }
  size_t RowsOffset() const { return m_rowsOffset; }
  void SetRowsOffset(size_t offset) { m_rowsOffset = offset; }

  Rgb Color(size_t index) const;
  void SetColor(size_t index, Rgb color);
  void SetGrayRamp();  // entry i of n: i x 255 / (n - 1)
  void SetBlackWhite(bool whiteFirst = false);
  void SetRandomTable(Random& random);
  void SetRandomGrayTable(Random& random);

  // Row 0 is the first in memory.
  uint8_t* Row(size_t y) { return m_bytes.data() + m_rowsOffset + y * Stride(); }
  const uint8_t* Row(size_t y) const { return m_bytes.data() + m_rowsOffset + y * Stride(); }

  // The raw value of a pixel: index, 16-bit word, or 0xRRGGBB at 24 bits, 32-bit word at 32.
  uint32_t Pixel(size_t x, size_t y) const;
  void SetPixel(size_t x, size_t y, uint32_t value);

  // What a pixel looks like: through the table up to 8 bits, 5-5-5 at 16, the bytes above.
  Rgb PixelColor(size_t x, size_t y) const;

  // Random pixels; `withPadding` fills the rows' padding bytes too.
  void FillRandom(Random& random, bool withPadding = true);
  // Soft gradients with some noise, as a scan has them; at 1, 4 and 8 bits of indices.
  void FillSmooth(Random& random);

 private:
  Dib() = default;

  std::vector<uint8_t> m_bytes;
  bool m_core = false;
  size_t m_rowsOffset = 0;
};

// The bytes of a live block.
std::vector<uint8_t> BytesOf(tagHANDLE* handle);

// A new unlocked block with these bytes.
tagHANDLE* HandleFromBytes(const std::vector<uint8_t>& bytes);

}  // namespace dibtest

#endif  // DIBKIT_TESTS_SUPPORT_DIB_H
