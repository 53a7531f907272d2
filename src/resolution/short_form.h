// SPDX-License-Identifier: Apache-2.0
//
// The numbers of the short form: the wide form with weights of a byte and sums of 16 bits.
//
// Weighted sums are spread: multiplied so that they fill 15 bits. Two products with 15 bits of a
// fraction, each within 1 (not quite) of the truth, estimate the value in 64ths; 2 are taken off,
// so the estimate is less than the truth by less than 4. So the next integer above the estimate is
// the value or, unless the value is a whole one, 1 more, which the sign of the remainder tells; and
// a remainder of 0 tells that the value is whole. Remainders are right modulo 2^16, and small.
#ifndef DIBKIT_SRC_RESOLUTION_SHORT_FORM_H
#define DIBKIT_SRC_RESOLUTION_SHORT_FORM_H

#include <cstdint>

#include "resolution/line_plan.h"

namespace dibkit::resolution {

// What weighted sums are multiplied by to fill 15 bits.
inline uint32_t Spread(const LinePlan& plan) { return 32767 / (255 * plan.partsX); }

inline uint32_t SpreadDivisor(const LinePlan& plan) { return Spread(plan) * plan.divisor; }

// Whether weights fit a signed byte and remainders 15 bits, which they nearly always do together.
inline bool FitsShort(const LinePlan& plan) {
  return plan.partsX <= 127 && SpreadDivisor(plan) <= 32767;
}

// What a spread sum that counts `parts` times is multiplied by to become 64ths: 15 bits of a
// fraction.
inline uint32_t SpreadRise(const LinePlan& plan, uint32_t parts) {
  const uint32_t divisor = SpreadDivisor(plan);
  return static_cast<uint32_t>(((uint64_t{parts} << 21) + divisor / 2) / divisor);
}

}  // namespace dibkit::resolution

#endif  // DIBKIT_SRC_RESOLUTION_SHORT_FORM_H
