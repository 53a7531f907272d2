// SPDX-License-Identifier: Apache-2.0
#include "dibkit/host/preparation.h"

#include <algorithm>
#include <cstdint>

#include "dibkit/host/errors.h"

namespace dibkit::host {

Preparation PreparationFor(unsigned bitCount, unsigned dpiX, unsigned dpiY, unsigned dpi) {
  if (dpiX == 0 || dpiY == 0) {
    throw ImageError(ImageFault::kNoResolution, "the page has no usable resolution");
  }
  const unsigned lower = std::min(dpiX, dpiY);
  const bool isLow = uint64_t{lower} * 3 < uint64_t{dpi} * 2;
  const bool isHigh = lower >= uint64_t{dpi} * 2;
  const bool isUneven = std::max(dpiX, dpiY) >= uint64_t{lower} * 2;
  if (!isLow && !isHigh && !isUneven) {
    return {};
  }
  return {.resamples = true, .smooths = bitCount == 1 && isLow};
}

}  // namespace dibkit::host
