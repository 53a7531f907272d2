// SPDX-License-Identifier: Apache-2.0
#include "formats/whole_resolution.h"

namespace dibkit::host {
namespace {

// Tenths of a millimetre.
uint64_t LengthOf(ResolutionUnit unit) {
  switch (unit) {
    case ResolutionUnit::kInch:
      return 254;
    case ResolutionUnit::kCentimetre:
      return 100;
    default:
      return 10000;
  }
}

}  // namespace

WholeResolution WholeResolutionPer(ResolutionUnit unit, const Resolution& resolution) {
  if (resolution.unit == ResolutionUnit::kNone || resolution.x.denominator == 0 ||
      resolution.y.denominator == 0) {
    return {};
  }
  const uint64_t to = LengthOf(unit);
  const uint64_t from = LengthOf(resolution.unit);
  bool exact = true;
  const auto whole = [&](Rational value) {
    const uint64_t numerator = value.numerator * to;
    const uint64_t denominator = value.denominator * from;
    exact = exact && numerator % denominator == 0;
    return (numerator + denominator / 2) / denominator;
  };
  const uint64_t x = whole(resolution.x);
  const uint64_t y = whole(resolution.y);
  return x == 0 || y == 0 ? WholeResolution{} : WholeResolution{x, y, exact};
}

}  // namespace dibkit::host
