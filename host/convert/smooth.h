// SPDX-License-Identifier: Apache-2.0
//
// The steps of scanned edges, softened.
#ifndef DIBKIT_HOST_CONVERT_SMOOTH_H
#define DIBKIT_HOST_CONVERT_SMOOTH_H

#include "dibkit/host/global_memory.h"

namespace dibkit::host {

// A plain DIB of 1, 4, 8 or 24 bits as 8-bit grey in which each level is laid over its neighbours
// with the weights 1, 6, 1 of 8 on either axis, rounded once; beyond the edge lies the edge. Throws
// ImageError (kTooLarge, kNoMemory).
OwnedBlock SmoothGrey(const OwnedBlock& plain);

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_CONVERT_SMOOTH_H
