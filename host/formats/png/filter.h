// SPDX-License-Identifier: Apache-2.0
//
// Which filter makes a row of a PNG file small.
#ifndef DIBKIT_HOST_FORMATS_PNG_FILTER_H
#define DIBKIT_HOST_FORMATS_PNG_FILTER_H

#include <cstddef>

namespace dibkit::host::png {

// True when the bytes of `row` are no further from those in `above` than from those of the pixel
// before, `pixelBytes` back.
bool IsLikeRowAbove(const unsigned char* row, const unsigned char* above, size_t bytes,
                    size_t pixelBytes);

}  // namespace dibkit::host::png

#endif  // DIBKIT_HOST_FORMATS_PNG_FILTER_H
