// SPDX-License-Identifier: Apache-2.0
#include "resolution/bilevel_plan.h"

#include <algorithm>
#include <bit>
#include <cmath>

#include "dib/bytes.h"

namespace dibkit::resolution {
namespace {

constexpr size_t kWindow16Slots = 16;
constexpr uint16_t kFullWeight = 65535;

// The tables of a plan, in the block that holds them.
struct Tables {
  uint16_t* weight;
  uint16_t* leftBit;
  uint16_t* rightBit;
  uint8_t* leftPlace;
  uint8_t* rightPlace;
  uint8_t* leftMask;
  uint8_t* rightMask;
  uint16_t* window;
  uint16_t* firstByte;
  uint16_t* lastByte;
  uint64_t* inside;
  uint64_t* dealt;
  uint64_t* outcomes;
  uint8_t* doubtful;
  uint8_t* tails;
  uint8_t* pairs;
  uint64_t* below;
  uint64_t* doubts;
};

constexpr size_t kBlockSlots = kBilevelGroup * kBilevelBlock;
// Words of outcomes per block and class.
constexpr size_t kOutcomeWords = kMixedPatterns * kBilevelBlock;

// Per block: three tables of words and four of bytes per slot; per group up to four windows and two
// bounds, the slots inside and two rows' left and right bits; per class the outcomes and a flag.
constexpr size_t kBlockBytes = kBlockSlots * (3 * 2 + 4) + kBilevelBlock * ((4 + 2) * 2 + 5 * 8) +
                               kBilevelClasses * (kOutcomeWords * 8 + 1);

size_t StorageBytes(const BilevelPlan& plan) {
  return plan.blocks * (kBlockBytes + 2 * kBlockSlots + 16 * kBilevelBlock) + 2 * kTailBytes;
}

Tables Divide(unsigned char* block, size_t blocks) {
  const size_t groups = blocks * kBilevelBlock;
  const size_t slots = groups * kBilevelGroup;
  Tables t;
  t.pairs = block + blocks * kBlockBytes;
  t.below = reinterpret_cast<uint64_t*>(t.pairs + 2 * slots);
  t.doubts = t.below + groups;
  t.tails = reinterpret_cast<uint8_t*>(t.doubts + groups);
  t.outcomes = reinterpret_cast<uint64_t*>(block);
  t.dealt = t.outcomes + blocks * kBilevelClasses * kOutcomeWords;
  t.inside = t.dealt + groups * 4;
  t.weight = reinterpret_cast<uint16_t*>(t.inside + groups);
  t.leftBit = t.weight + slots;
  t.rightBit = t.leftBit + slots;
  t.leftPlace = reinterpret_cast<uint8_t*>(t.rightBit + slots);
  t.rightPlace = t.leftPlace + slots;
  t.leftMask = t.rightPlace + slots;
  t.rightMask = t.leftMask + slots;
  t.window = reinterpret_cast<uint16_t*>(t.rightMask + slots);
  t.firstByte = t.window + groups * 4;
  t.lastByte = t.firstByte + groups;
  t.doubtful = reinterpret_cast<uint8_t*>(t.lastByte + groups);
  return t;
}

// Two 16-bit numbers as one.
uint32_t Both(uint32_t left, uint32_t right) { return left | right << 16; }

// True for columns as the column table has them, which the kernels' arithmetic relies on: none
// before its predecessor, each with the next one beside it or the row's last with itself, fractions
// from 0 to 1. Looks at all of them; a branch per condition would cost more than the conditions.
bool AreRegular(const CPosition* columns, size_t count, uint16_t sourceWidth) {
  constexpr uint64_t kOne = std::bit_cast<uint64_t>(1.0);
  const uint32_t last = sourceWidth - 1u;
  uint32_t before = 0;
  uint32_t different = 0;
  uint32_t wrong = 0;
  for (size_t i = 0; i < count; ++i) {
    const CPosition& c = columns[i];
    const uint32_t left = c.leftColumn;
    const uint32_t wanted = Both(left, std::min(left + 1, last));
    different |= Both(left, c.rightColumn) ^ wanted;
    different |= Both(c.leftByte, c.rightByte) ^ (wanted >> 3 & Both(0x1FFF, 0x1FFF));
    wrong |= std::bit_cast<uint64_t>(c.fraction) > kOne ? 1u << 31 : 0u;
    wrong |= left - before;  // negative: its top bit is set
    before = left;
  }
  return different == 0 && wrong >> 31 == 0 && before < sourceWidth;
}

uint16_t WeightOf(const CPosition& c) {
  // With both bits the same one, any weight gives the same sum.
  if (c.leftColumn == c.rightColumn) return 0;
  return static_cast<uint16_t>(c.fraction * kFullWeight + 0.5);
}

// Columns count a byte's bits from its highest.
uint16_t BitOf(uint16_t column) { return static_cast<uint16_t>(column ^ 7); }

void FillSlot(const CPosition& c, size_t slot, const Tables& t) {
  t.weight[slot] = WeightOf(c);
  t.leftBit[slot] = BitOf(c.leftColumn);
  t.rightBit[slot] = BitOf(c.rightColumn);
}

// Slots beyond the last column repeat it.
void FillSlots(const BilevelPlan& plan, const Tables& t) {
  for (size_t i = 0; i < plan.count; ++i) FillSlot(plan.columns[i], BilevelColumn(i), t);
  for (size_t i = plan.count; i < plan.groups * kBilevelGroup; ++i) {
    FillSlot(plan.columns[plan.count - 1], BilevelColumn(i), t);
  }
}

// The bytes that `count` slots from `slot` on depend on. Columns are in order.
struct Bounds {
  uint16_t first;
  uint16_t last;
};

Bounds BoundsOf(const Tables& t, size_t slot, size_t count) {
  return {static_cast<uint16_t>(t.leftBit[BilevelColumn(slot)] / 8),
          static_cast<uint16_t>(t.rightBit[BilevelColumn(slot + count - 1)] / 8)};
}

void FillBounds(size_t groups, const Tables& t) {
  for (size_t group = 0; group < groups; ++group) {
    const Bounds bounds = BoundsOf(t, group * kBilevelGroup, kBilevelGroup);
    t.firstByte[group] = bounds.first;
    t.lastByte[group] = bounds.last;
  }
}

// Where a window of `size` bytes begins that holds the bounds and, if it can, ends inside the row.
uint16_t WindowStart(const Bounds& bounds, uint32_t rowBytes, uint32_t size) {
  const uint32_t latest = rowBytes > size ? rowBytes - size : 0;
  return static_cast<uint16_t>(std::min<uint32_t>(bounds.first, latest));
}

// False when a window does not hold what its slots depend on.
bool FillWindowsOf16(const BilevelPlan& plan, const Tables& t) {
  if (plan.rowBytes < 16) return false;
  for (size_t slot = 0; slot < plan.groups * kBilevelGroup; ++slot) {
    uint16_t& window = t.window[slot / kWindow16Slots];
    if (slot % kWindow16Slots == 0) {
      const Bounds bounds = BoundsOf(t, slot, kWindow16Slots);
      window = WindowStart(bounds, plan.rowBytes, 16);
      if (bounds.last - window >= 16) return false;
    }
    t.leftPlace[slot] = static_cast<uint8_t>(t.leftBit[slot] / 8 - window);
    t.rightPlace[slot] = static_cast<uint8_t>(t.rightBit[slot] / 8 - window);
    t.leftMask[slot] = static_cast<uint8_t>(1 << t.leftBit[slot] % 8);
    t.rightMask[slot] = static_cast<uint8_t>(1 << t.rightBit[slot] % 8);
  }
  return true;
}

// The column of a slot; slots beyond the last column repeat it.
const CPosition& ColumnOf(const BilevelPlan& plan, size_t slot) {
  return plan.columns[std::min(BilevelColumn(slot), plan.count - 1)];
}

// One eight of slots. False when they depend on more than eight bytes.
bool FillEight(const BilevelPlan& plan, const Tables& t, size_t window, size_t slot) {
  const size_t firstByte = ColumnOf(plan, BilevelColumn(slot)).leftByte;
  const size_t lastRight = ColumnOf(plan, BilevelColumn(slot + 7)).leftColumn + 1u;
  if (lastRight / 8 - firstByte >= 8) return false;
  // The eight bytes turned round make one word with the pixels from its highest bit on. Bytes past
  // the window are not depended on: the place wraps.
  constexpr uint64_t kEach = 0x0101010101010101;
  constexpr uint64_t kSteps = 0x0001020304050607;
  StoreLittle(t.leftPlace + slot, (kSteps + kEach * (firstByte - window)) & kEach * 63);
  for (size_t i = slot; i < slot + 8; ++i) {
    t.leftMask[i] = static_cast<uint8_t>(62 + firstByte * 8 - ColumnOf(plan, i).leftColumn);
  }
  return true;
}

// The first group that has a column with both bits the same one, or lies in a row too short for
// windows: its windows lie in the row's tail.
uint32_t FirstTailGroup(const BilevelPlan& plan, uint16_t lastColumn) {
  if (plan.rowBytes < kTailBytes) return 0;
  const CPosition* end = plan.columns + plan.count;
  const CPosition* first = std::partition_point(
      plan.columns, end, [=](const CPosition& c) { return c.leftColumn < lastColumn; });
  if (first == end) return plan.groups;
  return static_cast<uint32_t>(static_cast<size_t>(first - plan.columns) / kBilevelGroup);
}

// The bytes that the groups depend on. The answer: how many the widest does.
uint32_t FillGroupBounds(const BilevelPlan& plan, const Tables& t) {
  uint32_t widest = 0;
  for (size_t group = 0; group < plan.groups; ++group) {
    const size_t slot = group * kBilevelGroup;
    t.firstByte[group] = ColumnOf(plan, BilevelColumn(slot)).leftByte;
    t.lastByte[group] = ColumnOf(plan, BilevelColumn(slot + kBilevelGroup - 1)).rightByte;
    widest = std::max(widest, t.lastByte[group] - t.firstByte[group] + 1u);
  }
  return widest;
}

// False when a window does not hold what its slots depend on.
bool FillWindowsOf64(BilevelPlan& plan, const Tables& t, uint16_t sourceWidth) {
  plan.tailGroup = FirstTailGroup(plan, static_cast<uint16_t>(sourceWidth - 1));
  plan.tailStart = plan.rowBytes < kTailBytes ? 0 : plan.rowBytes - (kTailBytes - 1u);
  const uint32_t widest = FillGroupBounds(plan, t);
  if (widest > kTailBytes - 1) return false;
  plan.windowBytes = widest <= 16 ? 16 : widest <= 32 ? 32 : 64;
  for (size_t group = 0; group < plan.groups; ++group) {
    t.window[group] =
        static_cast<uint16_t>(group < plan.tailGroup ? WindowStart({t.firstByte[group], 0},
                                                                   plan.rowBytes, plan.windowBytes)
                                                     : plan.tailStart);
    for (size_t eight = 0; eight < kBilevelGroup; eight += 8) {
      if (!FillEight(plan, t, t.window[group], group * kBilevelGroup + eight)) return false;
    }
  }
  return true;
}

// Steps beyond so many would leave the codes too few.
constexpr size_t kMostSteps = 2048;
// How far from its step a fraction may lie that follows from the ratio of two resolutions.
constexpr double kNearStep = 0x1p-21;

BilevelScale ScaleOf(uint32_t parts, double slack) {
  const uint32_t factor = std::min<uint32_t>(65536, ((kBilevelCodes << 16) + parts) / (parts + 1));
  return {static_cast<double>(parts), slack, static_cast<int32_t>(factor)};
}

// The first column after column 0 that lies on a pixel tells into how many parts the columns divide
// one. Without it the steps are 65535ths.
BilevelScale GuessScale(const BilevelPlan& plan) {
  const size_t limit = std::min(plan.count, kMostSteps + 1);
  for (size_t i = 1; i < limit; ++i) {
    const double fraction = plan.columns[i].fraction;
    if (fraction < kNearStep / kMostSteps || fraction > 1 - kNearStep / kMostSteps) {
      return ScaleOf(static_cast<uint32_t>(i), 2 * kNearStep);
    }
  }
  return ScaleOf(kFullWeight, 0.75);
}

// Whether all fractions are as near to their steps as the scale has it.
bool FillCodes(const BilevelPlan& plan, const BilevelScale& scale, const Tables& t) {
  double farthest = 0;
  for (size_t slot = 0; slot < plan.groups * kBilevelGroup; ++slot) {
    const double place = ColumnOf(plan, slot).fraction * scale.parts;
    const int step = static_cast<int>(place + 0.5);
    farthest = std::max(farthest, std::fabs(place - step));
    const int code = scale.CodeOf(step);
    t.rightMask[slot] = static_cast<uint8_t>(code / 2);
    t.rightPlace[slot] = static_cast<uint8_t>(~code & 1);
  }
  return 2 * farthest <= scale.slack || scale.slack > 0.5;
}

void ScaleColumns(BilevelPlan& plan, const Tables& t) {
  plan.scale = GuessScale(plan);
  if (FillCodes(plan, plan.scale, t)) return;
  plan.scale = ScaleOf(kFullWeight, 0.75);
  FillCodes(plan, plan.scale, t);
}

void PointTo(const Tables& t, BilevelPlan& plan) {
  plan.firstByte = t.firstByte;
  plan.lastByte = t.lastByte;
  plan.weight = t.weight;
  plan.leftBit = t.leftBit;
  plan.rightBit = t.rightBit;
  plan.window = t.window;
  plan.leftPlace = t.leftPlace;
  plan.rightPlace = t.rightPlace;
  plan.leftMask = t.leftMask;
  plan.rightMask = t.rightMask;
  plan.place = t.leftPlace;
  plan.bit = t.leftMask;
  plan.code = t.rightMask;
  plan.isEven = t.rightPlace;
  plan.below = t.below;
  plan.doubts = t.doubts;
}

// The weighed darkness w stands for w / 257 grey levels. Rounding the weights and dropping the
// products' low halves leaves it less than 3.5 below and less than 1.5 above the true one.
void SetLimits(BilevelPlan& plan) {
  const int level = plan.threshold * 257;
  plan.lower = static_cast<uint16_t>(level - 3);
  plan.upper = static_cast<uint16_t>(std::min(level + 2, 65535));
}

uint64_t SlotsInside(size_t columns) {
  uint64_t slots = 0;
  for (size_t i = 0; i < columns; ++i) slots |= uint64_t{1} << BilevelColumn(i);
  return slots;
}

void FillInside(BilevelPlan& plan, const Tables& t) {
  for (size_t group = 0; group < plan.blocks * kBilevelBlock; ++group) {
    const bool isWhole = group + 1 < plan.groups;
    t.inside[group] = isWhole ? ~uint64_t{0} : group + 1 == plan.groups ? plan.lastGroup : 0;
  }
  plan.inside = t.inside;
}

// Nothing is dealt or known yet. Groups beyond the last stay light.
void ClearMemory(BilevelPlan& plan, const Tables& t) {
  const size_t groups = plan.blocks * kBilevelBlock;
  std::memset(t.dealt, 0, groups * 4 * sizeof *t.dealt);
  for (size_t i = 0; i < 2; ++i) {
    uint64_t* bits = t.dealt + i * 2 * groups;
    unsigned char* tail = t.tails + i * kTailBytes;
    std::memset(tail, 0, kTailBytes);
    plan.dealt[i] = {.source = nullptr,
                     .tone = BilevelTone::kMixed,
                     .isDealt = false,
                     .isPaired = false,
                     .left = bits,
                     .right = bits + groups,
                     .pairs = t.pairs + i * plan.blocks * kBlockSlots,
                     .tail = tail,
                     .firstDark = 0,
                     .lastDark = 0};
  }
  plan.outcomeStorage = t.outcomes;
  plan.doubtfulStorage = t.doubtful;
}

void SetSize(BilevelPlan& plan, uint16_t sourceWidth) {
  plan.rowBytes = (sourceWidth + 7u) / 8;
  plan.lastByteMask = static_cast<unsigned char>(0xFF << (plan.rowBytes * 8 - sourceWidth));
  plan.groups = static_cast<uint32_t>((plan.count + kBilevelGroup - 1) / kBilevelGroup);
  plan.blocks = static_cast<uint32_t>((plan.groups + kBilevelBlock - 1) / kBilevelBlock);
  plan.lastGroup = SlotsInside(plan.count - (plan.groups - 1) * kBilevelGroup);
}

// The tables of kernels that pick and weigh single bits. False when they cannot pick these.
bool FillBits(const BilevelPlan& plan, BilevelPicking picking, const Tables& t) {
  FillSlots(plan, t);
  FillBounds(plan.groups, t);
  return picking != BilevelPicking::kWindowOf16 || FillWindowsOf16(plan, t);
}

// The tables of the kernels, or of the portable ones, which can pick any bits.
const BilevelKernels& FillTables(BilevelPlan& plan, const BilevelKernels& kernels,
                                 uint16_t sourceWidth, const Tables& t) {
  if (kernels.picking == BilevelPicking::kWindowOf64 && FillWindowsOf64(plan, t, sourceWidth)) {
    ScaleColumns(plan, t);
    return kernels;
  }
  return FillBits(plan, kernels.picking, t) && kernels.picking != BilevelPicking::kWindowOf64
             ? kernels
             : kPortableBilevelKernels;
}

}  // namespace

BilevelPlan PrepareBilevelPlan(const CPosition* columns, size_t count, uint16_t sourceWidth,
                               bool setIsDark, int threshold, const BilevelKernels& kernels) {
  BilevelPlan plan;
  plan.columns = columns;
  plan.count = count;
  plan.setIsDark = setIsDark;
  plan.threshold = threshold;
  if (threshold <= 0 || threshold > 255 || count == 0) {
    plan.form = threshold > 255 ? BilevelForm::kEverything : BilevelForm::kNothing;
    return plan;
  }
  if (!AreRegular(columns, count, sourceWidth)) return plan;
  SetSize(plan, sourceWidth);
  plan.storage.reset(static_cast<unsigned char*>(
      ::operator new (StorageBytes(plan), std::align_val_t{kBilevelGroup}, std::nothrow)));
  if (plan.storage == nullptr) return plan;
  const Tables tables = Divide(plan.storage.get(), plan.blocks);
  FillInside(plan, tables);
  ClearMemory(plan, tables);
  SetLimits(plan);
  PointTo(tables, plan);
  plan.kernels = FillTables(plan, kernels, sourceWidth, tables);
  plan.form = BilevelForm::kMixed;
  return plan;
}

}  // namespace dibkit::resolution
