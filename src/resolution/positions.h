// SPDX-License-Identifier: Apache-2.0
//
// Where an output column or row lies in the source.
#ifndef DIBKIT_SRC_RESOLUTION_POSITIONS_H
#define DIBKIT_SRC_RESOLUTION_POSITIONS_H

#include <cstdint>
#include <vector>

#include "Cnv_res_mem.h"
#include "resolution/extended.h"

namespace dibkit::resolution {

// An output index in source coordinates: the source index at or before it, in 16 bits, and the
// distance from there.
struct Place {
  uint16_t index;
  Extended fraction;
};

inline Place Locate(unsigned outputIndex, double scale) {
  const Extended position = Divide(outputIndex, scale);
  const uint16_t index = TruncateToWord(position);
  return {index, position - index};
}

// True when a place has no neighbour after it: it repeats the last column or row.
inline bool IsAtEdge(uint16_t index, uint16_t length) { return index >= length - 1; }

// The two source rows of an output row and the weight of the second.
struct RowPair {
  uint16_t first;
  uint16_t second;
  double fraction;
};

RowPair PairRows(unsigned outputRow, double scaleY, uint16_t sourceHeight);

// One record per output column. Throws std::bad_alloc.
void FillColumns(double scaleX, uint16_t sourceWidth, uint16_t outputWidth,
                 std::vector<CPosition>& columns);

}  // namespace dibkit::resolution

#endif  // DIBKIT_SRC_RESOLUTION_POSITIONS_H
