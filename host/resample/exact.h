// SPDX-License-Identifier: Apache-2.0
//
// The library's own conversion, called so that nothing is left behind.
#ifndef DIBKIT_HOST_RESAMPLE_EXACT_H
#define DIBKIT_HOST_RESAMPLE_EXACT_H

#include "dibkit/host/global_memory.h"
#include "dibkit/host/resample.h"

namespace dibkit::host {

// What ConvertResolution makes of `source` as it stands. Throws ImageError (kNoMemory,
// kUnsoundDib), Cancelled.
OwnedBlock ConvertedExactly(tagHANDLE* source, unsigned dpi, int threshold,
                            const ProgressHook& progress);

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_RESAMPLE_EXACT_H
