// SPDX-License-Identifier: Apache-2.0
#include "dibkit/host/pixel_limit.h"

#include <string>

#include "dibkit/host/errors.h"

namespace dibkit::host {

void CheckPixels(uint64_t width, uint64_t height, uint64_t maxPixels, const char* what) {
  if (width != 0 && height > maxPixels / width) {
    throw ImageError(ImageFault::kTooManyPixels,
                     std::string(what) + " has " + std::to_string(width) + " x " +
                         std::to_string(height) + " pixels, more than the " +
                         std::to_string(maxPixels) + " that are allowed");
  }
}

}  // namespace dibkit::host
