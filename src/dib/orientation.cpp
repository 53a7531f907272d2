// SPDX-License-Identifier: Apache-2.0
#include "dib/orientation.h"

#include <algorithm>
#include <cstring>

#include "dib/row_kernels.h"

namespace dibkit {

void ReverseRows(const unsigned char* from, unsigned char* to, uint64_t rowBytes, uint32_t rows,
                 size_t toBytes) {
  if (rowBytes == 0 || rows == 0) return;
  const uint32_t whole = static_cast<uint32_t>(std::min<uint64_t>(rows, toBytes / rowBytes));
  if (whole > 0) {
    const auto stride = static_cast<ptrdiff_t>(rowBytes);
    CopyRows({.source = from + rowBytes * (rows - 1),
              .sourceStride = -stride,
              .target = to,
              .targetStride = stride,
              .height = whole,
              .targetBytes = static_cast<size_t>(rowBytes)},
             BestCpuLevel());
  }
  if (whole < rows) {
    const uint64_t offset = rowBytes * whole;
    std::memcpy(to + offset, from + rowBytes * (rows - 1 - whole),
                static_cast<size_t>(toBytes - offset));
  }
}

}  // namespace dibkit
