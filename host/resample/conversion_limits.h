// SPDX-License-Identifier: Apache-2.0
//
// What the resolution conversion can take, told in words beforehand.
#ifndef DIBKIT_HOST_RESAMPLE_CONVERSION_LIMITS_H
#define DIBKIT_HOST_RESAMPLE_CONVERSION_LIMITS_H

#include <cstdint>

#include "dibkit/GlobalMemory.h"
#include "dibkit/host/resample.h"
#include "dibkit/host/resolution.h"

namespace dibkit::host {

// Dots per inch of both axes, 1 to 65535 each.
struct Dpi {
  unsigned x;
  unsigned y;
};

// Before anything is done: sides of the image and of the result. Throws ImageError (kTooLarge).
void CheckSides(uint32_t width, uint32_t height, Dpi from, unsigned dpi);

// Of the image as it will go into the conversion, plain or as BitmapFile::ReadPaddedDib makes it
// with its bottom row first, with its final resolution: rows that the
// conversion cannot widen, and the size of the result, which the conversion's own engine computes.
// Throws ImageError (kTooLarge, kTooManyPixels).
void CheckConversion(tagHANDLE* dib, unsigned dpi, uint64_t maxPixels);

// What the engine makes of an image with such a header, whose sides fit. Throws ImageError
// (kTooLarge, kTooManyPixels, kNoMemory).
PixelSize SizeOfConversion(PixelSize size, PelsPerMetre from, unsigned dpi, uint64_t maxPixels);

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_RESAMPLE_CONVERSION_LIMITS_H
