// SPDX-License-Identifier: Apache-2.0
#include "convert/luminance.h"

namespace dibkit::host {

void LuminanceRow(const unsigned char* colours, unsigned char* greys, size_t count) {
  for (size_t i = 0; i < count; ++i) {
    greys[i] = Luminance(colours[3 * i], colours[3 * i + 1], colours[3 * i + 2]);
  }
}

}  // namespace dibkit::host
