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

// Decides again the output bytes of `lanes` (bit i: sample first + i), whose ideal value is an
// integer and whose error sum was too small for the kernel's lanes.
void SettleSamples(const LinePlan& plan, const RowPhase& row, const uint8_t* rowA,
                   const uint8_t* rowB, uint8_t* out, uint32_t first, uint64_t lanes);

}  // namespace dibkit::resolution

#endif  // DIBKIT_SRC_RESOLUTION_LINE_SETTLE_H
