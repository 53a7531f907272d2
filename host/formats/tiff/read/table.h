// SPDX-License-Identifier: Apache-2.0
//
// Colour tables of DIBs from those of TIFF files.
#ifndef DIBKIT_HOST_FORMATS_TIFF_READ_TABLE_H
#define DIBKIT_HOST_FORMATS_TIFF_READ_TABLE_H

#include <tiffio.h>

#include <array>

#include "formats/tiff/read/kind.h"

namespace dibkit::host::tiff {

// 4 bytes an entry as in a DIB: blue, green, red, 0. Entries that the file lacks are black.
using Table = std::array<unsigned char, 1024>;

// Of the DIB that a page becomes: the palette of the file; greys that rise evenly; white and black
// in the order of the bits of a bilevel page. Empty meaning at 24 bits.
Table TableOf(TIFF* tiff, const Kind& kind);

}  // namespace dibkit::host::tiff

#endif  // DIBKIT_HOST_FORMATS_TIFF_READ_TABLE_H
