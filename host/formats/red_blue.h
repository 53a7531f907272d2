// SPDX-License-Identifier: Apache-2.0
//
// Red and blue of 24-bit pixels change places.
#ifndef DIBKIT_HOST_FORMATS_RED_BLUE_H
#define DIBKIT_HOST_FORMATS_RED_BLUE_H

#include <cstdint>

namespace dibkit::host {

// `from` and `to` hold `width` pixels each; they may be the same.
inline void SwapRedBlue(const unsigned char* from, unsigned char* to, uint32_t width) {
  for (uint32_t x = 0; x < width; ++x, from += 3, to += 3) {
    const unsigned char first = from[0];
    to[0] = from[2];
    to[1] = from[1];
    to[2] = first;
  }
}

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_FORMATS_RED_BLUE_H
