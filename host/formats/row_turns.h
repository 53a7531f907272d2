// SPDX-License-Identifier: Apache-2.0
//
// Mirroring a row in place and making rows of columns, at the depths of DIBs that come from files.
#ifndef DIBKIT_HOST_FORMATS_ROW_TURNS_H
#define DIBKIT_HOST_FORMATS_ROW_TURNS_H

#include <cstddef>
#include <cstdint>
#include <functional>

namespace dibkit::host {

// The first pixel becomes the last. Bits behind the last pixel are garbage before and after.
// `bitCount` is 1, 4, 8 or 24.
void MirrorRow(unsigned char* row, uint32_t width, uint16_t bitCount);

// Scratch rows whose columns become rows.
struct Band {
  const unsigned char* rows;
  size_t rowBytes;
  uint32_t width;
  uint32_t height;  // rows up to the next multiple of 8 can be read
};

// Writes column x of the band to `rowOf(x)` from its pixel `at` on, a multiple of 8. Up to 7 pixels
// behind the last are written too, where they fill its byte.
void TransposeBand(const Band& band, uint16_t bitCount, uint32_t at,
                   const std::function<unsigned char*(uint32_t)>& rowOf);

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_FORMATS_ROW_TURNS_H
