// SPDX-License-Identifier: Apache-2.0
//
// How a page is brought to a lower resolution: blocks of whole pixels are averaged first, the
// exact conversion does the rest.
#ifndef DIBKIT_HOST_RESAMPLE_REDUCTION_H
#define DIBKIT_HOST_RESAMPLE_REDUCTION_H

#include "dibkit/host/resample.h"
#include "resample/block_rows.h"
#include "resample/conversion_limits.h"

namespace dibkit::host {

// Pixels of a block's side: the whole part of the ratio, at least 1.
constexpr unsigned BlockSide(unsigned from, unsigned dpi) { return from < dpi ? 1 : from / dpi; }

struct Reduction {
  BlockSize block{};
  PixelSize blocks{};  // of the page; as many as make the size that the conversion alone would make
  // What the conversion is told, so that the ratios are exact.
  Dpi from{};
  unsigned dpi = 0;

  bool HasBlocks() const { return block != BlockSize{}; }
  // Nothing is left for the conversion.
  bool IsWhole() const { return from.x == dpi && from.y == dpi; }
};

// For a page whose header says `from`. Throws ImageError as ResampledSize does.
Reduction PlanReduction(PixelSize size, PelsPerMetre from, unsigned dpi, uint64_t maxPixels);

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_RESAMPLE_REDUCTION_H
