// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cmath>

#include "resolution/bilevel_plan.h"

namespace dibkit::resolution {
namespace {

// Rows with the same weights before their outcomes are made, which costs as much as a few rows.
constexpr unsigned kUsesBeforeOutcomes = 3;

// Rows whose fractions are this close share their outcomes. Ideal fractions are at least 2^-16
// apart; what the rounding of a scale makes of one of them lies far closer.
constexpr double kSameFraction = 0x1p-32;
void SetEverything(size_t count, unsigned char* out) {
  std::memset(out, 0xFF, count / 8);
  if (count % 8 != 0) {
    out[count / 8] = static_cast<unsigned char>(out[count / 8] | (0xFF00 >> count % 8 & 0xFF));
  }
}

// A source row as read, in the place that does not hold row `keep`.
DealtRow& Read(BilevelPlan& plan, const unsigned char* source, const unsigned char* keep) {
  for (DealtRow& row : plan.dealt) {
    if (row.source == source) return row;
  }
  DealtRow& row = plan.dealt[plan.dealt[0].source == keep ? 1 : 0];
  row.source = source;
  row.isDealt = false;
  row.isPaired = false;
  plan.readAhead = 2 * (reinterpret_cast<uintptr_t>(source) - plan.lastRead);
  plan.lastRead = reinterpret_cast<uintptr_t>(source);
  row.tone = plan.kernels.read(plan, row);
  return row;
}

void Deal(const BilevelPlan& plan, DealtRow& row) {
  if (row.isDealt) return;
  row.isDealt = true;
  if (row.tone == BilevelTone::kMixed) {
    plan.kernels.deal(plan, row);
    return;
  }
  const int byte = row.tone == BilevelTone::kDark ? 0xFF : 0;
  std::memset(row.left, byte, plan.groups * sizeof *row.left);
  std::memset(row.right, byte, plan.groups * sizeof *row.right);
}

// The darkness of a pattern to about the precision of a double.
double DarknessOf(size_t pattern, double fx, double fy) {
  const auto sample = [pattern](unsigned bit) { return (pattern >> bit & 1) != 0 ? 255.0 : 0.0; };
  const double a = sample(0) + (sample(1) - sample(0)) * fx;
  const double b = sample(2) + (sample(3) - sample(2)) * fx;
  return a + (b - a) * fy;
}

// Looks at the doubtful slots of a verdict more closely: only those stay in doubt whose darkness
// is, to all appearance, the threshold.
BilevelVerdict Sharpen(const BilevelPlan& plan, size_t group, size_t pattern, double fy,
                       BilevelVerdict verdict) {
  const uint64_t doubts = InsideRow(plan, group, verdict.maybe & ~verdict.sure);
  verdict.maybe = verdict.sure;
  for (uint64_t left = doubts; left != 0; left &= left - 1) {
    const auto slot = static_cast<size_t>(__builtin_ctzll(left));
    const uint64_t bit = uint64_t{1} << slot;
    const CPosition& column = plan.columns[group * kBilevelGroup + BilevelColumn(slot)];
    const bool isSingle = column.leftColumn == column.rightColumn;
    const double over = DarknessOf(pattern, isSingle ? 0 : column.fraction, fy) - plan.threshold;
    if (over < kClearOfThreshold) verdict.maybe |= bit;
    if (over < -kClearOfThreshold) verdict.sure |= bit;
  }
  return verdict;
}

void MakeOutcomes(BilevelPlan& plan, const BilevelRow& row, size_t index) {
  uint64_t* slots = plan.outcomeStorage + index * plan.blocks * kMixedPatterns * kBilevelBlock;
  uint8_t* doubtful = plan.doubtfulStorage + index * plan.blocks;
  std::memset(doubtful, 0, plan.blocks);
  for (size_t group = 0; group < plan.groups; ++group) {
    const size_t block = group / kBilevelBlock;
    BilevelVerdict verdicts[kMixedPatterns];
    plan.kernels.judge(plan, row, group, verdicts);
    for (size_t i = 0; i < kMixedPatterns; ++i) {
      const BilevelVerdict verdict =
          Sharpen(plan, group, i + 1, plan.classes[index].fy, verdicts[i]);
      slots[(block * kMixedPatterns + i) * kBilevelBlock + group % kBilevelBlock] = verdict.sure;
      if (verdict.maybe != verdict.sure) doubtful[block] = 1;
    }
  }
  plan.classes[index].slots = slots;
  plan.classes[index].doubtful = doubtful;
}

// Where rows with this fraction are remembered; kBilevelClasses if there is no room. Fractions tend
// to come in turns, so the one after the last is tried first.
size_t ClassOf(BilevelPlan& plan, double fy) {
  const auto isSame = [&plan, fy](size_t i) {
    return std::fabs(plan.classes[i].fy - fy) <= kSameFraction;
  };
  const size_t next = plan.lastClass + 1 < plan.classCount ? plan.lastClass + 1 : 0;
  if (next < plan.classCount && isSame(next)) return next;
  for (size_t i = 0; i < plan.classCount; ++i) {
    if (isSame(i)) return i;
  }
  if (plan.classCount == kBilevelClasses) return kBilevelClasses;
  plan.classes[plan.classCount] = {fy, 0, nullptr, nullptr};
  return plan.classCount++;
}

// The outcomes for a row's fraction; null while they are not worth making.
const BilevelOutcomes* OutcomesOf(BilevelPlan& plan, double fy) {
  if (plan.isCrowded) return nullptr;
  const size_t index = ClassOf(plan, fy);
  if (index == kBilevelClasses) {
    plan.isCrowded = !plan.kernels.weighsDealt;
    return nullptr;
  }
  plan.lastClass = index;
  BilevelOutcomes& outcomes = plan.classes[index];
  if (outcomes.slots == nullptr) {
    if (++outcomes.uses < kUsesBeforeOutcomes) return nullptr;
    MakeOutcomes(plan, plan.kernels.place(plan, outcomes.fy), index);
  }
  return &outcomes;
}

// The blocks that combining left out.
void WeighDoubtfulBlocks(const BilevelPlan& plan, const BilevelOutcomes& outcomes,
                         const SourceRows& rows, DealtRow& a, DealtRow& b, unsigned char* out) {
  for (size_t block = 0; block < plan.blocks; ++block) {
    if (outcomes.doubtful[block] == 0) continue;
    const BilevelRow row = plan.kernels.place(plan, rows.fy);
    const size_t from = block * kBilevelBlock;
    const size_t to = std::min<size_t>(from + kBilevelBlock, plan.groups);
    plan.kernels.weigh(plan, row, rows, a, b, from, to, out);
  }
}

void MakeMixedRow(BilevelPlan& plan, const SourceRows& rows, unsigned char* out) {
  DealtRow& a = Read(plan, rows.rowA, rows.rowB);
  DealtRow& b = Read(plan, rows.rowB, rows.rowA);
  if (a.tone == b.tone && a.tone != BilevelTone::kMixed) {
    if (a.tone == BilevelTone::kLight) SetEverything(plan.count, out);
    return;
  }
  plan.makeAhead = reinterpret_cast<uintptr_t>(out) - plan.lastMade;
  plan.lastMade = reinterpret_cast<uintptr_t>(out);
  const BilevelOutcomes* outcomes = OutcomesOf(plan, rows.fy);
  if (outcomes != nullptr || plan.kernels.weighsDealt) {
    Deal(plan, a);
    Deal(plan, b);
  }
  if (outcomes != nullptr) {
    plan.kernels.combine(plan, *outcomes, a, b, out);
    WeighDoubtfulBlocks(plan, *outcomes, rows, a, b, out);
  } else {
    plan.kernels.weigh(plan, plan.kernels.place(plan, rows.fy), rows, a, b, 0, plan.groups, out);
  }
}

}  // namespace

void MakePlannedBilevelLine(BilevelPlan& plan, const SourceRows& rows, unsigned char* out) {
  const bool isFraction = rows.fy >= 0 && rows.fy <= 1;
  if (plan.form == BilevelForm::kPlain || !isFraction) {
    MakeBilevelLine(plan.columns, plan.count, plan.setIsDark, plan.threshold, rows, out);
  } else if (plan.form == BilevelForm::kEverything) {
    SetEverything(plan.count, out);
  } else if (plan.form == BilevelForm::kMixed) {
    // A row that lies on its first source row does not depend on the second.
    const auto* second = rows.fy == 0 ? rows.rowA : rows.rowB;
    MakeMixedRow(plan, {rows.fy, rows.rowA, second}, out);
  }
}

void ForgetSourceRows(BilevelPlan& plan) {
  for (DealtRow& row : plan.dealt) row.source = nullptr;
}

// Neither weight is 0, so that both fit in 16 bits.
BilevelRow PlaceByWeights(const BilevelPlan& /*plan*/, double fy) {
  BilevelRow row{};
  row.weightA =
      static_cast<uint16_t>(std::clamp(static_cast<int>((1 - fy) * 65536 + 0.5), 1, 65535));
  row.weightB = static_cast<uint16_t>(65536 - row.weightA);
  return row;
}

uint64_t SettleBilevel(const BilevelPlan& plan, const SourceRows& rows, size_t group,
                       uint64_t doubts) {
  uint64_t below = 0;
  for (uint64_t left = doubts; left != 0; left &= left - 1) {
    const auto slot = static_cast<size_t>(__builtin_ctzll(left));
    const CPosition* column = plan.columns + group * kBilevelGroup + BilevelColumn(slot);
    unsigned char bit = 0;
    MakeBilevelLine(column, 1, plan.setIsDark, plan.threshold, rows, &bit);
    below |= uint64_t{bit != 0} << slot;
  }
  return below;
}

}  // namespace dibkit::resolution
