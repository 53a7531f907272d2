// SPDX-License-Identifier: Apache-2.0
//
// The one way in which the host's conversions call the library: what null means, and what every
// result gets back.
#ifndef DIBKIT_HOST_CONVERT_LIBRARY_CALL_H
#define DIBKIT_HOST_CONVERT_LIBRARY_CALL_H

#include <cstdint>
#include <functional>

#include "dibkit/host/global_memory.h"
#include "dibkit/host/resolution.h"

namespace dibkit::host {

// The header fields of a DIB that BitmapFile::ReadDib or a conversion made.
struct DibFields {
  uint32_t width;
  int32_t height;  // negative: top row first
  uint16_t bitCount;
  uint32_t compression;
  PelsPerMetre resolution;
};

DibFields FieldsOf(tagHANDLE* dib);
void SetHeight(tagHANDLE* dib, int32_t height);
void SetPelsPerMeter(tagHANDLE* dib, int32_t x, int32_t y);

using LibraryFunction = std::function<tagHANDLE*(unsigned char*)>;

// Makes a new DIB of `resultBits` and of the same size from `dib` and hands it the resolution,
// which the library's results lack. The library answers null for images that it does not take, for
// sizes beyond a block and without memory: the caller sees to the first, the second is tested here
// (kTooLarge), so that null means kNoMemory.
OwnedBlock CallLibrary(const OwnedBlock& dib, uint16_t resultBits, const LibraryFunction& function);

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_CONVERT_LIBRARY_CALL_H
