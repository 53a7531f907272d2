// SPDX-License-Identifier: Apache-2.0
//
// The way that an image takes to another resolution, told from its header.
#ifndef DIBKIT_HOST_RESAMPLE_ROUTE_H
#define DIBKIT_HOST_RESAMPLE_ROUTE_H

#include <cstdint>

#include "dibkit/host/resample.h"
#include "resample/reduction.h"
#include "resample/sample_rows.h"

namespace dibkit::host {

struct Route {
  bool widens = false;   // 16 and 32 bits: at 24 first
  bool samples = false;  // means of blocks, or single pixels as levels, before the conversion
  SampleKind kind = SampleKind::kOwn;
  uint16_t levelBits = 0;     // of what is interpolated: 1, 8, 24
  bool thresholds = false;    // levels become bits again
  bool picksPalette = false;  // colours become indices again
  Reduction reduction{};

  // Nothing is left for the conversion.
  bool EndsWithMeans() const { return samples && reduction.IsWhole(); }
};

// `isGrey`: its table, if it has one, is grey. Throws ImageError as ResampledSize does.
Route RouteOf(PixelSize size, uint16_t bitCount, bool isGrey, PelsPerMetre from,
              const ResampleRequest& request);

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_RESAMPLE_ROUTE_H
