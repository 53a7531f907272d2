// SPDX-License-Identifier: Apache-2.0
//
// Resolutions for formats that keep whole numbers.
#ifndef DIBKIT_HOST_FORMATS_WHOLE_RESOLUTION_H
#define DIBKIT_HOST_FORMATS_WHOLE_RESOLUTION_H

#include <cstdint>

#include "dibkit/host/resolution.h"

namespace dibkit::host {

struct WholeResolution {
  uint64_t x = 0;
  uint64_t y = 0;
  bool exact = false;  // neither was rounded
};

// Pixels per `unit` (not kNone), rounded to nearest; both 0 where `resolution` is none, is no
// number, or rounds to 0 on one axis.
WholeResolution WholeResolutionPer(ResolutionUnit unit, const Resolution& resolution);

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_FORMATS_WHOLE_RESOLUTION_H
