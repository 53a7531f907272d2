// SPDX-License-Identifier: Apache-2.0
//
// What the library's functions make of a DIB as it stands, every quirk kept.
#ifndef DIBKIT_HOST_CONVERT_RAW_H
#define DIBKIT_HOST_CONVERT_RAW_H

#include "dibkit/host/conversion.h"
#include "dibkit/host/global_memory.h"

namespace dibkit::host {

// Each takes what BitmapFile::ReadPaddedDib makes, or a plain DIB, leaves it as it is and makes a
// new plain one, whose header gets the resolution. Throws ImageError: kNoBlock, kTooLarge,
// kNoMemory.

// ConvertTo24BPPDIB and ConvertTo16BPPDIB. Of 16-bit images with channel masks the latter makes a
// copy that lacks its last bytes: such an image is refused (kUnsupported).
OwnedBlock RawTo24(const OwnedBlock& dib);
OwnedBlock RawTo16(const OwnedBlock& dib);

// By ConvertTo24BPPDIB and the rules of Color.h.
OwnedBlock RawToGrey(const OwnedBlock& dib, GreyRule rule, GreyLevels levels);

// The octree reduction; of images of 8 bits or less, of which it makes nothing, by
// ConvertTo24BPPDIB.
OwnedBlock RawQuantized(const OwnedBlock& dib, uint16_t maxColors);

// RestoreRLE8 or RestoreRLE4 of a run-length image, ConvertTo24BPPDIB of one with channel masks,
// TopDownToBottomUp of a top-down one; null where rows are plain already.
OwnedBlock RawNormalized(const OwnedBlock& dib);

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_CONVERT_RAW_H
