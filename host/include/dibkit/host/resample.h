// SPDX-License-Identifier: Apache-2.0
//
// The resolution conversion for plain DIBs of every depth: the right order of steps around
// ConvertResolution, its limits told in words beforehand, and nothing left behind.
#ifndef DIBKIT_HOST_RESAMPLE_H
#define DIBKIT_HOST_RESAMPLE_H

#include <cstdint>
#include <functional>

#include "dibkit/host/global_memory.h"
#include "dibkit/host/pixel_limit.h"

namespace dibkit::host {

// Told how much of a step is done, 0 to 100 percent, on the thread that does it; false cancels it.
// An empty one never cancels. What it throws ends the step and reaches the caller.
using ProgressHook = std::function<bool(unsigned percent)>;

struct ResampleRequest {
  unsigned dpi = 300;   // of the result, 1 to 65535
  int threshold = 128;  // 1-bit images: darkness, 0 to 256, from which on a pixel is black
  uint64_t maxPixels = kUsualMaxPixels;  // of the result
};

// A new plain DIB with the resolution `dpi` from the plain DIB `dib`, whose header says its own;
// images of 16 and 32 bits come out at 24. Throws ImageError: kNoResolution, kTooLarge (sides
// beyond 65535, palette images wider than the conversion takes), kTooManyPixels, kNoMemory; and
// Cancelled.
//
// Copies that the conversion leaves behind are reclaimed where the six global-memory functions are
// those of this library.
OwnedBlock Resampled(const OwnedBlock& dib, const ResampleRequest& request,
                     const ProgressHook& progress = nullptr);

struct PixelSize {
  uint32_t width;
  uint32_t height;
  bool operator==(const PixelSize&) const = default;
};

// The size of what Resampled would make of an image of `size` and `bitCount` whose header says
// these pixels per metre, as the conversion itself computes it. Throws ImageError as Resampled does
// before it begins; kNoMemory.
PixelSize ResampledSize(PixelSize size, uint16_t bitCount, int32_t xPelsPerMeter,
                        int32_t yPelsPerMeter, const ResampleRequest& request);

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_RESAMPLE_H
