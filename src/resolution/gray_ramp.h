// SPDX-License-Identifier: Apache-2.0
#ifndef DIBKIT_SRC_RESOLUTION_GRAY_RAMP_H
#define DIBKIT_SRC_RESOLUTION_GRAY_RAMP_H

namespace dibkit::resolution {

// True when the 256 entries are the grey table that results get: entry i is (i, i, i, 0). Most grey
// sources have it as well, and one comparison is faster than a look at every entry.
bool IsGrayRamp(const unsigned char* entries);

}  // namespace dibkit::resolution

#endif  // DIBKIT_SRC_RESOLUTION_GRAY_RAMP_H
