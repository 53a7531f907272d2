// SPDX-License-Identifier: Apache-2.0
#include "dibkit/host/resolution.h"

#include <limits>

namespace dibkit::host {
namespace {

constexpr unsigned kMostDpi = 65535;

// Whole dots per inch from which `pelsPerMeter` comes, truncated or rounded; 0 when there are none.
unsigned WholeDpi(int32_t pelsPerMeter) {
  const unsigned dpi = DotsPerInch(pelsPerMeter);
  const int32_t truncated = dpi == 0 ? 0 : PelsPerMeter(dpi);
  return truncated == pelsPerMeter || truncated + 1 == pelsPerMeter ? dpi : 0;
}

// Pixels per metre of `value` pixels per inch, centimetre or metre; 0 when there are none.
int32_t PelsPerMeterOf(Rational value, ResolutionUnit unit) {
  if (value.denominator == 0 || unit == ResolutionUnit::kNone) {
    return 0;
  }
  uint64_t numerator = value.numerator;
  uint64_t denominator = value.denominator;
  if (unit == ResolutionUnit::kInch) {
    const uint64_t dpi = numerator / denominator;
    if (numerator % denominator == 0 && dpi >= 1 && dpi <= kMostDpi) {
      return PelsPerMeter(static_cast<unsigned>(dpi));
    }
    numerator *= 10000;
    denominator *= 254;
  } else if (unit == ResolutionUnit::kCentimetre) {
    numerator *= 100;
  }
  const uint64_t rounded = (numerator + denominator / 2) / denominator;
  return rounded > std::numeric_limits<int32_t>::max() ? 0 : static_cast<int32_t>(rounded);
}

}  // namespace

Resolution ResolutionOfDpi(unsigned dpi) { return {ResolutionUnit::kInch, {dpi, 1}, {dpi, 1}}; }

Resolution ResolutionOfHeader(int32_t xPelsPerMeter, int32_t yPelsPerMeter) {
  if (xPelsPerMeter <= 0 || yPelsPerMeter <= 0) {
    return {};
  }
  const unsigned x = WholeDpi(xPelsPerMeter);
  const unsigned y = WholeDpi(yPelsPerMeter);
  if (x != 0 && y != 0) {
    return {ResolutionUnit::kInch, {x, 1}, {y, 1}};
  }
  return {ResolutionUnit::kMetre,
          {static_cast<uint32_t>(xPelsPerMeter), 1},
          {static_cast<uint32_t>(yPelsPerMeter), 1}};
}

PelsPerMetre HeaderResolution(const Resolution& resolution) {
  const PelsPerMetre pels{PelsPerMeterOf(resolution.x, resolution.unit),
                          PelsPerMeterOf(resolution.y, resolution.unit)};
  return pels.x == 0 || pels.y == 0 ? PelsPerMetre{} : pels;
}

unsigned DotsPerInch(int32_t pelsPerMeter) {
  const int64_t dots = (int64_t{pelsPerMeter} + 1) * 254 / 10000;
  return dots < 0 || dots > kMostDpi ? 0 : static_cast<unsigned>(dots);
}

int32_t PelsPerMeter(unsigned dpi) { return static_cast<int32_t>(dpi * 10000 / 254); }

}  // namespace dibkit::host
