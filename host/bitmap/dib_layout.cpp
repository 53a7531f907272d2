// SPDX-License-Identifier: Apache-2.0
#include "dibkit/host/dib_layout.h"

namespace dibkit::host {

uint64_t RowStride(uint32_t width, uint16_t bitCount) {
  return (uint64_t{bitCount} * width + 31) / 32 * 4;
}

DibLayout LayoutOf(uint32_t width, uint32_t height, uint16_t bitCount) {
  DibLayout layout{};
  layout.tableEntries = bitCount == 1 || bitCount == 4 || bitCount == 8 ? 1U << bitCount : 0;
  layout.rowsOffset = kInfoHeaderBytes + layout.tableEntries * 4;
  layout.stride = RowStride(width, bitCount);
  layout.rowsBytes = layout.stride * height;
  layout.blockBytes = layout.rowsOffset + layout.rowsBytes;
  return layout;
}

}  // namespace dibkit::host
