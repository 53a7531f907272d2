// SPDX-License-Identifier: Apache-2.0
#include "resolution/axis.h"

#include <algorithm>
#include <bit>
#include <numeric>

namespace dibkit::resolution {

namespace {

double PowerOfTwo(int exponent) {
  return std::bit_cast<double>(static_cast<uint64_t>(exponent + 1023) << 52);
}

// A long division by a divisor of 53 bits, whose top bit is set. Each step estimates its digit in
// doubles, however they round, and then corrects it by the remainder that it leaves.
struct LongDivision {
  // An estimate of so many bits misses by 1 at most, or by little more if doubles round otherwise.
  static constexpr int kMostBits = 48;

  uint64_t divisor;
  uint64_t rest;  // less than the divisor
  double inverse = 1.0 / static_cast<double>(static_cast<int64_t>(divisor));

  // Appends `bits` zeros to the rest and divides. What the digit leaves is far below 2^63, so that
  // it is right although the terms of its difference exceed 64 bits.
  uint64_t Next(int bits) {
    const double estimate =
        static_cast<double>(static_cast<int64_t>(rest)) * (PowerOfTwo(bits) * inverse);
    auto digit = static_cast<uint64_t>(static_cast<int64_t>(estimate));
    auto left = static_cast<int64_t>((rest << bits) - digit * divisor);
    for (; left < 0; --digit) left += static_cast<int64_t>(divisor);
    for (; left >= static_cast<int64_t>(divisor); ++digit) left -= static_cast<int64_t>(divisor);
    rest = static_cast<uint64_t>(left);
    return digit;
  }
};

}  // namespace

PositionStepper::Step PositionStepper::DivideByScale(double scale) {
  const Extended wide = ExtendedFromDouble(scale);
  const uint64_t divisor = wide.significand >> 11;
  // i / scale * 2^kFractionBits = i * 2^power / divisor. The first 52 doublings of 1 stay below the
  // divisor, unless it is a power of two; from there a long division takes many bits at a time.
  int power = kFractionBits - (wide.exponent + 11) - 52;
  const uint64_t start = uint64_t{1} << 52;
  const bool isPower = divisor == start;
  LongDivision division{divisor, isPower ? 0 : start};
  Wide quotient = {0, isPower ? 1u : 0u};
  while (power > 0) {
    const int bits = std::min(power, LongDivision::kMostBits);
    quotient = ShiftLeft(quotient, static_cast<unsigned>(bits));
    quotient.low |= division.Next(bits);
    power -= bits;
  }
  return {divisor, quotient, division.rest};
}

SplitPosition Split(Extended position) {
  const uint64_t whole = Truncate(position);
  if (whole == 0) return {0, position};
  // The position is below 2^63, so its exponent is negative and the fraction is the bits below the
  // point.
  const auto below = static_cast<unsigned>(-position.exponent);
  const uint64_t fraction = position.significand & ((uint64_t{1} << below) - 1);
  return {static_cast<uint32_t>(whole), RoundWide({0, fraction}, position.exponent, false, false)};
}

Ratio Ratio::Of(uint32_t targetDpi, uint32_t sourceDpi) {
  const uint32_t common = std::gcd(targetDpi, sourceDpi);
  return {targetDpi / common, sourceDpi / common};
}

Phase PhaseOf(Extended fraction, uint32_t parts) {
  if (fraction.significand == 0) return {0, 0.0};
  // fraction = odd * 2^-places. parts * odd is the nearest multiple of 2^places, which is the
  // phase, plus the error. For a position of this scale the error is a small multiple of its last
  // place; a fraction from elsewhere may lie anywhere.
  const int zeros = std::countr_zero(fraction.significand);
  const int exponent = fraction.exponent + zeros;
  if (exponent >= 0 || exponent < -126) return {0, 1.0};
  const auto places = static_cast<unsigned>(-exponent);
  const Wide product = MultiplyWide(fraction.significand >> zeros, parts);
  const Wide half = ShiftLeft({0, 1}, places - 1);
  const Wide phase = ShiftRight(AddWide(product, half), places);
  const Wide nearest = ShiftLeft(phase, places);
  const uint64_t difference = product.low - nearest.low;
  const uint64_t borrow = product.low < nearest.low ? 1 : 0;
  const uint64_t sign = (difference >> 63) != 0 ? ~uint64_t{0} : 0;
  if (product.high - nearest.high - borrow != sign) return {0, 1.0};
  return {static_cast<uint32_t>(phase.low),
          static_cast<double>(static_cast<int64_t>(difference)) * PowerOfTwo(exponent)};
}

}  // namespace dibkit::resolution
