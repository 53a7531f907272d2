// SPDX-License-Identifier: Apache-2.0
//
// Run-length streams of 24-bit pixels, which only OS/2 knows, as rows.
#ifndef DIBKIT_HOST_BITMAP_RLE24_H
#define DIBKIT_HOST_BITMAP_RLE24_H

#include <cstdint>
#include <span>

namespace dibkit::host {

// Fills `rows`, zero-filled and exactly the rows of such an image with their padding, in the order
// of the stream. Any bytes are allowed: what a record places beyond the end of its row is dropped,
// and the image ends where the rows are full, where a record is cut short, and at the
// end-of-bitmap record. Pixels that no record places stay 0.
void ExpandRle24(std::span<const unsigned char> stream, uint32_t width, uint32_t height,
                 std::span<unsigned char> rows);

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_BITMAP_RLE24_H
