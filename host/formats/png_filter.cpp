// SPDX-License-Identifier: Apache-2.0
#include "formats/png_filter.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>

namespace dibkit::host {
namespace {

// What the filtered bytes are far from 0, as signed ones: the usual guess at how well they pack.
uint32_t Differences(const unsigned char* row, const unsigned char* other, size_t bytes) {
  uint32_t sum = 0;
  for (size_t i = 0; i < bytes; ++i) {
    const auto difference = static_cast<signed char>(static_cast<unsigned char>(row[i] - other[i]));
    sum += static_cast<uint32_t>(std::abs(int{difference}));
  }
  return sum;
}

}  // namespace

bool IsLikeRowAbove(const unsigned char* row, const unsigned char* above, size_t bytes,
                    size_t pixelBytes) {
  constexpr size_t kLooked = 64;
  constexpr size_t kStep = 256;
  uint64_t vertical = 0;
  uint64_t horizontal = 0;
  for (size_t at = pixelBytes; at < bytes; at += kStep) {
    const size_t count = std::min(kLooked, bytes - at);
    vertical += Differences(row + at, above + at, count);
    horizontal += Differences(row + at, row + at - pixelBytes, count);
  }
  return vertical < horizontal;
}

}  // namespace dibkit::host
