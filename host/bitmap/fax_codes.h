// SPDX-License-Identifier: Apache-2.0
//
// The one-dimensional codes of ITU-T Recommendation T.4 (modified Huffman), made ready to be looked
// up.
#ifndef DIBKIT_HOST_BITMAP_FAX_CODES_H
#define DIBKIT_HOST_BITMAP_FAX_CODES_H

#include <array>
#include <cstdint>

namespace dibkit::host {

// No code is longer.
inline constexpr unsigned kMostFaxCodeBits = 13;

struct FaxCode {
  uint16_t run;  // pixels; below 64 the run ends with it
  uint8_t bits;  // of the code; 0: there is no such code
};

// By the next 13 bits of a stream, the first one highest.
using FaxCodes = std::array<FaxCode, 1U << kMostFaxCodeBits>;

// Made at the first call, from then on the same; from any thread.
const FaxCodes& WhiteFaxCodes();
const FaxCodes& BlackFaxCodes();

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_BITMAP_FAX_CODES_H
