// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <numeric>

#include "dibkit/host/resample.h"
#include "resample/reduction.h"

namespace dibkit::host {
namespace {

// Half of full darkness, rounded down: two equal neighbours of a line make 127.5, which is
// truncated. Found best for recognition where pages are enlarged.
constexpr int kHalf = 127;
// A third of full darkness, rounded down. Found best where they are reduced.
constexpr int kThird = 84;
constexpr uint64_t kDark = 255;

// The greatest whole darkness below the least that an isolated line of one pixel leaves in the
// pixel nearest to it, whatever its place. Of a block of k pixels it fills 1 / k. Between blocks
// samples are p / q apart, and the lines lie on multiples of 1 / q: at worst one is floor(p / 2) /
// q away from every sample.
int DarknessOfLine(unsigned from, unsigned dpi) {
  const uint64_t block = BlockSide(from, dpi);
  const uint64_t divisor = std::gcd(from, block * dpi);
  const uint64_t p = from / divisor;
  const uint64_t q = block * dpi / divisor;
  return static_cast<int>((kDark * (q - p / 2) - 1) / (q * block));
}

}  // namespace

int UsualThreshold(unsigned fromDpiX, unsigned fromDpiY, unsigned dpi) {
  const bool reduces = fromDpiX > dpi || fromDpiY > dpi;
  const int line = std::min(DarknessOfLine(fromDpiX, dpi), DarknessOfLine(fromDpiY, dpi));
  return std::clamp(line, 1, reduces ? kThird : kHalf);
}

}  // namespace dibkit::host
