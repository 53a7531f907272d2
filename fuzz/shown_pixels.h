// SPDX-License-Identifier: Apache-2.0
//
// What a viewer shows of a bitmap file, pixel by pixel and straight from its bytes.
#ifndef DIBKIT_FUZZ_SHOWN_PIXELS_H
#define DIBKIT_FUZZ_SHOWN_PIXELS_H

#include <cstdint>
#include <span>
#include <vector>

#include "dibkit/host/bitmap_description.h"

namespace dibfuzz {

// Red, green, blue of one pixel.
struct Shown {
  uint8_t red;
  uint8_t green;
  uint8_t blue;
  bool operator==(const Shown&) const = default;
};

// All pixels, bottom row first. `bitmap` describes `file` and has rows or a run-length stream.
std::vector<Shown> ShownPixels(const dibkit::host::BitmapDescription& bitmap,
                               std::span<const uint8_t> file);

}  // namespace dibfuzz

#endif  // DIBKIT_FUZZ_SHOWN_PIXELS_H
