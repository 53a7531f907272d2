// SPDX-License-Identifier: Apache-2.0
//
// Adding pixels to leaf cells: one by one, and many of one cell at once.
#ifndef DIBKIT_SRC_QUANTIZE_FLAT_CELL_H
#define DIBKIT_SRC_QUANTIZE_FLAT_CELL_H

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "quantize/kernels.h"

namespace dibkit::quantize {

// So many additions of 3-bit values fit a byte.
inline constexpr size_t kFlatBlocks = 255 / 7;

inline size_t CellOf(const uint8_t* pixel) {
  return static_cast<size_t>(pixel[2] >> 3 | pixel[1] >> 3 << 5 | pixel[0] >> 3 << 10);
}

inline void AddPixel(const uint8_t* pixel, CellSums* cells) {
  CellSums& cell = cells[CellOf(pixel)];
  cell.red += pixel[2];
  cell.green += pixel[1];
  cell.blue += pixel[0];
  cell.count += 1;
}

// Adds `count` pixels of the cell of `pixel`. `lowSums`: byte i holds the sum of the low 3 bits of
// component i mod 3 of some of them.
inline void AddFlat(const uint8_t* pixel, const uint8_t* lowSums, size_t bytes, size_t count,
                    CellSums* cells) {
  uint32_t low[3] = {};
  for (size_t i = 0; i < bytes; i += 3) {
    for (size_t c = 0; c < 3; ++c) low[c] += lowSums[i + c];
  }
  const auto pixelCount = static_cast<uint32_t>(count);
  CellSums& cell = cells[CellOf(pixel)];
  cell.red += (pixel[2] & 0xF8u) * pixelCount + low[2];
  cell.green += (pixel[1] & 0xF8u) * pixelCount + low[1];
  cell.blue += (pixel[0] & 0xF8u) * pixelCount + low[0];
  cell.count += pixelCount;
}

// One pixel repeated over `kWords` words, to hold against as many words of a row.
template <typename Word, size_t kWords>
struct CellPattern {
  explicit CellPattern(const uint8_t* pixel) {
    uint8_t bytes[sizeof words];
    for (size_t i = 0; i < sizeof bytes; i += 3) std::memcpy(bytes + i, pixel, 3);
    std::memcpy(words, bytes, sizeof words);
  }
  Word words[kWords];
};

}  // namespace dibkit::quantize

#endif  // DIBKIT_SRC_QUANTIZE_FLAT_CELL_H
