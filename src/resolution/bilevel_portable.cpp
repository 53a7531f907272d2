// SPDX-License-Identifier: Apache-2.0
//
// Without any CPU's intrinsics: bits are picked one by one, the arithmetic is written for the
// compiler to vectorise.
#include "resolution/bilevel_plan.h"

namespace dibkit::resolution {
namespace {

// The four bits of every slot of a group, set for dark: left and right of the first row in bits 0
// and 1, of the second row in bits 2 and 3.
using Patterns = uint16_t[kBilevelGroup];

// One bit for each slot of a group.
uint64_t PickBits(const unsigned char* source, const uint16_t* bits) {
  uint64_t slots = 0;
  for (size_t eight = 0; eight < kBilevelGroup; eight += 8) {
    unsigned picked = 0;
    for (size_t i = 0; i < 8; ++i) {
      const unsigned bit = bits[eight + i];
      picked |= (static_cast<unsigned>(source[bit / 8]) >> bit % 8 & 1) << i;
    }
    slots |= uint64_t{picked} << eight;
  }
  return slots;
}

void DealRow(const BilevelPlan& plan, const DealtRow& row) {
  const unsigned char* source = row.source;
  const uint64_t light = plan.setIsDark ? 0 : ~uint64_t{0};
  size_t flatEnd = 0;
  for (size_t group = 0; group < plan.groups; ++group) {
    const size_t first = plan.firstByte[group];
    if (plan.lastByte[group] >= flatEnd && first >= flatEnd) {
      flatEnd = FlatEnd(source, first, plan.rowBytes);
    }
    if (plan.lastByte[group] < flatEnd) {
      row.left[group] = row.right[group] = (source[first] != 0 ? ~uint64_t{0} : 0) ^ light;
    } else {
      const size_t slot = group * kBilevelGroup;
      row.left[group] = PickBits(source, plan.leftBit + slot) ^ light;
      row.right[group] = PickBits(source, plan.rightBit + slot) ^ light;
    }
  }
}

void SpreadPatterns(const FourBits& bits, Patterns& patterns) {
  for (size_t slot = 0; slot < kBilevelGroup; ++slot) {
    const auto bit = [slot](uint64_t slots) { return static_cast<unsigned>(slots >> slot & 1); };
    patterns[slot] = static_cast<uint16_t>(bit(bits.leftA) | bit(bits.rightA) << 1 |
                                           bit(bits.leftB) << 2 | bit(bits.rightB) << 3);
  }
}

// All ones if the bit is set.
uint16_t Spread(uint16_t pattern, unsigned bit) {
  return static_cast<uint16_t>(0 - (pattern >> bit & 1));
}

// The high half of a product.
uint16_t Scale(uint16_t value, uint16_t weight) {
  return static_cast<uint16_t>(uint32_t{value} * weight >> 16);
}

void Weigh(const uint16_t* weight, const BilevelRow& row, const Patterns& patterns,
           uint16_t (&darkness)[kBilevelGroup]) {
  for (size_t slot = 0; slot < kBilevelGroup; ++slot) {
    const uint16_t right = weight[slot];
    const auto left = static_cast<uint16_t>(~right);
    const uint16_t p = patterns[slot];
    const auto sumA = static_cast<uint16_t>((Spread(p, 0) & left) + (Spread(p, 1) & right));
    const auto sumB = static_cast<uint16_t>((Spread(p, 2) & left) + (Spread(p, 3) & right));
    darkness[slot] = static_cast<uint16_t>(Scale(sumA, row.weightA) + Scale(sumB, row.weightB));
  }
}

// Eight flags, each 0 or 1, as bits: the first flag is the lowest bit.
uint64_t PackEight(const uint8_t* flags) {
  uint64_t word = 0;
  for (unsigned i = 0; i < 8; ++i) word |= uint64_t{flags[i]} << 8 * i;
  return word * 0x0102040810204080u >> 56;
}

// The slots that `flags` marks.
uint64_t Pack(const uint8_t (&flags)[kBilevelGroup]) {
  uint64_t slots = 0;
  for (size_t eight = 0; eight < 8; ++eight) slots |= PackEight(flags + eight * 8) << eight * 8;
  return slots;
}

uint64_t Below(const uint16_t (&darkness)[kBilevelGroup], uint16_t limit) {
  uint8_t flags[kBilevelGroup];
  for (size_t slot = 0; slot < kBilevelGroup; ++slot) flags[slot] = darkness[slot] < limit ? 1 : 0;
  return Pack(flags);
}

BilevelVerdict JudgeGroup(const BilevelPlan& plan, const BilevelRow& row, size_t group,
                          const FourBits& bits) {
  Patterns patterns;
  uint16_t darkness[kBilevelGroup];
  SpreadPatterns(bits, patterns);
  Weigh(plan.weight + group * kBilevelGroup, row, patterns, darkness);
  return {Below(darkness, plan.lower), Below(darkness, plan.upper)};
}

void Judge(const BilevelPlan& plan, const BilevelRow& row, size_t group,
           BilevelVerdict (&verdicts)[kMixedPatterns]) {
  for (size_t i = 0; i < kMixedPatterns; ++i) {
    verdicts[i] = JudgeGroup(plan, row, group, Everywhere(i + 1));
  }
}

void WeighRow(const BilevelPlan& plan, const BilevelRow& row, const SourceRows& rows, DealtRow& a,
              DealtRow& b, size_t from, size_t to, unsigned char* out) {
  for (size_t group = from; group < to; ++group) {
    const FourBits bits = BitsOf(a, b, group);
    if (bits.AnyDark() == 0) {
      SetGroup(plan, group, ~uint64_t{0}, out);
    } else if (bits.AllDark() != ~uint64_t{0}) {
      SetJudgedGroup(plan, rows, group, bits, JudgeGroup(plan, row, group, bits), out);
    }
  }
}

// `set` where the selector's bit is set, `clear` elsewhere.
uint64_t Select(uint64_t selector, uint64_t set, uint64_t clear) {
  return clear ^ (selector & (set ^ clear));
}

// The outcomes of one group: row A's bits choose among the four patterns that share row B's, whose
// bits then choose among the four choices.
uint64_t CombineGroup(const uint64_t* outcomes, const FourBits& bits) {
  uint64_t choices[4];
  for (size_t fours = 0; fours < 4; ++fours) {
    const auto known = [&](size_t i) {
      const size_t pattern = fours * 4 + i;
      if (pattern == 0) return ~uint64_t{0};
      return pattern == 15 ? 0 : outcomes[(pattern - 1) * kBilevelBlock];
    };
    choices[fours] = Select(bits.rightA, Select(bits.leftA, known(3), known(2)),
                            Select(bits.leftA, known(1), known(0)));
  }
  return Select(bits.rightB, Select(bits.leftB, choices[3], choices[2]),
                Select(bits.leftB, choices[1], choices[0]));
}

void CombineRow(const BilevelPlan& plan, const BilevelOutcomes& outcomes, const DealtRow& a,
                const DealtRow& b, unsigned char* out) {
  for (size_t group = 0; group < plan.groups; ++group) {
    const size_t block = group / kBilevelBlock;
    if (outcomes.doubtful[block] != 0) continue;
    const uint64_t* slots =
        outcomes.slots + block * kMixedPatterns * kBilevelBlock + group % kBilevelBlock;
    SetGroup(plan, group, CombineGroup(slots, BitsOf(a, b, group)), out);
  }
}

}  // namespace

const BilevelKernels kPortableBilevelKernels = {.picking = BilevelPicking::kSingly,
                                                .weighsDealt = true,
                                                .place = PlaceByWeights,
                                                .read = ReadTone,
                                                .deal = DealRow,
                                                .judge = Judge,
                                                .combine = CombineRow,
                                                .weigh = WeighRow};

}  // namespace dibkit::resolution
