// SPDX-License-Identifier: Apache-2.0
//
// All rows of an image made into rows of another depth, in the form that suits the image.
#ifndef DIBKIT_SRC_DIB_DEPTH_ROWS_H
#define DIBKIT_SRC_DIB_DEPTH_ROWS_H

#include "dib/depth.h"
#include "dib/row_kernels.h"

namespace dibkit {

// Two forms of one row function that give the same bytes.
struct RowForms {
  PlainRow plain = nullptr;
  RowKernel RowKernels::*kernel = nullptr;
};

// Makes all rows: with the kernel, unless there are too few pixels or the source ends early.
// Padding bytes of the result are not written.
void ConvertRows(const DepthJob& job, const RowForms& forms, const PixelMeaning& meaning);

}  // namespace dibkit

#endif  // DIBKIT_SRC_DIB_DEPTH_ROWS_H
