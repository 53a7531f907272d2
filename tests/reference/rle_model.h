// SPDX-License-Identifier: Apache-2.0
//
// Run-length decoding told as a pen over unbounded memory, pixel by pixel. The model notes when a
// stream makes the pen write outside the image or read outside the stream; the record that does so
// is carried out as far as it goes and is the last.
#ifndef DIBKIT_TESTS_REFERENCE_RLE_MODEL_H
#define DIBKIT_TESTS_REFERENCE_RLE_MODEL_H

#include <cstddef>
#include <cstdint>
#include <vector>

namespace dibtest {

struct RleOutcome {
  std::vector<uint8_t> area;  // the pixel rows, padding included
  bool sound = true;          // nothing was read or written outside
};

// `bits`: 4 or 8.
RleOutcome DecodeRleSlowly(unsigned bits, const std::vector<uint8_t>& stream, size_t width,
                           size_t rows);

}  // namespace dibtest

#endif  // DIBKIT_TESTS_REFERENCE_RLE_MODEL_H
