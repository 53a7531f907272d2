// SPDX-License-Identifier: Apache-2.0
#include "resolution/positions.h"

namespace dibkit::resolution {
namespace {

// Every place has an index of 16 bits, and the scale suits the stepper.
bool CanStep(double scale, uint32_t count) {
  return scale > 0x1p-17 && scale < 0x1p17 && count <= scale * 65535 + 1;
}

}  // namespace

PlaceWalk::PlaceWalk(double scale, uint32_t count) : scale_(scale) {
  if (CanStep(scale, count)) stepper_.emplace(scale);
}

StoredPlace PlaceWalk::Next() {
  const uint32_t index = next_++;
  if (!stepper_) {
    const Place place = Locate(index, scale_);
    return {place.index, static_cast<double>(place.fraction)};
  }
  const SplitPosition position = Split(stepper_->Position());
  stepper_->Advance();
  return {static_cast<uint16_t>(position.index), ToDouble(position.fraction)};
}

RowPair PairRows(const StoredPlace& place, uint16_t sourceHeight) {
  if (IsAtEdge(place.index, sourceHeight)) {
    const uint16_t last = static_cast<uint16_t>(sourceHeight - 1);
    return {last, last, place.fraction};
  }
  return {place.index, static_cast<uint16_t>(place.index + 1), place.fraction};
}

void FillColumns(double scaleX, uint16_t sourceWidth, uint16_t outputWidth,
                 std::vector<CPosition>& columns) {
  columns.clear();
  columns.reserve(outputWidth);
  PlaceWalk places(scaleX, outputWidth);
  for (unsigned x = 0; x < outputWidth; ++x) {
    const StoredPlace place = places.Next();
    uint16_t left = place.index;
    uint16_t right = static_cast<uint16_t>(left + 1);
    if (IsAtEdge(left, sourceWidth)) {
      left = right = static_cast<uint16_t>(sourceWidth - 1);
    }
    columns.push_back({.fraction = place.fraction,
                       .leftColumn = left,
                       .rightColumn = right,
                       .leftByte = static_cast<uint16_t>(left / 8),
                       .rightByte = static_cast<uint16_t>(right / 8)});
  }
}

}  // namespace dibkit::resolution
