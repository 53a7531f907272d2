// SPDX-License-Identifier: Apache-2.0
//
// Arithmetic on single channels, each result rounded to the nearest level.
#ifndef DIBKIT_HOST_FORMATS_CHANNELS_H
#define DIBKIT_HOST_FORMATS_CHANNELS_H

#include <cstdint>

namespace dibkit::host {

// 16 bits to 8: value * 255 / 65535.
constexpr unsigned char To8Bits(uint32_t value) {
  return static_cast<unsigned char>((value * 255 + 32895) >> 16);
}

// A level with an opacity of `alpha`, laid over white. All 0 to 255.
constexpr unsigned char OverWhite8(uint32_t level, uint32_t alpha) {
  return static_cast<unsigned char>((level * alpha + 255 * (255 - alpha) + 127) / 255);
}

// The same of 16 bits, 0 to 65535, rounded once.
constexpr unsigned char OverWhite16(uint32_t level, uint32_t alpha) {
  constexpr uint64_t kMost = 65535;
  constexpr uint64_t kDivisor = kMost * kMost;
  const uint64_t laid = uint64_t{level} * alpha + kMost * (kMost - alpha);
  return static_cast<unsigned char>((laid * 255 + kDivisor / 2) / kDivisor);
}

// The red, green or blue that is left by an ink and black, 0 (none) to 255.
constexpr unsigned char LeftByInks(uint32_t ink, uint32_t black) {
  return static_cast<unsigned char>(((255 - ink) * (255 - black) + 127) / 255);
}

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_FORMATS_CHANNELS_H
