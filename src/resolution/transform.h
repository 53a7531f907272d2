// SPDX-License-Identifier: Apache-2.0
//
// The engine's run, with what its exported members do not ask for: whether the histogram can be
// seen, and which family of kernels makes the rows.
#ifndef DIBKIT_SRC_RESOLUTION_TRANSFORM_H
#define DIBKIT_SRC_RESOLUTION_TRANSFORM_H

#include "Cnv_res_mem.h"
#include "common/cpu.h"
#include "resolution/row_maker.h"

namespace dibkit::resolution {

// LinearTransform and CreateImage; both answer their status.
int Transform(CLinearTransformMem& engine, unsigned short mode, int (*progress)(unsigned short),
              unsigned short dpi, int threshold, HistogramUse use);
int CreateRows(CLinearTransformMem& engine, unsigned short mode, HistogramUse use, CpuLevel level);

}  // namespace dibkit::resolution

#endif  // DIBKIT_SRC_RESOLUTION_TRANSFORM_H
