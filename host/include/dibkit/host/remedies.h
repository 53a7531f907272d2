// SPDX-License-Identifier: Apache-2.0
//
// The steps from an image as BitmapFile::ReadDib presents it to plain rows, bottom row first. The
// library's functions keep some outcomes that hosts rely on and that a viewer of files does not
// expect; each step here calls them so that the right image comes out, or does without them.
//
// A step takes the block over and gives the same one back where the image does not need it. Blocks
// are unlocked. The resolution stays. All throw ImageError: kNoBlock, kTooLarge, kNoMemory.
#ifndef DIBKIT_HOST_REMEDIES_H
#define DIBKIT_HOST_REMEDIES_H

#include "dibkit/host/global_memory.h"

namespace dibkit::host {

// A run-length image with its rows. NormalizeDIB would leave images of 4 bits as they are;
// RestoreRLE4 expands them.
OwnedBlock Expanded(OwnedBlock dib);

// A bit-field image at 24 bits, its rows in the same order, each channel brought to its full range
// as To24Bits does. To be done before the flip, which takes the masks away, and before a conversion
// to 16 bits, which copies 16-bit bit-fields as they are and puts the red of 32-bit ones into blue.
OwnedBlock BitFieldsWidened(OwnedBlock dib);

// A top-down image of rows turned bottom row first, with its colours: TopDownToBottomUp leaves the
// colour table black.
OwnedBlock TurnedBottomUp(OwnedBlock dib);

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_REMEDIES_H
