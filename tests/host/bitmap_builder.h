// SPDX-License-Identifier: Apache-2.0
//
// Bitmap files made by hand, field by field, sound or not.
#ifndef DIBKIT_TESTS_HOST_BITMAP_BUILDER_H
#define DIBKIT_TESTS_HOST_BITMAP_BUILDER_H

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

namespace dibkit::test {

using Bytes = std::vector<unsigned char>;

// Fields begin as those of a sound file: 4 x 3 pixels of 8 bits at 300 dpi, a full grey table, rows
// that count up from 1. Fields that a test sets are written as they are; the others follow.
struct BitmapBuilder {
  std::array<unsigned char, 2> magic{'B', 'M'};
  uint32_t headerBytes = 40;
  int32_t width = 4;
  int32_t height = 3;
  uint16_t planes = 1;
  uint16_t bitCount = 8;
  uint32_t compression = 0;
  uint32_t sizeImage = 0;
  int32_t xPelsPerMeter = 11811;
  int32_t yPelsPerMeter = 11811;
  uint32_t colorsUsed = 0;
  Bytes masks;                 // behind the header
  std::optional<Bytes> table;  // otherwise full, grey, 4 bytes an entry (3 after 12 bytes)
  uint32_t gap = 0;            // bytes between table and rows
  std::optional<uint32_t> pixelOffset;
  std::optional<Bytes> pixels;  // otherwise all rows

  Bytes Build() const;
  Bytes Table() const;
  Bytes Pixels() const;
};

void Append16(Bytes& bytes, uint16_t value);
void Append32(Bytes& bytes, uint32_t value);

// Bytes of a row with its padding.
uint64_t Stride(uint32_t width, uint16_t bitCount);

}  // namespace dibkit::test

#endif  // DIBKIT_TESTS_HOST_BITMAP_BUILDER_H
