// SPDX-License-Identifier: Apache-2.0
//
// The one test of an image's size against what the caller allows.
#ifndef DIBKIT_HOST_PIXEL_LIMIT_H
#define DIBKIT_HOST_PIXEL_LIMIT_H

#include <cstdint>

namespace dibkit::host {

// Pixels of one page that readers accept unless told otherwise: A4 at 1200 dpi has 139 million, A3
// at 800 dpi 123.
inline constexpr uint64_t kUsualMaxPixels = 250'000'000;

// Throws ImageError (kTooManyPixels) when `width` x `height` is more than `maxPixels`; `what`
// begins the sentence.
void CheckPixels(uint64_t width, uint64_t height, uint64_t maxPixels,
                 const char* what = "the image");

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_PIXEL_LIMIT_H
