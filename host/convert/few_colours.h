// SPDX-License-Identifier: Apache-2.0
//
// Images with no more colours than a palette holds.
#ifndef DIBKIT_HOST_CONVERT_FEW_COLOURS_H
#define DIBKIT_HOST_CONVERT_FEW_COLOURS_H

#include <cstdint>

#include "dibkit/host/global_memory.h"

namespace dibkit::host {

// The image at 8 bits with a palette of its own colours, which rise from black to white by red,
// green and blue in this order; entries behind them are black. Null where it has more than `most`
// (1 to 256) colours. Throws ImageError (kTooLarge, kNoMemory).
OwnedBlock WithFewColours(const OwnedBlock& plain, unsigned most);

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_CONVERT_FEW_COLOURS_H
