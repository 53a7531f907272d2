// SPDX-License-Identifier: Apache-2.0
//
// Rows in reverse order.
#ifndef DIBKIT_SRC_DIB_ORIENTATION_H
#define DIBKIT_SRC_DIB_ORIENTATION_H

#include <cstddef>
#include <cstdint>

namespace dibkit {

// Copies `rows` rows of `rowBytes` bytes each, stored without gaps, so that the first row comes
// last. Bytes that would fall at `toBytes` or beyond, counted from `to`, are neither read nor
// written.
void ReverseRows(const unsigned char* from, unsigned char* to, uint64_t rowBytes, uint32_t rows,
                 size_t toBytes);

}  // namespace dibkit

#endif  // DIBKIT_SRC_DIB_ORIENTATION_H
