// SPDX-License-Identifier: Apache-2.0
#include "page/pixel_rows.h"

#include <bit>
#include <cstring>

namespace dibkit::host {
namespace {

// Multiplied by this, bit 9i of a word comes to bit 63 - i (the other products lie elsewhere, one
// to a bit, so that nothing is carried):
//   byte      7        6      ...     0
//   0000000h 0000000g ... 0000000a  ->  abcdefgh in the highest byte
// and, the other way, the bits of one byte come to the highest bits of eight.
constexpr uint64_t kGather = 0x8040201008040201U;
constexpr uint64_t kLowBits = 0x0101010101010101U;
constexpr uint64_t kHighBits = kLowBits << 7;

constexpr bool kLittle = std::endian::native == std::endian::little;

unsigned char PackEight(const unsigned char* from) {
  uint64_t word;
  std::memcpy(&word, from, sizeof word);
  const uint64_t low = ~kHighBits;
  const uint64_t notZero = (((word & low) + low) | word) & kHighBits;
  return static_cast<unsigned char>((notZero >> 7) * kGather >> 56);
}

void SpreadEight(unsigned bits, unsigned char* to) {
  const uint64_t word = (bits * kGather & kHighBits) >> 7;
  std::memcpy(to, &word, sizeof word);
}

unsigned char BitAt(const unsigned char* bits, size_t x) {
  return static_cast<unsigned char>(bits[x / 8] >> (7 - x % 8) & 1);
}

}  // namespace

void PackMask(const unsigned char* from, unsigned char* to, size_t pixels) {
  size_t x = 0;
  if constexpr (kLittle) {
    for (; pixels - x >= 8; x += 8) {
      to[x / 8] = PackEight(from + x);
    }
  }
  std::memset(to + x / 8, 0, BytesOfBits(pixels) - x / 8);
  for (; x < pixels; ++x) {
    const unsigned bit = from[x] != 0 ? 0x80U >> x % 8 : 0U;
    to[x / 8] = static_cast<unsigned char>(to[x / 8] | bit);
  }
}

void SpreadBits(const unsigned char* from, unsigned char* to, size_t pixels, unsigned char flip) {
  size_t x = 0;
  if constexpr (kLittle) {
    for (; pixels - x >= 8; x += 8) {
      SpreadEight(static_cast<unsigned>(from[x / 8] ^ flip), to + x);
    }
  }
  for (; x < pixels; ++x) {
    to[x] = static_cast<unsigned char>(BitAt(from, x) ^ (flip & 1));
  }
}

void CopyBits(const unsigned char* from, unsigned char* to, size_t pixels, unsigned char flip) {
  const size_t bytes = BytesOfBits(pixels);
  for (size_t i = 0; i < bytes; ++i) {
    to[i] = static_cast<unsigned char>(from[i] ^ flip);
  }
  if (pixels % 8 != 0) {
    to[bytes - 1] = static_cast<unsigned char>(to[bytes - 1] & 0xFF00U >> pixels % 8);
  }
}

void SpreadNibbles(const unsigned char* from, unsigned char* to, size_t pixels) {
  for (size_t x = 0; x < pixels; ++x) {
    to[x] = x % 2 == 0 ? from[x / 2] >> 4 : from[x / 2] & 15;
  }
}

void WidenFields(const unsigned char* from, unsigned char* to, size_t pixels) {
  // round(c * 255 / 31) for all of 0 to 31
  const auto widened = [](unsigned c) { return static_cast<unsigned char>((c * 527 + 23) >> 6); };
  for (size_t x = 0; x < pixels; ++x, from += 2, to += 3) {
    const unsigned word = from[0] | static_cast<unsigned>(from[1]) << 8;
    to[0] = widened(word >> 10 & 31);
    to[1] = widened(word >> 5 & 31);
    to[2] = widened(word & 31);
  }
}

}  // namespace dibkit::host
