// SPDX-License-Identifier: Apache-2.0
//
// As what kind of pixels a DIB is stored.
#ifndef DIBKIT_HOST_FORMATS_TIFF_WRITE_STORED_FORM_H
#define DIBKIT_HOST_FORMATS_TIFF_WRITE_STORED_FORM_H

#include <array>
#include <cstddef>
#include <cstdint>

#include "dibkit/host/dib_view.h"
#include "dibkit/host/page_metadata.h"

namespace dibkit::host::tiff {

struct StoredForm {
  uint16_t photometric;
  uint16_t bits;     // of a sample: 1, 4, 8
  uint16_t samples;  // 1 or 3
  // What becomes of each byte of a row, where that is not the byte itself: two greys of 4 bits or
  // one of 8.
  bool mapped;
  std::array<unsigned char, 256> map;

  bool HasColourMap() const;
  ProfileSpace Colours() const;
  uint64_t RowBytes(uint32_t width) const { return (uint64_t{width} * bits * samples + 7) / 8; }
};

// Bilevel, as the table says white or black first; grey where every entry of the table is a grey
// that the depth has; RGB; otherwise a palette.
StoredForm StoredFormOf(const DibView& dib);

// A row of the DIB as the file has it.
void StoreRow(const StoredForm& form, uint16_t dibBits, const unsigned char* from, uint32_t width,
              unsigned char* to);

}  // namespace dibkit::host::tiff

#endif  // DIBKIT_HOST_FORMATS_TIFF_WRITE_STORED_FORM_H
