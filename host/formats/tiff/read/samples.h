// SPDX-License-Identifier: Apache-2.0
//
// Samples of any number of bits as bytes.
#ifndef DIBKIT_HOST_FORMATS_TIFF_READ_SAMPLES_H
#define DIBKIT_HOST_FORMATS_TIFF_READ_SAMPLES_H

#include <cstdint>

namespace dibkit::host::tiff {

// Where a sample is found in a decoded row: after `index` others of a pixel that has `samples`.
// Samples of 16, 24 and 32 bits are in the order of the machine, as libtiff leaves them.
struct SamplePlace {
  unsigned bits;  // 1 to 32
  unsigned samples;
  unsigned index;
};

// The sample of each of `width` pixels. `scaled`: the largest value becomes 255; otherwise samples
// of up to 8 bits as they are.
void UnpackSamples(const unsigned char* row, const SamplePlace& place, uint32_t width, bool scaled,
                   unsigned char* to);

}  // namespace dibkit::host::tiff

#endif  // DIBKIT_HOST_FORMATS_TIFF_READ_SAMPLES_H
