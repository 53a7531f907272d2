// SPDX-License-Identifier: Apache-2.0
//
// Between the resolution that a header holds and dots per inch, as the conversion reads and writes
// them.
#ifndef DIBKIT_TOOLS_RESOLUTION_H
#define DIBKIT_TOOLS_RESOLUTION_H

#include <cstdint>

namespace dibkit::tool {

// Dots per inch, 1 to 65535; 0 when the header's value gives none: 0, too small, negative, or so
// large that the conversion would take it for another.
unsigned DotsPerInch(int32_t pelsPerMeter);

// `dpi`: 1 to 65535.
int32_t PelsPerMeter(unsigned dpi);

}  // namespace dibkit::tool

#endif  // DIBKIT_TOOLS_RESOLUTION_H
