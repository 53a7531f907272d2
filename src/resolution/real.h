// SPDX-License-Identifier: Apache-2.0
//
// The arithmetic that defines every resampled pixel: 64 significant bits, round to nearest even.
#ifndef DIBKIT_SRC_RESOLUTION_REAL_H
#define DIBKIT_SRC_RESOLUTION_REAL_H

#include <cfloat>
#include <cstdint>
#include <limits>

namespace dibkit::resolution {

using Real = long double;
static_assert(LDBL_MANT_DIG == 64, "the plain forms need a type with 64 significant bits");

// The one way from a floating-point value to an integer: the low 16 bits of its truncation toward
// zero in 64 bits. Infinity, NaN and what does not fit in 64 bits give 0.
inline uint16_t TruncateToWord(Real value) {
  constexpr Real kLimit = 9223372036854775808.0L;  // 2^63
  if (!(value > -kLimit && value < kLimit)) return 0;
  return static_cast<uint16_t>(static_cast<int64_t>(value));
}

inline uint8_t TruncateToByte(Real value) { return static_cast<uint8_t>(TruncateToWord(value)); }

// Division with the IEEE results for a divisor of 0.
inline Real Divide(Real dividend, Real divisor) {
  if (divisor != 0) return dividend / divisor;
  return dividend == 0 ? std::numeric_limits<Real>::quiet_NaN()
                       : std::numeric_limits<Real>::infinity();
}

}  // namespace dibkit::resolution

#endif  // DIBKIT_SRC_RESOLUTION_REAL_H
