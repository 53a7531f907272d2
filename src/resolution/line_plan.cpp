// SPDX-License-Identifier: Apache-2.0
#include "resolution/line_plan.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <memory>
#include <new>
#include <numeric>

#include "resolution/short_form.h"

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

// A column with a neighbour after it. The stepper must be able to tell its position as Fixed().
Column FixedColumn(const FixedPosition& position, uint32_t parts) {
  const Phase phase = PhaseOfFixed(position.fraction, parts);
  return {FractionOf(position), phase.error, position.whole, position.whole + 1, phase.phase};
}

// The same for the columns at the left edge of an enlargement, whose positions are below 1.
Column NearColumn(const SplitPosition& position, uint32_t parts) {
  const Phase phase = PhaseOf(position.fraction, parts);
  return {position.fraction, phase.error, position.index, position.index + 1, phase.phase};
}

// Makes the columns in raw memory.
void MakeColumns(const PlanGeometry& g, uint32_t parts, Column* columns) {
  const uint32_t last = g.srcWidth - 1;
  PositionStepper stepper(g.scaleX);
  uint32_t x = 0;
  for (; x < g.dstWidth && !stepper.IsFixed(); ++x, stepper.Advance()) {
    const SplitPosition position = Split(stepper.Position());
    if (position.index >= last) break;
    new (columns + x) Column(NearColumn(position, parts));
  }
  for (; x < g.dstWidth && stepper.IsFixed(); ++x, stepper.Advance()) {
    const FixedPosition position = stepper.Fixed();
    if (position.whole >= last) break;
    new (columns + x) Column(FixedColumn(position, parts));
  }
  // Positions only grow: all others repeat the last source column.
  std::uninitialized_fill(columns + x, columns + g.dstWidth, Column{{}, 0.0, last, last, 0});
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

// The column of a sample. A division by a constant takes no time.
uint32_t ColumnOf(const LinePlan& plan, uint32_t sample) {
  return plan.channels == 3 ? sample / 3 : sample;
}

// The columns whose samples one group's slots hold. Slots beyond the row's last sample repeat it.
struct GroupColumns {
  uint32_t first;  // columns
  uint32_t last;
  uint32_t skipped;  // channels of the first column that are in an earlier group
  uint32_t taken;    // channels of the last column that are not in a later one
  uint32_t samples;  // up to the row's last

  GroupColumns(const LinePlan& plan, uint32_t group) {
    const uint32_t slots = plan.shape.Slots();
    const uint32_t begin = std::min(group * slots, plan.samples - 1);
    const uint32_t end = std::min(begin + slots, plan.samples);
    first = ColumnOf(plan, begin);
    last = ColumnOf(plan, end - 1);
    skipped = begin - first * plan.channels;
    taken = end - last * plan.channels;
    samples = end - begin;
  }
};

// The source bytes from `from` to before `to`.
struct Span {
  uint32_t from;
  uint32_t to;
};

// The bytes that a group reads of a column's left and right pixels. Two columns at the same pixel
// read what either reads.
class GroupSpans {
 public:
  GroupSpans(const LinePlan& plan, const GroupColumns& group)
      : plan_(plan), group_(group), skipped_(group.skipped), taken_(group.taken) {
    if (group.first == group.last) return;
    const Column* columns = plan.columns;
    if (columns[group.first].left == columns[group.first + 1].left) skipped_ = 0;
    if (columns[group.last].right == columns[group.last - 1].right) taken_ = plan.channels;
  }

  Span OfPixel(uint32_t column, uint32_t pixel) const {
    const uint32_t at = plan_.channels * pixel;
    return {at + (column == group_.first ? skipped_ : 0),
            at + (column == group_.last ? taken_ : plan_.channels)};
  }
  uint32_t End() const { return OfPixel(group_.last, plan_.columns[group_.last].right).to; }

 private:
  const LinePlan& plan_;
  const GroupColumns& group_;
  uint32_t skipped_;
  uint32_t taken_;
};

// Deals a group's bytes out to look-ups of `size` consecutive source bytes each: the next look-up
// starts at the first byte that no earlier one covers, but never so late that it would read past
// the row. Columns read their pixels in the order of the source, so that the first byte that is not
// covered when it comes up is the first of all. Calls place(chunk, offset, first byte that is this
// chunk's own); returns their number.
template <typename Place>
uint32_t DealChunks(const LinePlan& plan, const GroupColumns& group, Place place) {
  const uint32_t size = plan.shape.lookUpBytes;
  const GroupSpans spans(plan, group);
  uint32_t chunks = 0;
  uint32_t covered = 0;
  const auto cover = [&](const Span& span) {
    if (span.to <= covered) return;
    const uint32_t offset = std::min(std::max(span.from, covered), plan.rowBytes - size);
    place(chunks++, offset, covered);
    covered = offset + size;
  };
  const uint32_t end = spans.End();
  for (uint32_t x = group.first; x <= group.last; ++x) {
    if (covered >= end) break;
    if (plan.channels * (plan.columns[x].right + 1) <= covered) continue;
    cover(spans.OfPixel(x, plan.columns[x].left));
    cover(spans.OfPixel(x, plan.columns[x].right));
  }
  return chunks;
}

uint32_t CountChunks(const LinePlan& plan) {
  if (plan.shape.lookUpBytes == 0) return 0;
  uint32_t chunks = 1;
  for (uint32_t group = 0; group < plan.groups; ++group) {
    const uint32_t count =
        DealChunks(plan, GroupColumns(plan, group), [](uint32_t, uint32_t, uint32_t) {});
    chunks = std::max(chunks, count);
  }
  return chunks;
}

// The byte offsets that one group's slots read.
class GroupBytes {
 public:
  GroupBytes(const LinePlan& plan, const GroupColumns& group)
      : left(leftOfPixels_ + group.skipped), right(rightOfPixels_ + group.skipped) {
    plan.channels == 3 ? List<3>(plan, group) : List<1>(plan, group);
    const uint32_t last = group.skipped + group.samples - 1;
    const uint32_t repeats = plan.shape.Slots() - group.samples;
    std::fill_n(leftOfPixels_ + last + 1, repeats, leftOfPixels_[last]);
    std::fill_n(rightOfPixels_ + last + 1, repeats, rightOfPixels_[last]);
  }

  const uint32_t* left;  // of each slot
  const uint32_t* right;

 private:
  // Whole pixels are listed, which at both ends may be more than the group's.
  template <uint32_t kChannels>
  void List(const LinePlan& plan, const GroupColumns& group) {
    uint32_t* toLeft = leftOfPixels_;
    uint32_t* toRight = rightOfPixels_;
    for (uint32_t x = group.first; x <= group.last; ++x) {
      const Column& column = plan.columns[x];
      for (uint32_t channel = 0; channel < kChannels; ++channel) {
        *toLeft++ = kChannels * column.left + channel;
        *toRight++ = kChannels * column.right + channel;
      }
    }
  }

  uint32_t leftOfPixels_[2 + kMaxSlots + 2];
  uint32_t rightOfPixels_[2 + kMaxSlots + 2];
};

struct GroupTables {
  uint32_t* offsets;
  uint8_t* index;
  uint32_t* alike;
  int8_t* weights;
  int16_t* wideWeights;
  int16_t* xError;
  float* wideError;
};

void FillOffsets(const LinePlan& plan, uint32_t* offsets) {
  const uint32_t slots = plan.shape.Slots();
  for (uint32_t group = 0; group < plan.groups; ++group, offsets += 2 * slots) {
    const GroupBytes bytes(plan, GroupColumns(plan, group));
    for (uint32_t slot = 0; slot < slots; ++slot) {
      offsets[2 * slot] = bytes.left[slot];
      offsets[2 * slot + 1] = bytes.right[slot];
    }
  }
}

// The bytes that a look-up of kSize bytes provides: those that are not before `own`.
template <uint32_t kSize>
struct Chunk {
  uint32_t offset;
  uint32_t own;

  uint32_t IndexOf(uint32_t byte) const {
    // Signed numbers compare in lanes.
    const auto at = static_cast<int32_t>(byte - offset);
    const bool here = at >= static_cast<int32_t>(own) && at < static_cast<int32_t>(kSize);
    return here ? static_cast<uint32_t>(at) : kNotHere;
  }
};

// The indices of one look-up's slots. A slot is a word with the left sample in its lowest byte and
// the right one in its middle byte.
template <typename Slot, uint32_t kSize>
void FillIndex(const Chunk<kSize>& chunk, const GroupBytes& bytes, uint8_t* index) {
  constexpr unsigned kMiddle = 4 * sizeof(Slot);
  constexpr uint32_t kOthers = 0x01010101u * kNotHere & ~(0xFFu | 0xFFu << kMiddle);
  constexpr uint32_t kSlots = kSize / sizeof(Slot);
  Slot row[kSlots];
  for (uint32_t slot = 0; slot < kSlots; ++slot) {
    row[slot] = static_cast<Slot>(kOthers | chunk.IndexOf(bytes.left[slot]) |
                                  chunk.IndexOf(bytes.right[slot]) << kMiddle);
  }
  std::memcpy(index, row, kSize);
}

template <typename Slot, uint32_t kSize>
void FillLookUps(const LinePlan& plan, const GroupTables& tables) {
  uint32_t* offsets = tables.offsets;
  uint8_t* index = tables.index;
  for (uint32_t group = 0; group < plan.groups; ++group) {
    const GroupColumns columns(plan, group);
    const GroupBytes bytes(plan, columns);
    const uint32_t used =
        DealChunks(plan, columns, [&](uint32_t chunk, uint32_t offset, uint32_t first) {
          offsets[chunk] = offset;
          const uint32_t own = first > offset ? first - offset : 0;
          FillIndex<Slot, kSize>({offset, own}, bytes, index + size_t{chunk} * kSize);
        });
    std::fill(offsets + used, offsets + plan.chunks, 0u);
    std::fill(index + size_t{used} * kSize, index + size_t{plan.chunks} * kSize, kNotHere);
    offsets += plan.chunks;
    index += size_t{plan.chunks} * kSize;
  }
}

// The look-ups of the shapes that kernels have.
void FillLookUps(const LinePlan& plan, const GroupTables& tables) {
  const bool isShort = plan.shape.slotBytes == 2;
  if (plan.shape.lookUpBytes == 64) {
    isShort ? FillLookUps<uint16_t, 64>(plan, tables) : FillLookUps<uint32_t, 64>(plan, tables);
  } else {
    isShort ? FillLookUps<uint16_t, 16>(plan, tables) : FillLookUps<uint32_t, 16>(plan, tables);
  }
}

// Calls put(slot, entryOf(column)) for the slots of the columns before `columns`.
template <typename EntryOf, typename Put>
void ForEachSlot(const LinePlan& plan, uint32_t columns, EntryOf entryOf, Put put) {
  for (uint32_t x = 0; x < columns; ++x) {
    const auto entry = entryOf(plan.columns[x]);
    const size_t slot = size_t{x} * plan.channels;
    put(slot, entry);
    if (plan.channels != 3) continue;
    put(slot + 1, entry);
    put(slot + 2, entry);
  }
}

// Likewise for all slots of all groups; those beyond the row's last sample repeat it.
template <typename EntryOf, typename Put>
void FillSlots(const LinePlan& plan, EntryOf entryOf, Put put) {
  ForEachSlot(plan, plan.dstWidth, entryOf, put);
  const auto last = entryOf(plan.columns[plan.dstWidth - 1]);
  for (size_t slot = plan.samples; slot < size_t{plan.groups} * plan.shape.Slots(); ++slot) {
    put(slot, last);
  }
}

// Pairs (Qx - p, p).
template <typename Weight>
void FillWeights(const LinePlan& plan, Weight* weights) {
  FillSlots(
      plan, [](const Column& column) { return column.phase; },
      [weights, parts = plan.partsX](size_t slot, uint32_t phase) {
        weights[2 * slot] = static_cast<Weight>(parts - phase);
        weights[2 * slot + 1] = static_cast<Weight>(phase);
      });
}

// The grid of the columns before kFarColumn is finer, and finer than fits for the first two.
int16_t NearWeight(const Column& column) {
  const bool fits = column.error == 0.0 || column.left >= 2;
  return fits ? WeightOf(column.error, kNearGrid) : kNoWeight;
}

void FillErrors(const LinePlan& plan, int16_t* errors) {
  FillSlots(
      plan, [&plan](const Column& column) { return WeightOf(column.error, plan.errorScale); },
      [errors](size_t slot, int16_t weight) { errors[slot] = weight; });
  if (plan.errors != ErrorForm::kGrid) return;
  const size_t slots = size_t{plan.nearGroups} * plan.shape.Slots();
  for (size_t slot = 0; slot < slots; ++slot) {
    const size_t sample = std::min<size_t>(slot, plan.samples - 1);
    errors[slot] = NearWeight(plan.columns[sample / plan.channels]);
  }
}

void FillWideErrors(const LinePlan& plan, float* errors) {
  FillSlots(
      plan, [](const Column& column) { return static_cast<float>(column.error * kWideErrorUnit); },
      [errors](size_t slot, float error) { errors[slot] = error; });
}

template <typename T>
bool SameGroups(const T* table, size_t size, size_t a, size_t b) {
  return table == nullptr || std::memcmp(table + a * size, table + b * size, size * sizeof(T)) == 0;
}

// The columns' parts, and so most groups, repeat with a period. Kernels that read the tables of an
// early group instead of later ones find them in the nearest cache.
void FillAlike(const LinePlan& plan, const GroupTables& tables) {
  const uint32_t slots = plan.shape.Slots();
  const uint32_t samples = plan.partsX * plan.channels;
  const uint32_t period = samples / std::gcd(samples, slots);
  const size_t lookUps = size_t{plan.chunks} * plan.shape.lookUpBytes;
  for (uint32_t group = 0; group < plan.groups; ++group) {
    tables.alike[group] = group;
    if (group < period) continue;
    const uint32_t early = tables.alike[group - period];
    if (SameGroups(plan.index, lookUps, early, group) &&
        SameGroups(plan.weights, 2 * slots, early, group) &&
        SameGroups(plan.wideWeights, 2 * slots, early, group)) {
      tables.alike[group] = early;
    }
  }
}

void FillTables(const LinePlan& plan, const GroupTables& tables) {
  plan.shape.lookUpBytes == 0 ? FillOffsets(plan, tables.offsets) : FillLookUps(plan, tables);
  if (tables.weights != nullptr) FillWeights(plan, tables.weights);
  if (tables.wideWeights != nullptr) FillWeights(plan, tables.wideWeights);
  if (tables.xError != nullptr) FillErrors(plan, tables.xError);
  if (tables.wideError != nullptr) FillWideErrors(plan, tables.wideError);
  FillAlike(plan, tables);
}

uint32_t CountNearGroups(const LinePlan& plan) {
  uint32_t x = 0;
  while (x < plan.dstWidth && plan.columns[x].left < kFarColumn) ++x;
  const uint32_t slots = plan.shape.Slots();
  const uint32_t pass = slots * plan.shape.together;
  return (x * plan.channels + pass - 1) / pass * plan.shape.together;
}

bool AddColumns(const PlanGeometry& g, LinePlan* plan) {
  plan->columnStorage.reset(static_cast<unsigned char*>(std::malloc(g.dstWidth * sizeof(Column))));
  if (!plan->columnStorage) return false;
  auto* columns = reinterpret_cast<Column*>(plan->columnStorage.get());
  MakeColumns(g, plan->partsX, columns);
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
  const size_t alike = layout.Add(groups * sizeof(uint32_t));
  plan->tableStorage.reset(static_cast<unsigned char*>(std::aligned_alloc(64, layout.size())));
  unsigned char* block = plan->tableStorage.get();
  if (block == nullptr) return false;
  GroupTables tables{};
  plan->offsets = tables.offsets = Place<uint32_t>(block, offsets, places);
  plan->alike = tables.alike = Place<uint32_t>(block, alike, groups);
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
  FillTables(*plan, tables);
  return true;
}

bool FillPlan(const PlanGeometry& g, LinePlan* plan) {
  if (!AddColumns(g, plan)) return false;
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
  plan.channels = channels;
  plan.rowBytes = geometry.srcWidth * channels;
  plan.samples = geometry.dstWidth * channels;
  plan.dstWidth = geometry.dstWidth;
  plan.partsX = x.ratio.parts;
  plan.partsY = y.ratio.parts;
  plan.divisor = plan.partsX * plan.partsY;
  plan.byteWeights = form != LineForm::kWide || (wide.lookUpBytes != 0 && FitsShort(plan));
  plan.shape = plan.byteWeights ? narrow : wide;
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
