// SPDX-License-Identifier: Apache-2.0
//
// What kind of pixels a directory describes, and what DIB they become.
#ifndef DIBKIT_HOST_FORMATS_TIFF_READ_KIND_H
#define DIBKIT_HOST_FORMATS_TIFF_READ_KIND_H

#include <tiffio.h>

#include <cstdint>
#include <string>

#include "dibkit/host/image_format.h"

namespace dibkit::host::tiff {

enum class Colours {
  kGrey,
  kPalette,
  kRgb,
  kCmyk,
  kOther  // YCbCr, CIELab: libtiff makes RGB of them, whole strips at a time
};

struct Kind {
  uint32_t width;        // as stored, 1 to 2^31 - 1
  uint32_t height;       // likewise
  unsigned orientation;  // 1 to 8
  uint16_t compression;
  uint16_t photometric;

  uint16_t bits;       // of a sample, 1 to 32
  uint16_t samples;    // of a pixel, 1 to 32
  bool separate;       // each sample in a plane of its own
  uint32_t rows;       // of a strip or tile, at most `height` for strips
  uint32_t tileWidth;  // 0: strips

  Colours colours;
  bool whiteIsZero;
  int alpha;           // which sample it is, -1: none
  bool premultiplied;  // by alpha

  unsigned ColourSamples() const;
  // True when a plain row of the file, decoded, is a row of the DIB but for the values of its bits.
  bool IsDirect() const;
  uint16_t DibBits() const;
  uint64_t StoredBits() const { return uint64_t{bits} * samples; }
  // "bilevel", "grey + alpha" ...
  std::string ColourText() const;
};

// Throws ImageError (kUnsupported, kTooLarge) for a page that is not read. JPEG pages in YCbCr are
// RGB from here on, by libtiff's own setting.
Kind KindOf(TIFF* tiff);

Compression CompressionOf(const Kind& kind);
// With its variant.
std::string CompressionTextOf(TIFF* tiff, const Kind& kind);

}  // namespace dibkit::host::tiff

#endif  // DIBKIT_HOST_FORMATS_TIFF_READ_KIND_H
