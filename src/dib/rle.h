// SPDX-License-Identifier: Apache-2.0
//
// Run-length decoding into the rows of a fresh image.
//
// A stream is a sequence of records of two bytes, with more behind some:
//   n v        n pixels of value v (n from 1)
//   0 0        end of line
//   0 1        end of bitmap
//   0 2 dx dy  move right by dx columns and on by dy rows
//   0 n ...    n literal pixels (n from 3), padded to an even number of bytes
#ifndef DIBKIT_SRC_DIB_RLE_H
#define DIBKIT_SRC_DIB_RLE_H

#include <cstddef>
#include <cstdint>
#include <span>

namespace dibkit {

// The pixel area of the image to fill; all its bytes are 0.
struct RleTarget {
  unsigned char* bits;
  size_t stride;   // bytes from row to row
  uint32_t width;  // pixels, not 0
  uint32_t rows;
};

// Both decoders read no byte outside the stream and write none outside the pixel area. A record
// that would write outside writes what lies inside and is the last one; so is a record that the
// stream cuts short.

// 8 bits a pixel. A run or literal block that reaches the end of its row goes on in the next row.
void DecodeRle8(std::span<const unsigned char> stream, const RleTarget& target);

// 4 bits a pixel. A run or literal block that passes the end of its row goes on in the bytes that
// follow, row padding included, and stays in its row by count. A move by an odd dx from an odd
// column puts everything behind it one byte early. Hosts rely on both.
void DecodeRle4(std::span<const unsigned char> stream, const RleTarget& target);

}  // namespace dibkit

#endif  // DIBKIT_SRC_DIB_RLE_H
