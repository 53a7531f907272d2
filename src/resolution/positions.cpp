// SPDX-License-Identifier: Apache-2.0
#include "resolution/positions.h"

namespace dibkit::resolution {

RowPair PairRows(unsigned outputRow, double scaleY, uint16_t sourceHeight) {
  const Place place = Locate(outputRow, scaleY);
  const double fraction = static_cast<double>(place.fraction);
  if (IsAtEdge(place.index, sourceHeight)) {
    const uint16_t last = static_cast<uint16_t>(sourceHeight - 1);
    return {last, last, fraction};
  }
  return {place.index, static_cast<uint16_t>(place.index + 1), fraction};
}

void FillColumns(double scaleX, uint16_t sourceWidth, uint16_t outputWidth,
                 std::vector<CPosition>& columns) {
  columns.clear();
  columns.reserve(outputWidth);
  for (unsigned x = 0; x < outputWidth; ++x) {
    const Place place = Locate(x, scaleX);
    uint16_t left = place.index;
    uint16_t right = static_cast<uint16_t>(left + 1);
    if (IsAtEdge(left, sourceWidth)) {
      left = right = static_cast<uint16_t>(sourceWidth - 1);
    }
    columns.push_back({.fraction = static_cast<double>(place.fraction),
                       .leftColumn = left,
                       .rightColumn = right,
                       .leftByte = static_cast<uint16_t>(left / 8),
                       .rightByte = static_cast<uint16_t>(right / 8)});
  }
}

}  // namespace dibkit::resolution
