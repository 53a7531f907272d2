// SPDX-License-Identifier: Apache-2.0
//
// The sizes of a plain packed DIB: 40-byte header, full colour table or none, uncompressed rows.
// The host's one place that computes them.
#ifndef DIBKIT_HOST_DIB_LAYOUT_H
#define DIBKIT_HOST_DIB_LAYOUT_H

#include <cstdint>

namespace dibkit::host {

inline constexpr uint32_t kInfoHeaderBytes = 40;

struct DibLayout {
  uint32_t tableEntries;  // 2^bits at 1, 4 and 8 bits, otherwise 0
  uint32_t rowsOffset;    // from the start of the block
  uint64_t stride;        // bytes of a row with its padding
  uint64_t rowsBytes;
  uint64_t blockBytes;  // may be more than a block can hold
};

// Bytes of a row with its padding; up to 2^33 for any 32-bit width and depths up to 32.
uint64_t RowStride(uint32_t width, uint16_t bitCount);

// `width` and `height` up to 2^31, `bitCount` up to 32: nothing wraps.
DibLayout LayoutOf(uint32_t width, uint32_t height, uint16_t bitCount);

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_DIB_LAYOUT_H
