// SPDX-License-Identifier: Apache-2.0
#include "dib/orientation.h"

#include <algorithm>
#include <cstring>

namespace dibkit {

void ReverseRows(const unsigned char* from, unsigned char* to, uint64_t rowBytes, uint32_t rows,
                 size_t toBytes) {
  for (uint32_t i = 0; i < rows; ++i) {
    const uint64_t offset = rowBytes * (rows - 1 - i);
    if (offset >= toBytes) continue;
    const size_t length = static_cast<size_t>(std::min<uint64_t>(rowBytes, toBytes - offset));
    std::memcpy(to + offset, from + rowBytes * i, length);
  }
}

}  // namespace dibkit
