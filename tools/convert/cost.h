// SPDX-License-Identifier: Apache-2.0
//
// The memory that a page takes, told from its headers.
#ifndef DIBKIT_TOOLS_CONVERT_COST_H
#define DIBKIT_TOOLS_CONVERT_COST_H

#include <cstdint>

#include "dibkit/host/image_reader.h"
#include "dibkit/host/page.h"

namespace dibkit::tool {

// Bytes of an image in memory.
uint64_t ImageBytes(host::PixelSize size, unsigned bits);

// Most that is taken at once to read a page and to bring it to `bits`; `by24` when the way goes by
// a copy at 24 bits.
uint64_t CostAtDepth(const host::PageDescription& page, unsigned bits, bool by24 = false);

// Most that is taken at once to read a page and to resample it to `size`.
uint64_t CostOfResampling(const host::PageDescription& page, host::PixelSize size,
                          const host::ResampleOptions& options);

// Bits of what resampling makes of the page.
unsigned ResampledBits(const host::PageDescription& page, const host::ResampleOptions& options);

}  // namespace dibkit::tool

#endif  // DIBKIT_TOOLS_CONVERT_COST_H
