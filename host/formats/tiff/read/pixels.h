// SPDX-License-Identifier: Apache-2.0
//
// Decoded rows of every kind of page as rows of the DIB.
#ifndef DIBKIT_HOST_FORMATS_TIFF_READ_PIXELS_H
#define DIBKIT_HOST_FORMATS_TIFF_READ_PIXELS_H

#include <cstdint>
#include <span>
#include <vector>

#include "formats/tiff/read/kind.h"
#include "formats/tiff/read/table.h"

namespace dibkit::host::tiff {

// Which samples of a page become pixels: its colours, then alpha where there is one.
std::vector<uint16_t> UsedSamples(const Kind& kind);

class PixelRows {
 public:
  // Rows or pieces of rows of up to `mostWidth` pixels. The table is that of TableOf.
  PixelRows(const Kind& kind, const Table& table, uint32_t mostWidth);

  // `planes`: one pointer, to a row with all samples, or one for each of UsedSamples where the
  // planes are separate. Where Kind::IsDirect, `to` may be the row itself. Bits behind the last
  // pixel are garbage.
  void Convert(std::span<const unsigned char* const> planes, uint32_t width, unsigned char* to);

 private:
  void ConvertDirect(const unsigned char* from, uint32_t width, unsigned char* to) const;
  void ConvertTwoBits(const unsigned char* from, uint32_t width, unsigned char* to) const;
  void Unpack(std::span<const unsigned char* const> planes, uint32_t width);
  const unsigned char* Channel(size_t index) const { return channels_.data() + index * width_; }
  unsigned char OverWhite(unsigned value, uint32_t x) const;
  void PutGrey(uint32_t width, unsigned char* to) const;
  void PutPalette(uint32_t width, unsigned char* to) const;
  void PutRgb(uint32_t width, unsigned char* to) const;
  void PutCmyk(uint32_t width, unsigned char* to) const;

  Kind kind_;
  Table table_;
  std::vector<uint16_t> used_;
  uint32_t width_;
  std::vector<unsigned char> channels_;  // one row of bytes for each used sample
};

}  // namespace dibkit::host::tiff

#endif  // DIBKIT_HOST_FORMATS_TIFF_READ_PIXELS_H
