// SPDX-License-Identifier: Apache-2.0
//
// The run-length decoders against their plain forms, on streams of all manners.
#ifndef DIBKIT_TESTS_UNIT_RLE_COMPARISON_H
#define DIBKIT_TESTS_UNIT_RLE_COMPARISON_H

#include <string>

#include "kernel_tally.h"
#include "support/dib.h"

namespace dibtest {

// What most records of a stream are.
enum class RecordMix {
  kTiny,      // runs of one or two pixels
  kShort,     // runs of up to 32
  kLong,      // runs of up to 255
  kText,      // tiny runs with long ones between
  kLiterals,  // literal blocks
  kAnything,  // any two bytes
};
inline constexpr unsigned kRecordMixes = 6;

// Decodes one random stream both ways, into an area between inaccessible pages.
void CompareRle(unsigned bits, RecordMix mix, Random& random, Tally& tally);

}  // namespace dibtest

#endif  // DIBKIT_TESTS_UNIT_RLE_COMPARISON_H
