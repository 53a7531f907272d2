// SPDX-License-Identifier: Apache-2.0
//
// Building and pruning the colour octree of a whole image. The tree is the one that inserting pixel
// by pixel and cutting round by round would leave, field by field; only the way there is shorter.
#ifndef DIBKIT_SRC_QUANTIZE_OCTREE_H
#define DIBKIT_SRC_QUANTIZE_OCTREE_H

#include <cstddef>
#include <cstdint>

#include "NiGoRo2.h"
#include "quantize/kernels.h"

namespace dibkit::quantize {

// Inserts `height` rows of `width` 24-bit pixels into the tree of `depth` levels, whatever it holds
// already. `stride` is the distance of two rows in bytes.
void FillTree24(CCube2* tree, unsigned depth, const uint8_t* rows, size_t stride, uint32_t width,
                uint32_t height, const QuantizeKernels& kernels);

// Inserts `count` pixels of one colour, `count` not 0. Fixed leaves count the pixels but keep their
// sums.
void InsertRun(CCube2* tree, unsigned depth, uint8_t red, uint8_t green, uint8_t blue,
               uint32_t count);

// Merges the lightest nodes until at most `limit` colours are left, exactly as cutting every node
// of the smallest weight, round after round, does. Sets `colors` to the number left. False, with
// the tree as it was, where only the rounds themselves give the right tree: fixed colours, weights
// that are not sums of their parts, no memory.
bool PruneTree(CCube2* tree, uint32_t limit, uint32_t& colors);

}  // namespace dibkit::quantize

#endif  // DIBKIT_SRC_QUANTIZE_OCTREE_H
