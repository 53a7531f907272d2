// SPDX-License-Identifier: Apache-2.0
//
// Conversions that give the right image for every DIB that BitmapFile::ReadDib presents.
//
// Each takes the block over and may give the same one back. Results are unlocked, plain DIBs as
// DibView sees them: a 40-byte header, a full colour table or none, rows without compression,
// bottom row first. Size and resolution stay. All throw ImageError: kNoBlock, kTooLarge (a result
// beyond what a block can hold), kNoMemory.
#ifndef DIBKIT_HOST_CONVERSION_H
#define DIBKIT_HOST_CONVERSION_H

#include <cstdint>

#include "dibkit/host/global_memory.h"

namespace dibkit::host {

// Plain rows at the depth that the image has; bit-field images at 24 bits.
OwnedBlock Normalized(OwnedBlock dib);

// 24 bits: blue, green, red. A channel of other than 8 bits is brought to its full range, rounded
// to nearest: c * 255 / (2^bits - 1), so that white is 255 whatever the masks. (The library itself
// widens 5-5-5 channels to 8c + 7, moves bit-field ones to the top of the byte and cuts long ones.)
OwnedBlock To24Bits(OwnedBlock dib);

// 16 bits: 5-5-5, blue in the low bits. Longer channels are cut; bit-fields go by way of 24 bits.
OwnedBlock To16Bits(OwnedBlock dib);

// 8 bits with a palette of at most `maxColors` (1 to 256) colours; unused entries are black. An
// image with no more colours keeps them all, sorted by red, green and blue; others go by way of 24
// bits through the library's octree, whose cells are 8 levels wide.
OwnedBlock Quantized(OwnedBlock dib, uint16_t maxColors);

// The rules of Color.h.
enum class GreyRule { kEasy, kMinMax, kLuminance };
enum class GreyLevels { k16, k256 };

// 8 bits with a grey table of 256 entries, in which every index is its own level. kLuminance at 256
// levels weighs the channels as the library does, but over their full range, so that white stays
// 255.
OwnedBlock ToGrey(OwnedBlock dib, GreyRule rule, GreyLevels levels);

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_CONVERSION_H
