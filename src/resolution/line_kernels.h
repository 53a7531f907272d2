// SPDX-License-Identifier: Apache-2.0
#ifndef DIBKIT_SRC_RESOLUTION_LINE_KERNELS_H
#define DIBKIT_SRC_RESOLUTION_LINE_KERNELS_H

#include <cstddef>
#include <cstdint>

#include "common/cpu.h"
#include "resolution/line_plan.h"

namespace dibkit::resolution {

// Source bytes that the next output row needs and this one does not: fetched into the cache while
// this row is made. May be empty.
struct Ahead {
  const uint8_t* from;
  size_t bytes;
};

// How many bytes ahead each of a row's passes fetches, in whole cache lines.
inline size_t StepAhead(Ahead ahead, size_t passes) {
  return (ahead.bytes / passes + 64) / 64 * 64;
}

// Makes one output row (plan.samples bytes) of two source rows (plan.rowBytes bytes each, which may
// be the same row).
using LineKernel = void (*)(const LinePlan& plan, const RowPhase& row, const uint8_t* rowA,
                            const uint8_t* rowB, Ahead ahead, uint8_t* out);

// The kernels of one kind of CPU.
struct LineKernels {
  LaneShape narrowShape;
  LaneShape wideShape;
  LineKernel copy;
  LineKernel narrow;
  LineKernel wide;

  LineKernel For(LineForm form) const {
    return form == LineForm::kCopy ? copy : form == LineForm::kNarrow ? narrow : wide;
  }
};

extern const LineKernels kPortableLineKernels;
#ifdef DIBKIT_X86
extern const LineKernels kAvx2LineKernels;
extern const LineKernels kAvx512LineKernels;
#endif

inline const LineKernels& LineKernelsFor(CpuLevel level) {
#ifdef DIBKIT_X86
  if (level == CpuLevel::kAvx512) return kAvx512LineKernels;
  if (level == CpuLevel::kAvx2) return kAvx2LineKernels;
#endif
  static_cast<void>(level);
  return kPortableLineKernels;
}

}  // namespace dibkit::resolution

#endif  // DIBKIT_SRC_RESOLUTION_LINE_KERNELS_H
