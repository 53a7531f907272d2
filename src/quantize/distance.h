// SPDX-License-Identifier: Apache-2.0
//
// The distance of colours: squared, all components weighing the same.
#ifndef DIBKIT_SRC_QUANTIZE_DISTANCE_H
#define DIBKIT_SRC_QUANTIZE_DISTANCE_H

#include <cstdint>

#include "WinTypes.h"

namespace dibkit::quantize {

inline uint32_t Square(int difference) { return static_cast<uint32_t>(difference * difference); }

inline uint32_t Distance(const tagRGBQUAD& a, const tagRGBQUAD& b) {
  return Square(a.rgbRed - b.rgbRed) + Square(a.rgbGreen - b.rgbGreen) +
         Square(a.rgbBlue - b.rgbBlue);
}

}  // namespace dibkit::quantize

#endif  // DIBKIT_SRC_QUANTIZE_DISTANCE_H
