// SPDX-License-Identifier: Apache-2.0
//
// What the resolution conversion can take and what the user allows, told in words beforehand.
#ifndef DIBKIT_TOOLS_CONVERSION_LIMITS_H
#define DIBKIT_TOOLS_CONVERSION_LIMITS_H

#include <cstdint>

#include "dibkit/GlobalMemory.h"
#include "dibkit/host/bitmap_description.h"

namespace dibkit::tool {

// Dots per inch of both axes, 1 to 65535 each.
struct Resolution {
  unsigned x;
  unsigned y;
};

// The input's own resolution, or `fromDpi` for both axes when that is not 0. Throws Failure when
// there is none.
Resolution SourceResolution(const host::BitmapDescription& bitmap, unsigned fromDpi);

// Before the pixels are read: sides of the input and of the result. Throws Failure.
void CheckSides(const host::BitmapDescription& bitmap, Resolution from, unsigned dpi);

// Of the image as it will go into the conversion, with its final resolution: rows that the
// conversion cannot widen, and the size of the result, which the conversion's own engine computes.
// Throws Failure.
void CheckConversion(tagHANDLE* dib, unsigned dpi, uint64_t maxPixels);

}  // namespace dibkit::tool

#endif  // DIBKIT_TOOLS_CONVERSION_LIMITS_H
