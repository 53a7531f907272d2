// SPDX-License-Identifier: Apache-2.0
#include "resolution/line_plan.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <new>

namespace dibkit::resolution {

namespace {

constexpr uint32_t kMaxNarrowParts = 127;      // weights are signed bytes
constexpr uint32_t kMaxNarrowDivisor = 256;    // 255 * divisor + 1 fits 16 bits
constexpr uint32_t kMaxWideParts = 32767;      // weights are signed words
constexpr uint32_t kMaxWideDivisor = 8421504;  // 255 * divisor fits 31 bits

constexpr uint32_t kMaxSlots = kPortableSlots;
constexpr uint8_t kNotHere = 0x80;  // an index that byte permutations answer with 0

// What is known of one axis before its positions are.
struct Axis {
  Ratio ratio;
  double bound;  // parts * |error of the fraction| is below this
  bool exact;    // every position is its ideal
  bool grid;     // every error is that of a rounding only
};

// The scale's own error grows with the position; half a last place of the position and of the
// fraction come on top.
Axis MeasureAxis(double scale, uint32_t dpi, uint32_t resolution, uint32_t count) {
  const Ratio ratio = Ratio::Of(dpi, resolution);
  const double last = count / scale + 1.0;
  const double drift = std::fabs(std::fma(scale, resolution, -static_cast<double>(dpi))) / dpi;
  const bool exact = drift == 0.0 && std::has_single_bit(ratio.parts);
  const double bound = ratio.parts * (last * drift * 1.001 + last * 0x1p-64 + 0x1p-54);
  return {ratio, exact ? 0.0 : bound, exact, drift == 0.0};
}

bool Plannable(const PlanGeometry& g, uint32_t channels) {
  return g.srcWidth != 0 && g.srcWidth <= 65535 && g.dstWidth != 0 && g.dstWidth <= 65535 &&
         g.srcHeight != 0 && g.dpi != 0 && g.resX != 0 && g.resY != 0 && g.dpi <= 65535 &&
         g.resX <= 65535 && g.resY <= 65535 && (channels == 1 || channels == 3) &&
         g.scaleX > 0x1p-17 && g.scaleX < 0x1p17 && g.scaleY > 0x1p-17 && g.scaleY < 0x1p17;
}

LineForm ChooseForm(const Axis& x, const Axis& y) {
  const uint64_t divisor = uint64_t{x.ratio.parts} * y.ratio.parts;
  // Where the ideal value is not an integer it is at least 1 / divisor away from one: the errors
  // must not reach across.
  const double reach = 255.0 * (y.ratio.parts * x.bound + x.ratio.parts * y.bound) +
                       static_cast<double>(divisor) * 4 * kRounding;
  if (reach > 0.25) return LineForm::kNone;
  if (divisor == 1 && x.exact && y.exact) return LineForm::kCopy;
  if (x.ratio.parts <= kMaxNarrowParts && y.ratio.parts <= kMaxNarrowParts &&
      divisor <= kMaxNarrowDivisor) {
    return LineForm::kNarrow;
  }
  if (x.ratio.parts <= kMaxWideParts && y.ratio.parts <= kMaxWideParts &&
      divisor <= kMaxWideDivisor) {
    return LineForm::kWide;
  }
  return LineForm::kNone;
}

// One of two reciprocals of 16 bits divides every number up to 255 * divisor exactly: the one
// rounded up, or the one rounded down with the number raised by 1. If reciprocal * divisor misses
// the power of two by r, the first is right while r * number < power, the second while r * (number
// + 1) <= power. The two r add up to the divisor, so one is at most 128, and the power is at least
// 2^15 * divisor.
void SetReciprocal(LinePlan* plan) {
  const uint32_t divisor = plan->divisor;
  uint32_t shift = 0;
  while ((uint64_t{1} << (17 + shift)) / divisor < 65536) ++shift;
  const uint64_t power = uint64_t{1} << (16 + shift);
  const auto down = static_cast<uint32_t>((power - 1) / divisor);
  const uint64_t over = uint64_t{down + 1} * divisor - power;
  const bool up = down < 65535 && over * 255 * divisor < power;
  plan->reciprocal = up ? down + 1 : down;
  plan->reciprocalBias = up ? 0 : 1;
  plan->reciprocalShift = shift;
}

uint32_t GuardFor(double units) {
  return static_cast<uint32_t>(std::min<double>(kNoSumDecides, std::ceil(units)));
}

// Weights as large as 16 bits allow, but not so large that the arithmetic's own rounding could not
// be told from a sum that fills 16 bits. Rounding a weight costs up to half a unit for every unit
// of H or V; two more units are for the product of both errors and for sums that equal the guard.
void SetSmoothErrors(LinePlan* plan, const Axis& x, const Axis& y) {
  double scale = 16000.0 / (plan->divisor * kFarRounding);
  if (x.bound > 0) scale = std::min(scale, 32766.0 / x.bound);
  if (y.bound > 0) scale = std::min(scale, 32766.0 / y.bound);
  const double steps = 255.0 * (plan->partsX + plan->partsY) / 2;
  const double far = scale * plan->divisor * kFarRounding + 2;
  const double near = scale * plan->divisor * kRounding + 2;
  plan->errorScale = scale;
  plan->guard = GuardFor(far + steps);
  plan->nearGuard = GuardFor(near + steps);
  plan->fineGuard = GuardFor(far);
  plan->nearFineGuard = GuardFor(near);
}

// Errors in units of 2^-56: whole numbers for all columns from kFarColumn on, so that the sum is
// exact. Nearer columns have finer errors, which the sum says nothing about.
void SetGridErrors(LinePlan* plan) {
  plan->errorScale = 1 / kFarRounding;
  plan->guard = plan->fineGuard = plan->divisor + 2;
  plan->nearGuard = plan->nearFineGuard = kNoSumDecides;
}

void SetErrors(LinePlan* plan, const Axis& x, const Axis& y) {
  const double most = 32766.0 * kFarRounding;
  if (x.exact && y.exact) {
    plan->errors = ErrorForm::kExact;
  } else if (x.grid && y.grid && x.bound < most && y.bound < most) {
    plan->errors = ErrorForm::kGrid;
    SetGridErrors(plan);
  } else {
    plan->errors = ErrorForm::kSmooth;
    SetSmoothErrors(plan, x, y);
  }
}

void FillColumns(const PlanGeometry& g, uint32_t parts, Column* columns) {
  PositionStepper stepper(g.scaleX);
  for (uint32_t x = 0; x < g.dstWidth; ++x, stepper.Advance()) {
    const SplitPosition position = Split(stepper.Position());
    if (position.index >= g.srcWidth - 1) {
      columns[x] = {{}, 0.0, g.srcWidth - 1, g.srcWidth - 1, 0};
      continue;
    }
    const Phase phase = PhaseOf(position.fraction, parts);
    columns[x] = {position.fraction, phase.error, position.index, position.index + 1, phase.phase};
  }
}

// Lays several tables into one block, each on a cache line of its own.
class Layout {
 public:
  size_t Add(size_t bytes) {
    const size_t at = size_;
    size_ += (bytes + 63) & ~size_t{63};
    return at;
  }
  size_t size() const { return size_; }

 private:
  size_t size_ = 0;
};

// The byte offsets that one group's slots read; slots beyond the row's last sample repeat it.
struct GroupBytes {
  uint32_t slots = 0;
  uint32_t left[kMaxSlots];
  uint32_t right[kMaxSlots];
  const Column* column[kMaxSlots];

  GroupBytes(const LinePlan& plan, uint32_t group) : slots(plan.shape.Slots()) {
    const uint32_t first = std::min(group * slots, plan.samples - 1);
    uint32_t x = first / plan.channels;
    uint32_t channel = first % plan.channels;
    for (uint32_t slot = 0; slot < slots; ++slot) {
      column[slot] = &plan.columns[x];
      left[slot] = plan.channels * column[slot]->left + channel;
      right[slot] = plan.channels * column[slot]->right + channel;
      if (first + slot + 1 < plan.samples && ++channel == plan.channels) {
        channel = 0;
        ++x;
      }
    }
  }
};

// Deals a group's bytes out to look-ups of `size` consecutive source bytes each: the next look-up
// starts at the first byte that no earlier one covers, but never so late that it would read past
// the row. Calls place(chunk, offset, first byte that is this chunk's own); returns their number.
template <typename Place>
uint32_t DealChunks(const LinePlan& plan, const GroupBytes& bytes, Place place) {
  const uint32_t size = plan.shape.lookUpBytes;
  uint32_t covered = 0;
  for (uint32_t chunk = 0;; ++chunk) {
    uint32_t next = UINT32_MAX;
    for (uint32_t slot = 0; slot < bytes.slots; ++slot) {
      if (bytes.left[slot] >= covered) next = std::min(next, bytes.left[slot]);
      if (bytes.right[slot] >= covered) next = std::min(next, bytes.right[slot]);
    }
    if (next == UINT32_MAX) return chunk;
    const uint32_t offset = std::min(next, plan.rowBytes - size);
    place(chunk, offset, covered);
    covered = offset + size;
  }
}

uint32_t CountChunks(const LinePlan& plan) {
  if (plan.shape.lookUpBytes == 0) return 0;
  uint32_t chunks = 1;
  for (uint32_t group = 0; group < plan.groups; ++group) {
    const uint32_t count =
        DealChunks(plan, GroupBytes(plan, group), [](uint32_t, uint32_t, uint32_t) {});
    chunks = std::max(chunks, count);
  }
  return chunks;
}

struct GroupTables {
  uint32_t* offsets;
  uint8_t* index;
  int8_t* weights;
  int16_t* wideWeights;
  int16_t* xError;
  float* wideError;
};

void FillOffsets(const GroupBytes& bytes, uint32_t group, const GroupTables& tables) {
  uint32_t* offsets = tables.offsets + size_t{group} * 2 * bytes.slots;
  for (uint32_t slot = 0; slot < bytes.slots; ++slot) {
    offsets[2 * slot] = bytes.left[slot];
    offsets[2 * slot + 1] = bytes.right[slot];
  }
}

void FillLookUps(const LinePlan& plan, const GroupBytes& bytes, uint32_t group,
                 const GroupTables& tables) {
  const uint32_t size = plan.shape.lookUpBytes;
  if (size == 0) return FillOffsets(bytes, group, tables);
  const uint32_t half = plan.shape.slotBytes / 2;
  uint32_t* offsets = tables.offsets + size_t{group} * plan.chunks;
  uint8_t* index = tables.index + size_t{group} * plan.chunks * size;
  std::fill_n(offsets, plan.chunks, 0u);
  std::fill_n(index, size_t{plan.chunks} * size, kNotHere);
  DealChunks(plan, bytes, [&](uint32_t chunk, uint32_t offset, uint32_t first) {
    offsets[chunk] = offset;
    uint8_t* row = index + size_t{chunk} * size;
    const auto here = [&](uint32_t byte) {
      return byte >= first && byte >= offset && byte < offset + size;
    };
    for (uint32_t slot = 0; slot < bytes.slots; ++slot) {
      uint8_t* pair = row + size_t{slot} * plan.shape.slotBytes;
      if (here(bytes.left[slot])) pair[0] = static_cast<uint8_t>(bytes.left[slot] - offset);
      if (here(bytes.right[slot])) pair[half] = static_cast<uint8_t>(bytes.right[slot] - offset);
    }
  });
}

// The grid of the columns before kFarColumn is finer, and finer than fits for the first two.
int16_t NearWeight(const LinePlan& plan, const Column& column) {
  if (plan.errors != ErrorForm::kGrid) return WeightOf(column.error, plan.errorScale);
  const bool fits = column.error == 0.0 || column.left >= 2;
  return fits ? WeightOf(column.error, kNearGrid) : kNoWeight;
}

void FillByteWeights(const LinePlan& plan, const GroupBytes& bytes, uint32_t group,
                     const GroupTables& tables) {
  int8_t* weights = tables.weights + size_t{group} * 2 * bytes.slots;
  for (uint32_t slot = 0; slot < bytes.slots; ++slot) {
    const uint32_t phase = bytes.column[slot]->phase;
    weights[2 * slot] = static_cast<int8_t>(plan.partsX - phase);
    weights[2 * slot + 1] = static_cast<int8_t>(phase);
  }
}

void FillNarrow(const LinePlan& plan, const GroupBytes& bytes, uint32_t group,
                const GroupTables& tables) {
  int16_t* errors = tables.xError + size_t{group} * bytes.slots;
  for (uint32_t slot = 0; slot < bytes.slots; ++slot) {
    const Column& column = *bytes.column[slot];
    errors[slot] = group < plan.nearGroups ? NearWeight(plan, column)
                                           : WeightOf(column.error, plan.errorScale);
  }
}

void FillWide(const LinePlan& plan, const GroupBytes& bytes, uint32_t group,
              const GroupTables& tables) {
  int16_t* weights = tables.wideWeights + size_t{group} * 2 * bytes.slots;
  float* errors = tables.wideError + size_t{group} * bytes.slots;
  for (uint32_t slot = 0; slot < bytes.slots; ++slot) {
    const Column& column = *bytes.column[slot];
    weights[2 * slot] = static_cast<int16_t>(plan.partsX - column.phase);
    weights[2 * slot + 1] = static_cast<int16_t>(column.phase);
    errors[slot] = static_cast<float>(column.error * kWideErrorUnit);
  }
}

uint32_t CountNearGroups(const LinePlan& plan) {
  uint32_t x = 0;
  while (x < plan.dstWidth && plan.columns[x].left < kFarColumn) ++x;
  const uint32_t slots = plan.shape.Slots();
  const uint32_t pass = slots * plan.shape.together;
  return (x * plan.channels + pass - 1) / pass * plan.shape.together;
}

bool MakeColumns(const PlanGeometry& g, LinePlan* plan) {
  plan->columnStorage.reset(static_cast<unsigned char*>(std::malloc(g.dstWidth * sizeof(Column))));
  if (!plan->columnStorage) return false;
  auto* columns = new (plan->columnStorage.get()) Column[g.dstWidth];
  FillColumns(g, plan->partsX, columns);
  plan->columns = columns;
  return true;
}

template <typename T>
T* Place(unsigned char* block, size_t at, size_t count) {
  return new (block + at) T[count];
}

// One block for all tables of the row's form; those that it does not use stay null.
bool MakeTables(LinePlan* plan) {
  const bool narrow = plan->form != LineForm::kWide;
  const size_t groups = plan->groups;
  const size_t slots = groups * plan->shape.Slots();
  const size_t lookUps = groups * plan->chunks;
  const size_t places = lookUps != 0 ? lookUps : 2 * slots;
  Layout layout;
  const size_t index = layout.Add(lookUps * plan->shape.lookUpBytes);
  const size_t weights = layout.Add(plan->byteWeights ? 2 * slots : 0);
  const size_t wideWeights = layout.Add(narrow ? 0 : 2 * slots * sizeof(int16_t));
  const size_t errors = layout.Add(slots * (narrow ? sizeof(int16_t) : sizeof(float)));
  const size_t offsets = layout.Add(places * sizeof(uint32_t));
  plan->tableStorage.reset(static_cast<unsigned char*>(std::aligned_alloc(64, layout.size())));
  unsigned char* block = plan->tableStorage.get();
  if (block == nullptr) return false;
  GroupTables tables{};
  plan->offsets = tables.offsets = Place<uint32_t>(block, offsets, places);
  plan->index = tables.index = Place<uint8_t>(block, index, lookUps * plan->shape.lookUpBytes);
  if (plan->byteWeights) {
    plan->weights = tables.weights = Place<int8_t>(block, weights, 2 * slots);
  }
  if (narrow) {
    plan->xError = tables.xError = Place<int16_t>(block, errors, slots);
  } else {
    plan->wideWeights = tables.wideWeights = Place<int16_t>(block, wideWeights, 2 * slots);
    plan->wideError = tables.wideError = Place<float>(block, errors, slots);
  }
  for (uint32_t group = 0; group < groups; ++group) {
    const GroupBytes read(*plan, group);
    FillLookUps(*plan, read, group, tables);
    if (plan->byteWeights) FillByteWeights(*plan, read, group, tables);
    narrow ? FillNarrow(*plan, read, group, tables) : FillWide(*plan, read, group, tables);
  }
  return true;
}

bool FillPlan(const PlanGeometry& g, LinePlan* plan) {
  if (!MakeColumns(g, plan)) return false;
  if (plan->rowBytes < plan->shape.lookUpBytes) return false;
  const uint32_t slots = plan->shape.Slots();
  const uint32_t pass = slots * plan->shape.together;
  plan->groups = (plan->samples + pass - 1) / pass * plan->shape.together;
  plan->nearGroups = CountNearGroups(*plan);
  plan->chunks = CountChunks(*plan);
  return MakeTables(plan);
}

}  // namespace

LinePlan PrepareLinePlan(const PlanGeometry& geometry, uint32_t channels, LaneShape narrow,
                         LaneShape wide) {
  LinePlan plan;
  if (!Plannable(geometry, channels)) return plan;
  const Axis x = MeasureAxis(geometry.scaleX, geometry.dpi, geometry.resX, geometry.dstWidth);
  const Axis y = MeasureAxis(geometry.scaleY, geometry.dpi, geometry.resY, geometry.dstHeight);
  const LineForm form = ChooseForm(x, y);
  if (form == LineForm::kNone) return plan;
  plan.byteWeights =
      form != LineForm::kWide || (wide.lookUpBytes != 0 && x.ratio.parts <= kMaxNarrowParts);
  plan.shape = plan.byteWeights ? narrow : wide;
  plan.channels = channels;
  plan.rowBytes = geometry.srcWidth * channels;
  plan.samples = geometry.dstWidth * channels;
  plan.dstWidth = geometry.dstWidth;
  plan.partsX = x.ratio.parts;
  plan.partsY = y.ratio.parts;
  plan.divisor = plan.partsX * plan.partsY;
  plan.errors = x.exact && y.exact ? ErrorForm::kExact : ErrorForm::kSmooth;
  plan.rowErrorBound = y.bound;
  plan.wideDoubt = static_cast<float>(510.0 * x.bound * y.bound * kWideErrorUnit);
  plan.shortParts = plan.partsX % 16 != 0;
  plan.form = form;
  if (form != LineForm::kWide) {
    SetReciprocal(&plan);
    SetErrors(&plan, x, y);
  }
  if (!FillPlan(geometry, &plan)) plan.form = LineForm::kNone;
  return plan;
}

bool PlaceRow(const LinePlan& plan, double fraction, RowPhase* row) {
  if (plan.form == LineForm::kNone || !(fraction >= 0.0 && fraction <= 1.0)) return false;
  row->fraction = ExtendedFromDouble(fraction);
  const Phase phase = PhaseOf(row->fraction, plan.partsY);
  row->phase = phase.phase;
  row->error = phase.error;
  return std::fabs(phase.error) <= plan.rowErrorBound;
}

}  // namespace dibkit::resolution
