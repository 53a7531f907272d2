// SPDX-License-Identifier: Apache-2.0
//
// Which kind of PNG image a DIB becomes, and its rows.
#ifndef DIBKIT_HOST_FORMATS_PNG_FORM_H
#define DIBKIT_HOST_FORMATS_PNG_FORM_H

#include <spng.h>

#include <array>
#include <cstddef>
#include <span>

#include "dibkit/host/dib_view.h"

namespace dibkit::host::png {

// Grey where the table is: black to white at 1 bit, the even ramp at 4, any greys at 8, where the
// pixels go through the table; otherwise a palette. RGB at 24 and 32 bits.
class Form {
 public:
  explicit Form(const DibView& dib);

  const spng_ihdr& Header() const { return header_; }
  bool IsGrey() const { return header_.color_type == SPNG_COLOR_TYPE_GRAYSCALE; }
  // True where the differences between neighbours say something.
  bool HasLevels() const { return header_.bit_depth == 8 && !IsPalette(); }
  bool IsPalette() const { return header_.color_type == SPNG_COLOR_TYPE_INDEXED; }
  spng_plte Palette() const;

  // Of a row as the file holds it.
  size_t RowBytes() const { return rowBytes_; }
  // Makes one of a row of the DIB. Unused bits of its last byte are 0.
  void MakeRow(std::span<const unsigned char> row, unsigned char* to) const;

 private:
  const DibView& dib_;
  spng_ihdr header_{};
  size_t rowBytes_;
  // At up to 8 bits: each byte of a row through this, pixels and all.
  std::array<unsigned char, 256> map_{};
};

}  // namespace dibkit::host::png

#endif  // DIBKIT_HOST_FORMATS_PNG_FORM_H
