// SPDX-License-Identifier: Apache-2.0
//
// How many pixels a length has, in the unit in which a file says it, and what the resolution
// conversion makes of it.
#ifndef DIBKIT_HOST_RESOLUTION_H
#define DIBKIT_HOST_RESOLUTION_H

#include <cstdint>

namespace dibkit::host {

enum class ResolutionUnit { kNone, kInch, kCentimetre, kMetre };

// A denominator of 0 makes it no number.
struct Rational {
  uint32_t numerator = 0;
  uint32_t denominator = 1;
  bool operator==(const Rational&) const = default;
};

// Pixels per unit, exactly as a file holds them. kNone: the file gives none.
struct Resolution {
  ResolutionUnit unit = ResolutionUnit::kNone;
  Rational x{};
  Rational y{};
  bool operator==(const Resolution&) const = default;
};

// `dpi`/1 per inch on both axes.
Resolution ResolutionOfDpi(unsigned dpi);

// What a bitmap header says. Values that come from whole dots per inch (11811 from 300) are told in
// inches, others per metre; kNone when one of them is 0 or negative.
Resolution ResolutionOfHeader(int32_t xPelsPerMeter, int32_t yPelsPerMeter);

// Pixels per metre for a bitmap header.
struct PelsPerMetre {
  int32_t x = 0;
  int32_t y = 0;
};

// Whole dots per inch as the conversion itself writes them (truncated), other values rounded to
// nearest; both 0 where the resolution is none, is no number or does not fit.
PelsPerMetre HeaderResolution(const Resolution& resolution);

// Dots per inch, 1 to 65535, as the conversion reads them from a header: truncated, 11811 is 300.
// 0 when the value gives none: 0, too small, negative, or so large that the conversion would take
// it for another.
unsigned DotsPerInch(int32_t pelsPerMeter);

// What the conversion writes for `dpi`, 1 to 65535: truncated.
int32_t PelsPerMeter(unsigned dpi);

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_RESOLUTION_H
