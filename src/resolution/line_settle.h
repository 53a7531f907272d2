// SPDX-License-Identifier: Apache-2.0
#ifndef DIBKIT_SRC_RESOLUTION_LINE_SETTLE_H
#define DIBKIT_SRC_RESOLUTION_LINE_SETTLE_H

#include <cstdint>

#include "resolution/line_plan.h"

namespace dibkit::resolution {

// One output byte, by the arithmetic that defines it.
uint8_t ExactSample(int aLeft, int aRight, int bLeft, int bRight, const Extended& fx,
                    const Extended& fy);

// The same in integers, for CPUs and settings that lack that arithmetic.
uint8_t SoftSample(int aLeft, int aRight, int bLeft, int bRight, const Extended& fx,
                   const Extended& fy);

// In columns before kFarColumn the horizontal steps are rounded as well, and so is b - a. Of a and
// b only the one that is rounded more counts, their weights add up to 1: by 2^-57 in the sum and by
// 2^-64 of the step in the product. In units of 2^-65 / divisor that is, for each unit of the
// divisor, this much, a little slack included, and twice the step.
inline constexpr uint32_t kNearRounding = 258;

// Decides again the output bytes of `lanes` (bit i: sample first + i), whose ideal value is an
// integer and whose error sum was too small for the kernel's lanes.
void SettleSamples(const LinePlan& plan, const RowPhase& row, const uint8_t* rowA,
                   const uint8_t* rowB, uint8_t* out, uint32_t first, uint64_t lanes);

}  // namespace dibkit::resolution

#endif  // DIBKIT_SRC_RESOLUTION_LINE_SETTLE_H
