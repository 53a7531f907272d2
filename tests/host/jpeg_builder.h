// SPDX-License-Identifier: Apache-2.0
//
// JPEG files of kinds that the adapter itself does not write.
#ifndef DIBKIT_TESTS_HOST_JPEG_BUILDER_H
#define DIBKIT_TESTS_HOST_JPEG_BUILDER_H

#include <cstdint>
#include <cstdio>
#include <vector>
// Behind cstdio, whose types it takes for granted.
#include <jpeglib.h>

#include "bitmap_builder.h"

namespace dibkit::test {

struct JpegMarkerSpec {
  int marker;
  Bytes content;
};

// Begins as a grey picture that changes little from pixel to pixel, 4:2:0 where it has colours.
struct JpegBuilder {
  uint32_t width = 70;
  uint32_t height = 50;
  J_COLOR_SPACE given = JCS_GRAYSCALE;   // JCS_RGB, JCS_CMYK, JCS_UNKNOWN (two channels)
  J_COLOR_SPACE stored = JCS_GRAYSCALE;  // JCS_YCbCr, JCS_RGB, JCS_CMYK, JCS_YCCK
  bool progressive = false;
  bool arithmetic = false;
  bool separate = false;  // a scan for each component
  int restartRows = 0;    // rows of blocks between restart markers
  bool adobe = true;      // its marker, where the colours usually have one
  bool jfif = true;
  int densityUnit = 0;
  int xDensity = 1;
  int yDensity = 1;
  std::vector<JpegMarkerSpec> markers{};

  int Channels() const;
  unsigned char Sample(uint32_t x, uint32_t y, int channel) const;
  Bytes Build() const;
};

}  // namespace dibkit::test

#endif  // DIBKIT_TESTS_HOST_JPEG_BUILDER_H
