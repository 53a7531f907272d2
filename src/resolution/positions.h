// SPDX-License-Identifier: Apache-2.0
//
// Where output columns and rows lie in the source.
#ifndef DIBKIT_SRC_RESOLUTION_POSITIONS_H
#define DIBKIT_SRC_RESOLUTION_POSITIONS_H

#include <cstdint>
#include <optional>
#include <vector>

#include "Cnv_res_mem.h"
#include "resolution/axis.h"
#include "resolution/real.h"

namespace dibkit::resolution {

// An output index in source coordinates: the source index at or before it, in 16 bits, and the
// distance from there.
struct Place {
  uint16_t index;
  Real fraction;
};

// The plain form, for any scale.
inline Place Locate(unsigned outputIndex, double scale) {
  const Real position = Divide(outputIndex, scale);
  const uint16_t index = TruncateToWord(position);
  return {index, position - index};
}

// True when a place has no neighbour after it: it repeats the last column or row.
inline bool IsAtEdge(uint16_t index, uint16_t length) { return index >= length - 1; }

// A place with its distance as a double.
struct StoredPlace {
  uint16_t index;
  double fraction;
};

// The places of output indices 0, 1, 2 and so on, one by one. Scales that a conversion can have are
// stepped through in integers, which gives the same places whatever the floating-point unit is set
// to; any other scale takes the plain form.
class PlaceWalk {
 public:
  // `count`: how many places will be asked for.
  PlaceWalk(double scale, uint32_t count);
  StoredPlace Next();

 private:
  double scale_;
  uint32_t next_ = 0;
  std::optional<PositionStepper> stepper_;
};

// The two source rows of an output row and the weight of the second.
struct RowPair {
  uint16_t first;
  uint16_t second;
  double fraction;
};

RowPair PairRows(const StoredPlace& place, uint16_t sourceHeight);

// One record per output column. Throws std::bad_alloc.
void FillColumns(double scaleX, uint16_t sourceWidth, uint16_t outputWidth,
                 std::vector<CPosition>& columns);

}  // namespace dibkit::resolution

#endif  // DIBKIT_SRC_RESOLUTION_POSITIONS_H
