// SPDX-License-Identifier: Apache-2.0
//
// Scale factors, output size and row lengths of a resolution conversion. The size queries and the
// engine both ask here, so the size of an allocation and the bounds of the loop are one number.
#ifndef DIBKIT_SRC_RESOLUTION_GEOMETRY_H
#define DIBKIT_SRC_RESOLUTION_GEOMETRY_H

#include <cstdint>

#include "dib/layout.h"

namespace dibkit::resolution {

// What the conversion takes from a source's info header.
struct SourceGeometry {
  uint16_t width;     // low 16 bits of biWidth
  uint16_t height;    // low 16 bits of biHeight
  uint16_t bitCount;  // biBitCount
  uint16_t dpiX;      // from biXPelsPerMeter; 0 below 39 pixels per metre
  uint16_t dpiY;
};

struct OutputGeometry {
  double scaleX;  // dpi / source dpi; infinite or NaN when the source has none
  double scaleY;
  uint16_t width;
  uint16_t height;
};

// The addition of 1 makes 11811 pixels per metre read as 300 and 3937 as 100.
inline uint16_t DotsPerInch(uint32_t pelsPerMeter) {
  return static_cast<uint16_t>((pelsPerMeter + 1) * 254 / 10000);
}

// Reads the 40-byte info header at `header`.
inline SourceGeometry ReadSourceGeometry(const unsigned char* header) {
  return {.width = static_cast<uint16_t>(Load32(header + kBiWidth)),
          .height = static_cast<uint16_t>(Load32(header + kBiHeight)),
          .bitCount = Load16(header + kBiBitCount),
          .dpiX = DotsPerInch(Load32(header + kBiXPelsPerMeter)),
          .dpiY = DotsPerInch(Load32(header + kBiYPelsPerMeter))};
}

OutputGeometry Scale(const SourceGeometry& source, uint16_t dpi);

// Bytes of a row with its padding.
uint32_t RowBytes(uint16_t bitCount, uint16_t width);

// Bytes that the size queries answer for a result of `bitCount` bits.
uint64_t ResultSize(const OutputGeometry& output, uint16_t bitCount);

// The pixels per metre that stand for `dpi` in a header.
uint32_t PelsPerMeter(uint16_t dpi);

// Entries of the colour table that is taken to follow the header: 2^bits in 16 bits, so none above
// 15 bits.
uint16_t FullTableEntries(uint16_t bitCount);

}  // namespace dibkit::resolution

#endif  // DIBKIT_SRC_RESOLUTION_GEOMETRY_H
