// SPDX-License-Identifier: Apache-2.0
#include "resolution/positions.h"

namespace dibkit::resolution {
namespace {

// Every place has an index of 16 bits, and the scale suits the stepper. The first place is 0
// without any steps.
bool CanStep(double scale, uint32_t count) {
  return count > 1 && scale > 0x1p-17 && scale < 0x1p17 && count <= scale * 65535 + 1;
}

StoredPlace PlainPlace(unsigned outputIndex, double scale) {
  const Place place = Locate(outputIndex, scale);
  return {place.index, static_cast<double>(place.fraction)};
}

StoredPlace Store(const SplitPosition& position) {
  return {static_cast<uint16_t>(position.index), ToDouble(position.fraction)};
}

CPosition ColumnAt(const StoredPlace& place, uint16_t sourceWidth) {
  const bool atEdge = IsAtEdge(place.index, sourceWidth);
  const auto left = static_cast<uint16_t>(atEdge ? sourceWidth - 1 : place.index);
  const auto right = static_cast<uint16_t>(atEdge ? left : left + 1);
  return {.fraction = place.fraction,
          .leftColumn = left,
          .rightColumn = right,
          .leftByte = static_cast<uint16_t>(left / 8),
          .rightByte = static_cast<uint16_t>(right / 8)};
}

}  // namespace

PlaceWalk::PlaceWalk(double scale, uint32_t count) : scale_(scale) {
  if (CanStep(scale, count)) stepper_.emplace(scale);
}

StoredPlace PlaceWalk::Next() {
  const uint32_t index = next_++;
  if (!stepper_) return PlainPlace(index, scale_);
  const StoredPlace place = Store(stepper_->Place());
  stepper_->Advance();
  return place;
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
  columns.resize(outputWidth);
  if (CanStep(scaleX, outputWidth)) {
    PositionStepper stepper(scaleX);
    for (CPosition& column : columns) {
      column = ColumnAt(Store(stepper.Place()), sourceWidth);
      stepper.Advance();
    }
    return;
  }
  for (unsigned x = 0; x < outputWidth; ++x) {
    columns[x] = ColumnAt(PlainPlace(x, scaleX), sourceWidth);
  }
}

}  // namespace dibkit::resolution
