// SPDX-License-Identifier: Apache-2.0
#include "formats/swap_channels.h"

#include <bit>
#include <cstdint>
#include <cstring>

namespace dibkit::host {
namespace {

uint64_t Load(const unsigned char* at) {
  uint64_t word;
  std::memcpy(&word, at, sizeof word);
  return word;
}

void Store(unsigned char* at, uint64_t word) { std::memcpy(at, &word, sizeof word); }

// Eight pixels as three little-endian words; the bytes, lowest first, before and after:
//   r g b r g b r g   b r g b r g b r   g b r g b r g b
//   b g r b g r b g   r b g r b g r b   g r b g r b g r
// Within a word red moves up by two bytes and blue down; three bytes cross into a neighbour.
void SwapEight(const unsigned char* from, unsigned char* to) {
  const uint64_t first = Load(from);
  const uint64_t second = Load(from + 8);
  const uint64_t third = Load(from + 16);
  Store(to, (first & 0xFF0000FF0000FF00U) | (first >> 16 & 0x000000FF0000FFU) |
                (first << 16 & 0x0000FF0000FF0000U) | (second & 0xFF) << 48);
  Store(to + 8, (second & 0x00FF0000FF0000U) | (second >> 16 & 0x0000FF0000FF00U) |
                    (second << 16 & 0x00FF0000FF000000U) | (first >> 48 & 0xFF) |
                    (third & 0xFF00) << 48);
  Store(to + 16, (third & 0x00FF0000FF0000FFU) | (third >> 16 & 0x0000FF0000FF0000U) |
                     (third << 16 & 0xFF0000FF00000000U) | (second >> 48 & 0xFF00));
}

}  // namespace

void SwapChannels(const unsigned char* from, unsigned char* to, size_t pixels) {
  if constexpr (std::endian::native == std::endian::little) {
    for (; pixels >= 8; pixels -= 8, from += 24, to += 24) {
      SwapEight(from, to);
    }
  }
  for (; pixels != 0; --pixels, from += 3, to += 3) {
    const unsigned char first = from[0];
    to[1] = from[1];
    to[0] = from[2];
    to[2] = first;
  }
}

void SwapChannelsOf32(const unsigned char* from, unsigned char* to, size_t pixels) {
  for (; pixels != 0; --pixels, from += 4, to += 3) {
    to[0] = from[2];
    to[1] = from[1];
    to[2] = from[0];
  }
}

}  // namespace dibkit::host
