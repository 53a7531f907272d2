// SPDX-License-Identifier: Apache-2.0
//
// Conversions of plain DIBs (as DibView sees them) that leave their source as it is.
#ifndef DIBKIT_HOST_CONVERT_PLAIN_H
#define DIBKIT_HOST_CONVERT_PLAIN_H

#include <cstdint>

#include "dibkit/host/conversion.h"
#include "dibkit/host/global_memory.h"

namespace dibkit::host {

// The image at 24 or 16 bits; null when it has that depth already.
OwnedBlock PlainTo24(const OwnedBlock& plain);
OwnedBlock PlainTo16(const OwnedBlock& plain);

// A plain image of 24 bits in grey, at 8 bits, by the library's own rules: its luminance at 256
// levels maps white to 247.
OwnedBlock GreyOf24(const OwnedBlock& colours, GreyRule rule, GreyLevels levels);

// What the library's octree makes of an image of more than 8 bits.
OwnedBlock OctreeReduced(const OwnedBlock& dib, uint16_t maxColors);

// As Quantized and ToGrey of conversion.h.
OwnedBlock PlainQuantized(const OwnedBlock& plain, uint16_t maxColors);
OwnedBlock PlainToGrey(const OwnedBlock& plain, GreyRule rule, GreyLevels levels);

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_CONVERT_PLAIN_H
