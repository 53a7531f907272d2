// SPDX-License-Identifier: Apache-2.0
//
// Filling the 512 search cells.
#ifndef DIBKIT_SRC_QUANTIZE_SEARCH_CUBE_H
#define DIBKIT_SRC_QUANTIZE_SEARCH_CUBE_H

#include <cstddef>
#include <cstdint>

#include "NiGoRo2.h"
#include "quantize/kernels.h"

namespace dibkit::quantize {

inline constexpr uint32_t kMaxPalette = 256;

// Sorts the palette of `count` entries (at most 256) by distance to each cell's centre in turn and
// appends each cell's candidates, exactly as sorting with Qsort and CompareColor and appending with
// AddList does. `palette` is left in the order of the last cell. A cell for which there is no
// memory keeps a shorter list.
void FillSearchCube(CColorTrans2* palette, uint32_t count, CSearchCell (&cells)[8][8][8],
                    const QuantizeKernels& kernels);

}  // namespace dibkit::quantize

#endif  // DIBKIT_SRC_QUANTIZE_SEARCH_CUBE_H
