// SPDX-License-Identifier: Apache-2.0
//
// An encoder of run-length streams for round trips. It chooses among the ways to write a row at
// random, so that many streams stand for one picture.
#ifndef DIBKIT_TESTS_SUPPORT_RLE_ENCODER_H
#define DIBKIT_TESTS_SUPPORT_RLE_ENCODER_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "support/dib.h"

namespace dibtest {

struct RleStyle {
  unsigned bits = 8;        // 4 or 8
  bool moves = false;       // skip pixels of index 0 by moves and early line ends
  bool endOfBitmap = true;  // close the stream with its mark
  bool wrapRuns = false;    // 8 bits only: no line ends, runs go on in the next row
};

// `pixels`: one index a byte, row after row, bottom row first.
std::vector<uint8_t> EncodeRle(const std::vector<uint8_t>& pixels, size_t width, Random& random,
                               const RleStyle& style);

}  // namespace dibtest

#endif  // DIBKIT_TESTS_SUPPORT_RLE_ENCODER_H
