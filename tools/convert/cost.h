// SPDX-License-Identifier: Apache-2.0
//
// The memory that a page takes, told from its headers.
#ifndef DIBKIT_TOOLS_CONVERT_COST_H
#define DIBKIT_TOOLS_CONVERT_COST_H

#include <cstdint>

#include "dibkit/host/image_reader.h"
#include "dibkit/host/resample.h"
#include "dibkit/host/resolution.h"

namespace dibkit::tool {

// Bytes of an image in memory.
uint64_t ImageBytes(host::PixelSize size, unsigned bits);

// What a conversion of the depth makes.
enum class DepthWay {
  kIfOther,  // an image of the bits wanted, unless the page has them
  kAlways,   // such an image in any case
  kBy24      // that, and a copy at 24 bits before it, unless the page has these
};

// Most that is taken at once to read a page and to bring it to `bits`.
uint64_t CostAtDepth(const host::PageDescription& page, unsigned bits, DepthWay way);

// Most that is taken at once to read a page and to resample it.
uint64_t CostOfResampling(const host::PageDescription& page, host::PelsPerMetre from,
                          const host::ResampleRequest& request);

// Bits of what resampling makes of the page.
unsigned ResampledBits(const host::PageDescription& page, const host::ResampleRequest& request);

}  // namespace dibkit::tool

#endif  // DIBKIT_TOOLS_CONVERT_COST_H
