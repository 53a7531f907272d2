// SPDX-License-Identifier: Apache-2.0
#ifndef DIBKIT_SRC_RESOLUTION_LINE_KERNELS_H
#define DIBKIT_SRC_RESOLUTION_LINE_KERNELS_H

#include <cstddef>
#include <cstdint>

#include "common/cpu.h"
#include "common/output_rows.h"
#include "common/streaming.h"
#include "resolution/line_plan.h"

namespace dibkit::resolution {

// What a row's passes do beside their own work, so that memory is never idle: fetch source bytes
// that the next rows need and these do not, and carry lines of the rows before to the result, past
// the caches. Both may be empty.
struct Traffic {
  const uint8_t* fetch = nullptr;
  size_t fetchBytes = 0;
  LineRun carry;
};

// The traffic dealt out to passes.
struct PassTraffic {
  const uint8_t* fetch;
  size_t fetchLines;
  size_t fetchStep;  // lines of a pass
  LineRun carry;
  size_t carryStep;

  PassTraffic(const Traffic& all, size_t passes)
      : fetch(all.fetch),
        fetchLines((all.fetchBytes + kCacheLine - 1) / kCacheLine),
        fetchStep((fetchLines + passes - 1) / passes),
        carry(all.carry),
        carryStep((carry.lines + passes - 1) / passes) {}
};

// Successive output rows that lie between the same two source rows (plan.rowBytes bytes each, which
// may be the same row).
struct RowBatch {
  static constexpr uint32_t kMost = 4;

  const uint8_t* rowA;
  const uint8_t* rowB;
  uint32_t count;  // 1 to kMost
  RowPhase phases[kMost];
  uint8_t* out;  // plan.samples bytes for each row
  size_t outStride;
  Traffic traffic;

  uint8_t* Out(uint32_t row) const { return out + row * outStride; }
};

// Makes the rows of a batch, with the traffic beside it. The portable kernels leave traffic to
// others: they are never given lines to carry.
using LineKernel = void (*)(const LinePlan& plan, const RowBatch& batch);

// The kernel for families that make one row at a time.
template <void (*kMakeRow)(const LinePlan& plan, const RowPhase& row, const uint8_t* rowA,
                           const uint8_t* rowB, const Traffic& traffic, uint8_t* out)>
void EachRow(const LinePlan& plan, const RowBatch& batch) {
  for (uint32_t i = 0; i < batch.count; ++i) {
    kMakeRow(plan, batch.phases[i], batch.rowA, batch.rowB, i == 0 ? batch.traffic : Traffic{},
             batch.Out(i));
  }
}

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
