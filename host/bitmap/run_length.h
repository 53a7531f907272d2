// SPDX-License-Identifier: Apache-2.0
//
// Run-length streams as the library's decoders take them right.
#ifndef DIBKIT_HOST_BITMAP_RUN_LENGTH_H
#define DIBKIT_HOST_BITMAP_RUN_LENGTH_H

#include <cstdint>
#include <span>
#include <vector>

namespace dibkit::host {

// A stream of the same image in which nothing is left that the library's decoders and viewers
// understand in different ways:
// - What a record places beyond the end of its row is dropped, as viewers do. The library carries
//   it on in the next row (8 bits) or in the bytes that follow (4 bits).
// - At 4 bits, a move by an odd number of columns from an odd column becomes one that is a column
//   shorter and a pixel of index 0; the library would put all that follows one byte early.
// - It ends where the rows are full, where a record is cut short, and at the end-of-bitmap record.
// `bitCount` is 4 or 8, any bytes are allowed. The result is at most half as long again.
std::vector<unsigned char> StraightenedStream(std::span<const unsigned char> stream, uint32_t width,
                                              uint32_t height, uint16_t bitCount);

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_BITMAP_RUN_LENGTH_H
