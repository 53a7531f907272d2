// SPDX-License-Identifier: Apache-2.0
//
// Turning and converting told on whole blocks, byte by byte with arithmetic instead of shifts, for
// packed DIBs of at most 65,535 columns and rows whose fields fit their block. Nothing else of the
// library or of the tests is used.
#ifndef DIBKIT_TESTS_REFERENCE_DEPTH_MODEL_H
#define DIBKIT_TESTS_REFERENCE_DEPTH_MODEL_H

#include <cstdint>
#include <optional>
#include <vector>

namespace dibtest {

// The block of a turned image; nothing when the library answers null.
std::optional<std::vector<uint8_t>> TurnSlowly(const std::vector<uint8_t>& dib);

// The block of the image at `bits` (16 or 24) bits a pixel; nothing when the library answers null.
std::optional<std::vector<uint8_t>> ConvertSlowly(const std::vector<uint8_t>& dib, unsigned bits);

}  // namespace dibtest

#endif  // DIBKIT_TESTS_REFERENCE_DEPTH_MODEL_H
