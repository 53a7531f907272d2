// SPDX-License-Identifier: Apache-2.0
//
// Fax streams of OS/2 bitmaps as rows: one-dimensional codes of ITU-T Recommendation T.4, the first
// bit of a byte highest, with or without end-of-line codes.
#ifndef DIBKIT_HOST_BITMAP_FAX_ROWS_H
#define DIBKIT_HOST_BITMAP_FAX_ROWS_H

#include <cstdint>
#include <span>

namespace dibkit::host {

struct FaxOutcome {
  uint32_t rows = 0;     // that the stream has, sound or not; at most the height
  uint32_t damaged = 0;  // of them
};

// Fills `rows`, zero-filled and exactly the rows of such an image with their padding, in the order
// of the stream; black is 1. Any bytes are allowed: a damaged row keeps what comes before the
// damage, and the next begins behind the next end-of-line code. Rows that the stream lacks stay
// white.
FaxOutcome DecodeFax(std::span<const unsigned char> stream, uint32_t width, uint32_t height,
                     std::span<unsigned char> rows);

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_BITMAP_FAX_ROWS_H
