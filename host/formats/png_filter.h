// SPDX-License-Identifier: Apache-2.0
//
// Which filter makes a row of a PNG file small.
#ifndef DIBKIT_HOST_FORMATS_PNG_FILTER_H
#define DIBKIT_HOST_FORMATS_PNG_FILTER_H

#include <cstddef>

namespace dibkit::host {

// True when the bytes of `row` differ less from those above, in `above`, than from those of the
// pixel before, `pixelBytes` back. Looks at a part of the row.
bool IsLikeRowAbove(const unsigned char* row, const unsigned char* above, size_t bytes,
                    size_t pixelBytes);

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_FORMATS_PNG_FILTER_H
