// SPDX-License-Identifier: Apache-2.0
//
// Pixels of every depth: where a value stands in its row, and what its bits mean.
#ifndef DIBKIT_SRC_DIB_PIXELS_H
#define DIBKIT_SRC_DIB_PIXELS_H

#include <cstddef>
#include <cstdint>

#include "dib/layout.h"

namespace dibkit {

// One channel of a bit-field pixel: ((pixel & mask) >> right) << left is its 8-bit value; a right
// shift of 32 marks a channel without bits.
struct BitField {
  uint32_t mask = 0;
  unsigned left = 0;
  unsigned right = 32;

  uint8_t Of(uint32_t pixel) const { return Channel(pixel, mask, left, right); }
};

// The colour index of pixel x in a row of 1, 4 or 8 bits a pixel.
template <unsigned kBits>
uint8_t IndexAt(const unsigned char* row, size_t x) {
  if constexpr (kBits == 1) {
    return row[x / 8] >> (7 - x % 8) & 1;
  } else if constexpr (kBits == 4) {
    return x % 2 == 0 ? row[x / 2] >> 4 : row[x / 2] & 15;
  } else {
    return row[x];
  }
}

inline void StoreTriple(unsigned char* to, uint8_t blue, uint8_t green, uint8_t red) {
  to[0] = blue;
  to[1] = green;
  to[2] = red;
}

// 0 stays 0; any other 5-bit channel becomes 8 x channel + 7.
inline uint8_t Widen5(unsigned channel) {
  return channel == 0 ? uint8_t{0} : static_cast<uint8_t>(channel * 8 + 7);
}

// The 5-5-5 word of a colour.
inline constexpr uint16_t Word555(uint8_t red, uint8_t green, uint8_t blue) {
  return static_cast<uint16_t>((red >> 3) << 10 | (green >> 3) << 5 | blue >> 3);
}

}  // namespace dibkit

#endif  // DIBKIT_SRC_DIB_PIXELS_H
