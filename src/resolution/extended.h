// SPDX-License-Identifier: Apache-2.0
#ifndef DIBKIT_SRC_RESOLUTION_EXTENDED_H
#define DIBKIT_SRC_RESOLUTION_EXTENDED_H

#include <bit>
#include <cstdint>

#include "resolution/wide_integer.h"

namespace dibkit::resolution {

// A number with a 64-bit significand, carried in integers: the same on every CPU, compiler and
// floating-point setting. Its value is significand * 2^exponent, negated when negative is set; the
// top bit of the significand is set, except in zero, whose significand is 0. Every operation rounds
// once, to the nearest value, ties to the even significand. The exponent has no bounds that the
// resampler could reach (positions lie between 2^-16 and 2^16).
struct Extended {
  uint64_t significand = 0;
  int exponent = 0;
  bool negative = false;
};

// Rounds bits * 2^exponent to 64 significant bits; inexact tells that the true value lies a little
// above `bits` (by less than one unit of its last place).
inline Extended RoundWide(Wide bits, int exponent, bool inexact, bool negative) {
  const unsigned zeros = LeadingZeros(bits);
  if (zeros == 128) return {};
  const Wide aligned = ShiftLeft(bits, zeros);
  const uint64_t half = uint64_t{1} << 63;
  const bool odd = (aligned.high & 1) != 0;
  const bool up = aligned.low > half || (aligned.low == half && (inexact || odd));
  const int scaled = exponent + 64 - static_cast<int>(zeros);
  const uint64_t significand = aligned.high + (up ? 1u : 0u);
  if (significand == 0) return {half, scaled + 1, negative};  // rounded up to a power of two
  return {significand, scaled, negative};
}

inline Extended ExtendedFromInteger(int value) {
  const uint64_t magnitude = value < 0 ? uint64_t{0} - static_cast<uint64_t>(int64_t{value})
                                       : static_cast<uint64_t>(value);
  return RoundWide({0, magnitude}, 0, false, value < 0);
}

// Of a finite, normal or zero, non-negative double.
inline Extended ExtendedFromDouble(double value) {
  const auto bits = std::bit_cast<uint64_t>(value);
  const auto biased = static_cast<int>((bits >> 52) & 0x7FF);
  if (biased == 0) return {};
  const uint64_t fraction = bits & ((uint64_t{1} << 52) - 1);
  return {(fraction | (uint64_t{1} << 52)) << 11, biased - 1075 - 11, false};
}

inline Extended Multiply(Extended a, Extended b) {
  return RoundWide(MultiplyWide(a.significand, b.significand), a.exponent + b.exponent, false,
                   a.negative != b.negative);
}

// Adds with the smaller operand shifted right under the larger: 62 bits beside the larger's
// significand are kept, what falls below them only matters as "not zero" and is folded into the
// lowest kept bit.
inline Extended Add(Extended a, Extended b) {
  if (a.significand == 0) return b;
  if (b.significand == 0) return a;
  if (a.exponent < b.exponent || (a.exponent == b.exponent && a.significand < b.significand)) {
    const Extended larger = b;
    b = a;
    a = larger;
  }
  const auto distance = static_cast<unsigned>(a.exponent - b.exponent);
  const Wide large = ShiftLeft({0, a.significand}, 62);
  Wide small = ShiftLeft({0, b.significand}, 62);
  if (distance > 126) {
    small = {0, 1};
  } else {
    const Wide shifted = ShiftRight(small, distance);
    const Wide back = ShiftLeft(shifted, distance);
    const bool lost = back.low != small.low || back.high != small.high;
    small = {shifted.high, shifted.low | (lost ? 1u : 0u)};
  }
  if (a.negative != b.negative) {
    small = AddWide({~small.high, ~small.low}, {0, 1});
  }
  return RoundWide(AddWide(large, small), a.exponent - 62, false, a.negative);
}

inline Extended Negate(Extended a) { return {a.significand, a.exponent, !a.negative}; }

inline Extended Subtract(Extended a, Extended b) { return Add(a, Negate(b)); }

// The integer part of a non-negative number below 2^64.
inline uint64_t Truncate(Extended a) {
  if (a.exponent <= -64) return 0;
  return a.exponent <= 0 ? a.significand >> -a.exponent : a.significand << a.exponent;
}

// The nearest double of a non-negative number in the range of normal doubles.
inline double ToDouble(Extended a) {
  if (a.significand == 0) return 0.0;
  const uint64_t kept = a.significand >> 11;
  // What is cut off is as good as random, so that its rounding is an addition and not a branch: the
  // sum reaches 2^11 above a half, and at a half if the last bit kept is odd.
  const uint64_t up = ((a.significand & 0x7FF) + 0x3FF + (kept & 1)) >> 11;
  const auto biased = static_cast<uint64_t>(a.exponent + 11 + 1075);
  // A carry out of the significand moves into the exponent, which is what rounding up to a power
  // of two means.
  return std::bit_cast<double>(((biased - 1) << 52) + kept + up);
}

}  // namespace dibkit::resolution

#endif  // DIBKIT_SRC_RESOLUTION_EXTENDED_H
