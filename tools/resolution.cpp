// SPDX-License-Identifier: Apache-2.0
#include "resolution.h"

namespace dibkit::tool {

unsigned DotsPerInch(int32_t pelsPerMeter) {
  constexpr int64_t kMostDots = 65535;
  const int64_t dots = (int64_t{pelsPerMeter} + 1) * 254 / 10000;
  return dots < 0 || dots > kMostDots ? 0 : static_cast<unsigned>(dots);
}

int32_t PelsPerMeter(unsigned dpi) { return static_cast<int32_t>(dpi * 10000 / 254); }

}  // namespace dibkit::tool
