// SPDX-License-Identifier: Apache-2.0
#include "resolution/geometry.h"

#include "dib/layout.h"
#include "resolution/real.h"

namespace dibkit::resolution {
namespace {

// The addition of 1 makes 11811 pixels per metre read as 300 and 3937 as 100.
uint16_t DotsPerInch(uint32_t pelsPerMeter) {
  return static_cast<uint16_t>((pelsPerMeter + 1) * 254 / 10000);
}

double ScaleFactor(uint16_t dpi, uint16_t sourceDpi) {
  return static_cast<double>(Divide(dpi, sourceDpi));
}

}  // namespace

SourceGeometry ReadSourceGeometry(const unsigned char* header) {
  return {.width = static_cast<uint16_t>(Load32(header + kBiWidth)),
          .height = static_cast<uint16_t>(Load32(header + kBiHeight)),
          .bitCount = Load16(header + kBiBitCount),
          .dpiX = DotsPerInch(Load32(header + kBiXPelsPerMeter)),
          .dpiY = DotsPerInch(Load32(header + kBiYPelsPerMeter))};
}

OutputGeometry Scale(const SourceGeometry& source, uint16_t dpi) {
  const double scaleX = ScaleFactor(dpi, source.dpiX);
  const double scaleY = ScaleFactor(dpi, source.dpiY);
  return {.scaleX = scaleX,
          .scaleY = scaleY,
          .width = TruncateToWord(static_cast<Real>(source.width) * scaleX),
          .height = TruncateToWord(static_cast<Real>(source.height) * scaleY)};
}

uint32_t RowBytes(uint16_t bitCount, uint16_t width) {
  return ((uint32_t{bitCount} * width + 7) / 8 + 3) / 4 * 4;
}

uint64_t ResultSize(const OutputGeometry& output, uint16_t bitCount) {
  // Room for a file header and a full colour table, whatever the depth is.
  constexpr uint64_t kHeaders = kFileHeaderSize + kInfoHeaderSize + 256 * sizeof(tagRGBQUAD);
  return kHeaders + uint64_t{output.height} * RowBytes(bitCount, output.width);
}

uint32_t PelsPerMeter(uint16_t dpi) { return uint32_t{dpi} * 10000 / 254; }

uint16_t FullTableEntries(uint16_t bitCount) {
  return bitCount < 16 ? static_cast<uint16_t>(1u << bitCount) : uint16_t{0};
}

}  // namespace dibkit::resolution
