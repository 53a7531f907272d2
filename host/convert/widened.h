// SPDX-License-Identifier: Apache-2.0
//
// Images whose channels have not 8 bits each, at 24 bits.
#ifndef DIBKIT_HOST_CONVERT_WIDENED_H
#define DIBKIT_HOST_CONVERT_WIDENED_H

#include "dibkit/host/global_memory.h"

namespace dibkit::host {

// `dib`: 16 bits without masks (5-5-5), or 16 or 32 bits with masks, as BitmapFile::ReadDib makes
// it, in either order of rows, which is kept. A top-down one is
// bottom-up while this works on it. Throws ImageError: kTooLarge, kNoMemory.
OwnedBlock Widened(const OwnedBlock& dib);

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_CONVERT_WIDENED_H
