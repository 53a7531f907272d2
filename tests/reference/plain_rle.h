// SPDX-License-Identifier: Apache-2.0
//
// The decoders in their plain form, one pixel or piece of a row at a time: what they make of a
// stream, sound or not, is what the library's make of it.
#ifndef DIBKIT_TESTS_REFERENCE_PLAIN_RLE_H
#define DIBKIT_TESTS_REFERENCE_PLAIN_RLE_H

#include "dib/rle.h"

namespace dibtest {

void DecodePlainRle8(std::span<const unsigned char> stream, const dibkit::RleTarget& target);
void DecodePlainRle4(std::span<const unsigned char> stream, const dibkit::RleTarget& target);

}  // namespace dibtest

#endif  // DIBKIT_TESTS_REFERENCE_PLAIN_RLE_H
