// SPDX-License-Identifier: Apache-2.0
//
// The rows of a bitmap file, from the file into a block.
#ifndef DIBKIT_HOST_BITMAP_STORED_ROWS_H
#define DIBKIT_HOST_BITMAP_STORED_ROWS_H

#include <cstdint>
#include <span>

#include "dibkit/host/bitmap_description.h"
#include "dibkit/host/byte_source.h"

namespace dibkit::host {

// Throws ImageError (kRowsTruncated) when the file ends before the first `bytes` bytes of its rows.
// Only the padding of the last row may be missing; returns how many bytes of it are.
uint32_t RequireRows(ByteSource& file, const BitmapDescription& bitmap, uint64_t bytes);

// Reads all rows, in pieces that the source may forget. `into` holds exactly the rows at `bitCount`
// bits, zero-filled: the file's own depth, or 4 for 2. `turned`: the file's last row comes first.
// Returns how many bytes of padding the last row lacks in the file. Throws ImageError
// (kRowsTruncated) and what the source throws.
uint32_t ReadRows(ByteSource& file, const BitmapDescription& bitmap, uint16_t bitCount, bool turned,
                  std::span<unsigned char> into);

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_BITMAP_STORED_ROWS_H
