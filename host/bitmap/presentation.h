// SPDX-License-Identifier: Apache-2.0
//
// How any bitmap file lies in a packed DIB so that the library's functions take it right.
#ifndef DIBKIT_HOST_BITMAP_PRESENTATION_H
#define DIBKIT_HOST_BITMAP_PRESENTATION_H

#include <cstdint>
#include <span>

#include "dibkit/host/bitmap_description.h"

namespace dibkit::host {

// The library knows a 40-byte header only, no 2 bits and no alpha mask.
struct Presentation {
  uint16_t bitCount;
  bool topDown;
  uint32_t compression;   // 0 to 3
  uint32_t tableEntries;  // full, or none
  uint32_t maskCount;     // 3 or 0
  uint32_t colorsUsed;    // 3 in front of masks: DIBBits then passes them over; otherwise 0
  uint64_t pixelOffset;   // in the block
  uint64_t pixelBytes;
  uint64_t blockBytes;  // may be more than a block can hold
};

// True for the run-length images that the library expands: their stream goes into the DIB.
bool KeepsStream(const BitmapDescription& bitmap);

// `streamBytes` counts for those only; the others have rows. `bottomUp`: with the bottom row first
// even where the file has the top row first.
Presentation PresentationOf(const BitmapDescription& bitmap, uint64_t streamBytes,
                            bool bottomUp = false);

// Writes header and masks to the zero-filled block.
void WritePresentedHeader(std::span<unsigned char> block, const BitmapDescription& bitmap,
                          const Presentation& form);

// Copies a row, spreading 2 bits to 4 where that is asked for. `to` is zero-filled.
void PresentRow(const unsigned char* from, unsigned char* to, const BitmapDescription& bitmap,
                uint16_t bitCount);

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_BITMAP_PRESENTATION_H
