// SPDX-License-Identifier: Apache-2.0
#include "resolution/axis.h"

#include <bit>
#include <numeric>

namespace dibkit::resolution {

namespace {

double PowerOfTwo(int exponent) {
  return std::bit_cast<double>(static_cast<uint64_t>(exponent + 1023) << 52);
}

}  // namespace

PositionStepper::PositionStepper(double scale) {
  const Extended wide = ExtendedFromDouble(scale);
  divisor_ = wide.significand >> 11;
  // i / scale * 2^kFractionBits = i * 2^power / divisor. The first 52 doublings of 1 stay below the
  // divisor; from there a long division takes eleven bits at a time.
  int power = kFractionBits - (wide.exponent + 11) - 52;
  uint64_t rest = uint64_t{1} << 52;
  step_ = {};
  if (rest >= divisor_) {
    step_.low = 1;
    rest -= divisor_;
  }
  while (power > 0) {
    const int bits = power < 11 ? power : 11;
    const uint64_t dividend = rest << bits;
    step_ = ShiftLeft(step_, static_cast<unsigned>(bits));
    step_.low |= dividend / divisor_;
    rest = dividend % divisor_;
    power -= bits;
  }
  stepRemainder_ = rest;
}

void PositionStepper::Advance() {
  quotient_ = AddWide(quotient_, step_);
  remainder_ += stepRemainder_;
  if (remainder_ >= divisor_) {
    remainder_ -= divisor_;
    quotient_ = AddWide(quotient_, {0, 1});
  }
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
