// SPDX-License-Identifier: Apache-2.0
//
// Whole images between the depths in which they are stored and those in which they are averaged and
// interpolated.
#ifndef DIBKIT_HOST_RESAMPLE_SAMPLED_H
#define DIBKIT_HOST_RESAMPLE_SAMPLED_H

#include <array>

#include "dibkit/host/global_memory.h"
#include "dibkit/host/resample.h"
#include "dibkit/host/resolution.h"
#include "resample/block_rows.h"
#include "resample/sample_rows.h"

namespace dibkit::host {

// The first `size` means over the blocks of a plain DIB of 1, 4, 8 or 24 bits, counted from the
// first row in memory: 8 bits with a grey table, or 24 bits. Throws ImageError (kTooLarge,
// kNoMemory), Cancelled.
OwnedBlock BlockMeans(const DibView& image, SampleKind kind, BlockSize block, PixelSize size,
                      const ProgressHook& progress);

// Two colours as a table of 1 bit holds them, the dark one first.
using TwoColours = std::array<unsigned char, 8>;

// Those of a page of 1 bit.
TwoColours ColoursOf(const DibView& bilevel);

// 1 bit of 8 with a grey table: dark where the darkness, 255 less the level, is `threshold` or
// more.
OwnedBlock Thresholded(const DibView& grey, int threshold, const TwoColours& colours);

// The same page with 0 for the dark colour, black, and 1 for the other, white.
OwnedBlock BlackOnWhite(const DibView& bilevel);

// Hands a page of 1 bit, 0 black and 1 white, its colours.
void SetColours(tagHANDLE* bilevel, const TwoColours& colours);

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_RESAMPLE_SAMPLED_H
