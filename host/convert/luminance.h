// SPDX-License-Identifier: Apache-2.0
//
// Grey from colours: the weights of ColorToMono256, over their full range, so that white is white.
#ifndef DIBKIT_HOST_CONVERT_LUMINANCE_H
#define DIBKIT_HOST_CONVERT_LUMINANCE_H

#include <cstddef>
#include <cstdint>

namespace dibkit::host {

// Rounded to the nearest level. The library's own divides by 64 and maps white to 247.
constexpr unsigned char Luminance(uint32_t blue, uint32_t green, uint32_t red) {
  constexpr uint32_t kRed = 16;
  constexpr uint32_t kGreen = 38;
  constexpr uint32_t kBlue = 8;
  constexpr uint32_t kSum = kRed + kGreen + kBlue;
  return static_cast<unsigned char>((red * kRed + green * kGreen + blue * kBlue + kSum / 2) / kSum);
}

// Of `count` pixels of blue, green, red.
void LuminanceRow(const unsigned char* colours, unsigned char* greys, size_t count);

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_CONVERT_LUMINANCE_H
