// SPDX-License-Identifier: Apache-2.0
//
// The resolution conversion for plain DIBs of every depth: the right order of steps around
// ConvertResolution, its limits told in words beforehand, and nothing left behind.
#ifndef DIBKIT_HOST_RESAMPLE_H
#define DIBKIT_HOST_RESAMPLE_H

#include <cstdint>
#include <functional>
#include <optional>

#include "dibkit/host/global_memory.h"
#include "dibkit/host/pixel_limit.h"

namespace dibkit::host {

// Told how much of a step is done, 0 to 100 percent, on the thread that does it; false cancels it.
// An empty one never cancels. What it throws ends the step and reaches the caller.
using ProgressHook = std::function<bool(unsigned percent)>;

struct ResampleRequest {
  unsigned dpi = 300;  // of the result, 1 to 65535
  // 1-bit images: darkness, 0 to 256, from which on a pixel is black. By default UsualThreshold;
  // 128 where `raw` is.
  std::optional<int> threshold{};
  bool grey = false;                     // the result is 8-bit grey, whatever the image is
  bool raw = false;                      // what ConvertResolution makes of the image as it stands
  uint64_t maxPixels = kUsualMaxPixels;  // of the result
};

// A new plain DIB with the resolution `dpi` from the plain DIB `dib`, whose header says its own.
// Depths stay, but 16 and 32 bits become 24, and 4 bits become 8. Throws ImageError: kNoResolution,
// kTooLarge (sides beyond 65535), kTooManyPixels, kNoMemory; and Cancelled.
//
// Where a resolution falls to a half or less, blocks of k x k pixels are averaged first, k being
// the whole part of the ratio on each axis, and ConvertResolution does the rest; by itself it reads
// two rows and two columns for a pixel and passes over the others. Images with a palette in colour
// are interpolated at 24 bits, and get as many colours as the result has, 256 at most. Two colours
// at 1 bit stay the two colours that they are. The size is that of ConvertResolution alone.
//
// Raw results are those of ConvertResolution: every pixel as hosts rely on it, images of 16 and 32
// bits as one flat colour, 21844 columns at most with a palette in colour. `dib` may then also be
// what BitmapFile::ReadPaddedDib makes: run-length streams and channel masks are taken for rows;
// one that has its top row first is refused (kUnsupported).
//
// Copies that the conversion leaves behind are reclaimed where the six global-memory functions are
// those of this library.
OwnedBlock Resampled(const OwnedBlock& dib, const ResampleRequest& request,
                     const ProgressHook& progress = nullptr);

// The threshold for 1-bit pages of these resolutions: the darkness, 1 to 255, that an isolated line
// of one pixel keeps at worst, wherever it lies, so that none is lost; but 84 at most where the
// resolution falls, and 127 where it rises, which recognisers read best.
int UsualThreshold(unsigned fromDpiX, unsigned fromDpiY, unsigned dpi);

struct PixelSize {
  uint32_t width;
  uint32_t height;
  bool operator==(const PixelSize&) const = default;
};

// The size of what Resampled would make of an image of `size` whose header says these pixels per
// metre, as the conversion itself computes it. Throws ImageError as Resampled does before it
// begins; kNoMemory.
PixelSize ResampledSize(PixelSize size, int32_t xPelsPerMeter, int32_t yPelsPerMeter,
                        const ResampleRequest& request);

// The most bytes of images that Resampled has at once beside its own image, which has a grey table
// or another. Throws as ResampledSize.
uint64_t ResampledBytes(PixelSize size, uint16_t bitCount, bool isGrey, int32_t xPelsPerMeter,
                        int32_t yPelsPerMeter, const ResampleRequest& request);

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_RESAMPLE_H
