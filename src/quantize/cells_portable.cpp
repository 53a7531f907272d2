// SPDX-License-Identifier: Apache-2.0
//
// Paper is flat: most blocks of 8 pixels lie in one cell, and such a block is 3 words. A word is
// tested for the cell and its low bits are added up, all bytes at once; the sums come apart only
// when a byte could overflow or the cell changes.
#include <cstring>

#include "quantize/flat_cell.h"

namespace dibkit::quantize {

namespace {

void AddRow(const uint8_t* pixels, size_t count, CellSums* cells) {
  constexpr size_t kBlock = 8;
  size_t x = 0;
  while (x + kBlock <= count) {
    const uint8_t* const first = pixels + 3 * x;
    const CellPattern<uint64_t, 3> pattern(first);
    uint64_t sums[3] = {};
    size_t blocks = 0;
    for (; blocks < kFlatBlocks && x + kBlock <= count; ++blocks, x += kBlock) {
      PrefetchAhead(pixels + 3 * x);
      uint64_t words[3];
      std::memcpy(words, pixels + 3 * x, sizeof words);
      const uint64_t other = ((words[0] ^ pattern.words[0]) | (words[1] ^ pattern.words[1]) |
                              (words[2] ^ pattern.words[2])) &
                             0xF8F8F8F8F8F8F8F8;
      if (other != 0) break;
      for (size_t i = 0; i < 3; ++i) sums[i] += words[i] & 0x0707070707070707;
    }
    if (blocks != 0) {
      uint8_t bytes[sizeof sums];
      std::memcpy(bytes, sums, sizeof sums);
      AddFlat(first, bytes, sizeof bytes, blocks * kBlock, cells);
    }
    if (blocks == 0) {
      for (const size_t end = x + kBlock; x < end; ++x) AddPixel(pixels + 3 * x, cells);
    }
  }
  for (; x < count; ++x) AddPixel(pixels + 3 * x, cells);
}

}  // namespace

void AddToCellsPortable(const uint8_t* rows, size_t stride, size_t width, size_t height,
                        CellSums* cells) {
  for (size_t y = 0; y < height; ++y) AddRow(rows + y * stride, width, cells);
}

}  // namespace dibkit::quantize
