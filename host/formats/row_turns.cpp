// SPDX-License-Identifier: Apache-2.0
#include "formats/row_turns.h"

#include <algorithm>
#include <array>
#include <utility>

namespace dibkit::host {
namespace {

constexpr unsigned char ReversedBits(unsigned value) {
  unsigned reversed = 0;
  for (unsigned bit = 0; bit < 8; ++bit) {
    reversed |= (value >> bit & 1) << (7 - bit);
  }
  return static_cast<unsigned char>(reversed);
}

constexpr std::array<unsigned char, 256> MakeReversed() {
  std::array<unsigned char, 256> table{};
  for (unsigned value = 0; value < 256; ++value) {
    table[value] = ReversedBits(value);
  }
  return table;
}

constexpr std::array<unsigned char, 256> kReversed = MakeReversed();

// Moves `size` bytes of bits up by `shift` (0 to 7), towards the first pixel.
void ShiftBits(unsigned char* row, size_t size, unsigned shift) {
  for (size_t i = 0; i < size; ++i) {
    const unsigned next = i + 1 < size ? row[i + 1] : 0U;
    row[i] = static_cast<unsigned char>((unsigned{row[i]} << 8 | next) >> (8 - shift));
  }
}

// Rows of less than a byte a pixel: each byte turned, their order too, and the bits that were
// behind the last pixel pushed out at the front.
template <typename TurnByte>
void MirrorPacked(unsigned char* row, uint32_t width, unsigned bitCount, TurnByte turnByte) {
  const uint64_t bits = uint64_t{width} * bitCount;
  const auto size = static_cast<size_t>((bits + 7) / 8);
  std::reverse(row, row + size);
  std::transform(row, row + size, row, turnByte);
  const auto unused = static_cast<unsigned>(size * 8 - bits);
  if (unused != 0) {
    ShiftBits(row, size, unused);
  }
}

void Mirror24(unsigned char* row, uint32_t width) {
  unsigned char* left = row;
  unsigned char* right = row + size_t{width} * 3;
  while (right - left >= 6) {
    right -= 3;
    std::swap_ranges(left, left + 3, right);
    left += 3;
  }
}

// 8 x 8 bits, the first row in the highest byte; the first pixel of a row in its highest bit.
//   a b  ->  a c   in blocks of 1, then 2, then 4 bits
//   c d      b d
constexpr uint64_t TransposedBits(uint64_t x) {
  uint64_t t = (x ^ (x >> 7)) & 0x00AA00AA00AA00AAU;
  x ^= t ^ (t << 7);
  t = (x ^ (x >> 14)) & 0x0000CCCC0000CCCCU;
  x ^= t ^ (t << 14);
  t = (x ^ (x >> 28)) & 0x00000000F0F0F0F0U;
  return x ^ t ^ (t << 28);
}

using RowOf = std::function<unsigned char*(uint32_t)>;

void TransposeBits(const Band& band, uint32_t at, const RowOf& rowOf) {
  for (uint32_t x = 0; x < band.width; x += 8) {
    const uint32_t columns = std::min<uint32_t>(8, band.width - x);
    std::array<unsigned char*, 8> to{};
    for (uint32_t i = 0; i < columns; ++i) {
      to[i] = rowOf(x + i) + at / 8;
    }
    for (uint32_t y = 0; y < band.height; y += 8) {
      const unsigned char* from = band.rows + size_t{y} * band.rowBytes + x / 8;
      uint64_t block = 0;
      for (unsigned i = 0; i < 8; ++i) {
        block = block << 8 | from[i * band.rowBytes];
      }
      block = TransposedBits(block);
      for (uint32_t i = 0; i < columns; ++i) {
        to[i][y / 8] = static_cast<unsigned char>(block >> (56 - 8 * i));
      }
    }
  }
}

void TransposeNibbles(const Band& band, uint32_t at, const RowOf& rowOf) {
  for (uint32_t x = 0; x < band.width; ++x) {
    unsigned char* to = rowOf(x) + at / 2;
    const unsigned shift = x % 2 == 0 ? 4 : 0;
    const unsigned char* from = band.rows + x / 2;
    for (uint32_t y = 0; y < band.height; y += 2, from += 2 * band.rowBytes) {
      const unsigned first = from[0] >> shift & 15U;
      const unsigned second = from[band.rowBytes] >> shift & 15U;
      *to++ = static_cast<unsigned char>(first << 4 | second);
    }
  }
}

template <unsigned kBytes>
void TransposeBytes(const Band& band, uint32_t at, const RowOf& rowOf) {
  for (uint32_t x = 0; x < band.width; ++x) {
    unsigned char* to = rowOf(x) + size_t{at} * kBytes;
    const unsigned char* from = band.rows + size_t{x} * kBytes;
    for (uint32_t y = 0; y < band.height; ++y, from += band.rowBytes, to += kBytes) {
      std::copy_n(from, kBytes, to);
    }
  }
}

}  // namespace

void MirrorRow(unsigned char* row, uint32_t width, uint16_t bitCount) {
  switch (bitCount) {
    case 1:
      MirrorPacked(row, width, 1, [](unsigned char byte) { return kReversed[byte]; });
      break;
    case 4:
      MirrorPacked(row, width, 4, [](unsigned char byte) {
        return static_cast<unsigned char>(byte << 4 | byte >> 4);
      });
      break;
    case 8:
      std::reverse(row, row + width);
      break;
    default:
      Mirror24(row, width);
  }
}

void TransposeBand(const Band& band, uint16_t bitCount, uint32_t at, const RowOf& rowOf) {
  switch (bitCount) {
    case 1:
      TransposeBits(band, at, rowOf);
      break;
    case 4:
      TransposeNibbles(band, at, rowOf);
      break;
    case 8:
      TransposeBytes<1>(band, at, rowOf);
      break;
    default:
      TransposeBytes<3>(band, at, rowOf);
  }
}

}  // namespace dibkit::host
