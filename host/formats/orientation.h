// SPDX-License-Identifier: Apache-2.0
//
// What the eight orientations, as Exif and TIFF number them, ask of stored pixels.
#ifndef DIBKIT_HOST_FORMATS_ORIENTATION_H
#define DIBKIT_HOST_FORMATS_ORIENTATION_H

#include <utility>

#include "dibkit/host/resolution.h"

namespace dibkit::host {

// From the stored image to the upright one: first columns become rows, then the result is mirrored.
struct Turn {
  bool transposed;  // stored row y becomes column y
  bool mirrored;    // left and right change places
  bool upsideDown;  // top and bottom change places
};

// A value outside 1 to 8 means nothing to readers and counts as 1.
constexpr Turn TurnOf(unsigned orientation) {
  switch (orientation) {
    case 2:
      return {false, true, false};
    case 3:
      return {false, true, true};
    case 4:
      return {false, false, true};
    case 5:
      return {true, false, false};
    case 6:
      return {true, true, false};
    case 7:
      return {true, true, true};
    case 8:
      return {true, false, true};
    default:
      return {false, false, false};
  }
}

// The resolution of the upright image, from that of the stored axes.
inline Resolution UprightResolution(Resolution stored, unsigned orientation) {
  if (TurnOf(orientation).transposed) {
    std::swap(stored.x, stored.y);
  }
  return stored;
}

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_FORMATS_ORIENTATION_H
