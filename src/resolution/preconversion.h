// SPDX-License-Identifier: Apache-2.0
//
// Widening of palette images before they are resampled.
#ifndef DIBKIT_SRC_RESOLUTION_PRECONVERSION_H
#define DIBKIT_SRC_RESOLUTION_PRECONVERSION_H

#include "GlobalMemory.h"

namespace dibkit::resolution {

enum class Widening {
  kNotNeeded,    // the source is of another kind
  kDone,         // the result is in `out`
  kNotLockable,  // the source is null or does not lock
  kNoMemory,     // the result cannot be had, or its rows would pass 65,535 bytes
};

// Both write `out` whatever they answer: null unless kDone.
Widening WidenColorPalette(tagHANDLE* src, tagHANDLE*& out);
Widening WidenGray4(tagHANDLE* src, tagHANDLE*& out);

}  // namespace dibkit::resolution

#endif  // DIBKIT_SRC_RESOLUTION_PRECONVERSION_H
