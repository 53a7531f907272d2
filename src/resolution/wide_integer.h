// SPDX-License-Identifier: Apache-2.0
#ifndef DIBKIT_SRC_RESOLUTION_WIDE_INTEGER_H
#define DIBKIT_SRC_RESOLUTION_WIDE_INTEGER_H

#include <bit>
#include <cstdint>

namespace dibkit::resolution {

// An unsigned integer of 128 bits in two halves. __int128 is not used because i386 has none, and
// one code path for all CPUs is one code path to test.
struct Wide {
  uint64_t high = 0;
  uint64_t low = 0;
};

inline Wide AddWide(Wide a, Wide b) {
  const uint64_t low = a.low + b.low;
  return {a.high + b.high + (low < a.low ? 1u : 0u), low};
}

// The whole product of two 64-bit integers, from four products of their 32-bit halves.
inline Wide MultiplyWide(uint64_t a, uint64_t b) {
  const uint64_t aLow = a & 0xFFFFFFFFu, aHigh = a >> 32;
  const uint64_t bLow = b & 0xFFFFFFFFu, bHigh = b >> 32;
  const uint64_t lowLow = aLow * bLow;
  const uint64_t middle = aHigh * bLow + (lowLow >> 32);
  const uint64_t cross = aLow * bHigh + (middle & 0xFFFFFFFFu);
  return {aHigh * bHigh + (middle >> 32) + (cross >> 32), (cross << 32) | (lowLow & 0xFFFFFFFFu)};
}

// Shifts by 0 to 127 places.
inline Wide ShiftLeft(Wide a, unsigned places) {
  if (places == 0) return a;
  if (places >= 64) return {a.low << (places - 64), 0};
  return {(a.high << places) | (a.low >> (64 - places)), a.low << places};
}

inline Wide ShiftRight(Wide a, unsigned places) {
  if (places == 0) return a;
  if (places >= 64) return {0, a.high >> (places - 64)};
  return {a.high >> places, (a.low >> places) | (a.high << (64 - places))};
}

inline unsigned LeadingZeros(Wide a) {
  return static_cast<unsigned>(a.high != 0 ? std::countl_zero(a.high)
                                           : 64 + std::countl_zero(a.low));
}

}  // namespace dibkit::resolution

#endif  // DIBKIT_SRC_RESOLUTION_WIDE_INTEGER_H
