// SPDX-License-Identifier: Apache-2.0
#include "resolution/geometry.h"

#include "dib/layout.h"
#include "resolution/real.h"

namespace dibkit::resolution {
namespace {

double ScaleFactor(uint16_t dpi, uint16_t sourceDpi) {
  return static_cast<double>(Divide(dpi, sourceDpi));
}

}  // namespace

OutputGeometry Scale(const SourceGeometry& source, uint16_t dpi) {
  const double scaleX = ScaleFactor(dpi, source.dpiX);
  const double scaleY = source.dpiY == source.dpiX ? scaleX : ScaleFactor(dpi, source.dpiY);
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
