// SPDX-License-Identifier: Apache-2.0
#include "formats/png/filter.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>

namespace dibkit::host::png {
namespace {

// How far a byte is from 0 as a signed one: the usual guess at how badly it packs.
uint32_t Distance(int byte) {
  return static_cast<uint32_t>(std::abs(int{static_cast<signed char>(byte)}));
}

uint32_t Differences(const unsigned char* row, const unsigned char* other, size_t bytes) {
  uint32_t sum = 0;
  for (size_t i = 0; i < bytes; ++i) {
    sum += Distance(row[i] - other[i]);
  }
  return sum;
}

}  // namespace

bool IsLikeRowAbove(const unsigned char* row, const unsigned char* above, size_t bytes,
                    size_t pixelBytes) {
  // Sums of more would not fit, and it tells enough.
  constexpr size_t kMostBytes = size_t{1} << 24;
  bytes = std::min(bytes, kMostBytes);
  // The first pixel has none before it.
  uint32_t horizontal = Differences(row + pixelBytes, row, bytes - pixelBytes);
  for (size_t i = 0; i < pixelBytes; ++i) {
    horizontal += Distance(row[i]);
  }
  return Differences(row, above, bytes) <= horizontal;
}

}  // namespace dibkit::host::png
