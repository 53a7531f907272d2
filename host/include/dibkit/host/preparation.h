// SPDX-License-Identifier: Apache-2.0
//
// What is done to a page so that a recogniser of text reads it best. Found by measuring; the table
// is in docs/recognition.md.
#ifndef DIBKIT_HOST_PREPARATION_H
#define DIBKIT_HOST_PREPARATION_H

namespace dibkit::host {

struct Preparation {
  bool resamples = false;  // to the resolution wanted; otherwise the page stays as it is
  bool smooths = false;    // 8-bit grey of it before, each level laid over its neighbours
  bool operator==(const Preparation&) const = default;
};

// For an upright page of `bitCount` and these resolutions, and a recogniser that reads `dpi` best.
// Throws ImageError (kNoResolution) where one of the page's is 0.
Preparation PreparationFor(unsigned bitCount, unsigned dpiX, unsigned dpiY, unsigned dpi);

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_PREPARATION_H
