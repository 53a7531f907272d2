// SPDX-License-Identifier: Apache-2.0
//
// Fast 1-bit rows, bit for bit those of the plain line maker. An output bit depends on four source
// bits and the two fractions: source rows are dealt out to the output columns once, and a row's
// pixels are then told 64 or more at a time, by their darkness (weighing, breaks) or by a row of
// outcomes for each of the 16 patterns of four bits (combining). docs/arithmetic.md says why.
#ifndef DIBKIT_SRC_RESOLUTION_BILEVEL_PLAN_H
#define DIBKIT_SRC_RESOLUTION_BILEVEL_PLAN_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>

#include "Cnv_res_mem.h"
#include "common/cpu.h"
#include "resolution/lines.h"

namespace dibkit::resolution {

struct BilevelPlan;

// Grey levels between a darkness and the threshold that are more than such a difference and all
// rounding can bridge.
inline constexpr double kClearOfThreshold = 0x1p-22;

// A kernel's output bits come in groups of 64, one 8-byte word of the output row. Slot s of a group
// is bit s of that word read in little-endian order, so output column s ^ 7 of the group.
inline constexpr size_t kBilevelGroup = 64;
inline constexpr size_t BilevelColumn(size_t slot) { return slot ^ 7; }
// Bytes of a source row's tail, which ends a byte after the row.
inline constexpr uint32_t kTailBytes = 64;
// Groups that are combined at a time.
inline constexpr size_t kBilevelBlock = 8;
// Patterns of four bits whose outcome depends on the weights: neither all light nor all dark.
inline constexpr size_t kMixedPatterns = 14;
// How many rows of outcomes are kept.
inline constexpr size_t kBilevelClasses = 32;

// A code for each pattern, in two parts.
struct BilevelLimits {
  alignas(16) uint8_t coarse[16];  // 255 minus half of it
  alignas(16) uint8_t fine[16];    // bit 0: whether it is odd; bit 7: whether the pattern falls
};

// What a row's vertical fraction means to the kernels: either the weights, in 65536ths, both from 1
// to 65535 and adding up, or the breaks. A pattern's darkness rises or falls steadily from its left
// to its right pixel, so its break has the columns below the threshold on one side.
struct BilevelRow {
  uint16_t weightA;
  uint16_t weightB;
  // Per pattern, see BilevelScale: slots of lower codes, or steps, than the first lie before the
  // break, those from the second on lie after it. The slots in between are doubtful.
  BilevelLimits before;
  BilevelLimits after;
  int32_t stepsBefore[16];
  int32_t stepsAfter[16];
  uint16_t falls;  // the patterns that are below the threshold after their break, not before it
  bool hasDoubts;  // the codes of a pattern differ
};

enum class BilevelTone { kMixed, kLight, kDark };

// A source row as read, and dealt out to the output columns: a bit per slot, set for dark.
struct DealtRow {
  const unsigned char* source;  // null while nothing is read
  BilevelTone tone;             // other than kMixed only if every bit is the same
  bool isDealt;                 // `left` and `right` are made
  bool isPaired;                // `pairs` are
  uint64_t* left;
  uint64_t* right;
  // kWindowOf64: both bits again, a byte per slot; the row's last bytes, their last pixel twice;
  // the first and the last byte of the row with dark pixels, in the wrong order if there are none.
  uint8_t* pairs;
  unsigned char* tail;
  uint32_t firstDark;
  uint32_t lastDark;
};

// The four bits of a group's slots.
struct FourBits {
  uint64_t leftA;
  uint64_t rightA;
  uint64_t leftB;
  uint64_t rightB;

  uint64_t AllDark() const { return leftA & rightA & leftB & rightB; }
  uint64_t AnyDark() const { return leftA | rightA | leftB | rightB; }
};

inline FourBits BitsOf(const DealtRow& a, const DealtRow& b, size_t group) {
  return {a.left[group], a.right[group], b.left[group], b.right[group]};
}

// One of the 16 patterns of four bits for every slot alike.
inline FourBits Everywhere(size_t pattern) {
  const auto spread = [pattern](unsigned bit) { return 0 - uint64_t{pattern >> bit & 1}; };
  return {spread(0), spread(1), spread(2), spread(3)};
}

// The slots that are certainly, and those that may be, below the threshold.
struct BilevelVerdict {
  uint64_t sure;
  uint64_t maybe;
};

// What is known of the rows with about the same vertical fraction.
struct BilevelOutcomes {
  double fy;
  unsigned uses;
  const uint64_t* slots;    // [block][pattern - 1][kBilevelBlock], or null: not made yet
  const uint8_t* doubtful;  // [block]: a slot is within the limits for some pattern
};

// How a kernel picks bits out of a row.
enum class BilevelPicking {
  kSingly,      // bit by bit
  kWindowOf16,  // 16 output bits from 16 source bytes
  kWindowOf64,  // 64 output bits from up to 64 source bytes, each eight from eight consecutive ones
};

using PlaceKernel = BilevelRow (*)(const BilevelPlan& plan, double fy);
// Reads row.source and tells its tone.
using ReadKernel = BilevelTone (*)(const BilevelPlan& plan, DealtRow& row);
// Deals a row out that was read.
using DealKernel = void (*)(const BilevelPlan& plan, const DealtRow& row);
// Weighs one group with the same bits in every slot, for each mixed pattern: pattern i + 1 is that
// of Everywhere(i + 1).
using JudgeKernel = void (*)(const BilevelPlan& plan, const BilevelRow& row, size_t group,
                             BilevelVerdict (&verdicts)[kMixedPatterns]);
// Makes the output bits of a row by its outcomes, except in doubtful blocks.
using CombineKernel = void (*)(const BilevelPlan& plan, const BilevelOutcomes& outcomes,
                               const DealtRow& a, const DealtRow& b, unsigned char* out);
// Makes the output bits of groups `from` to `to` - 1 by weighing.
using WeighKernel = void (*)(const BilevelPlan& plan, const BilevelRow& row, const SourceRows& rows,
                             DealtRow& a, DealtRow& b, size_t from, size_t to, unsigned char* out);

struct BilevelKernels {
  BilevelPicking picking;
  bool weighsDealt;  // weighing takes the bits as dealt out
  PlaceKernel place;
  ReadKernel read;
  DealKernel deal;
  JudgeKernel judge;
  CombineKernel combine;
  WeighKernel weigh;
};

// Horizontal fractions as codes below kBilevelCodes: fraction * parts is rounded to a step, from 0
// to parts, and step s has code s * factor >> 16, which never decreases and leaves none out.
inline constexpr uint32_t kBilevelCodes = 510;
struct BilevelScale {
  double parts;
  double slack;  // how far from its step a fraction * parts can be
  int32_t factor;

  int CodeOf(int step) const { return step * factor >> 16; }
};

// What decides a row's bits.
enum class BilevelForm {
  kPlain,       // the plain maker
  kNothing,     // no darkness is below the threshold
  kEverything,  // every darkness is
  kMixed,       // the kernel
};

// An image's 1-bit rows: what does not change from row to row, and what is remembered of the rows
// made so far.
struct BilevelPlan {
  BilevelForm form = BilevelForm::kPlain;
  BilevelKernels kernels{};
  const CPosition* columns = nullptr;  // the caller's
  size_t count = 0;                    // output columns
  bool setIsDark = false;
  int threshold = 0;
  uint32_t rowBytes = 0;           // source bytes that a row may be read for
  unsigned char lastByteMask = 0;  // the bits of a source row's last byte that are pixels
  uint32_t groups = 0;             // the last may be partly beyond the row
  uint32_t blocks = 0;             // of groups, likewise
  uint64_t lastGroup = 0;          // the slots of the last group that are inside
  uint16_t lower = 0;              // a weighed darkness below this is below the threshold,
  uint16_t upper = 0;              // one from here on is not

  // Per group: the first and the last source byte that it depends on.
  const uint16_t* firstByte = nullptr;
  const uint16_t* lastByte = nullptr;
  // kSingly and kWindowOf16, per slot: the weight of the right bit in 65535ths.
  const uint16_t* weight = nullptr;
  // kSingly and kWindowOf16, per slot: both bits, counted from the lowest bit of the row's first
  // byte.
  const uint16_t* leftBit = nullptr;
  const uint16_t* rightBit = nullptr;
  // kWindowOf16 and kWindowOf64, per window: its first source byte.
  const uint16_t* window = nullptr;
  // kWindowOf16, per slot: the byte of the window that holds the bit, and the bit's mask in it.
  const uint8_t* leftPlace = nullptr;
  const uint8_t* rightPlace = nullptr;
  const uint8_t* leftMask = nullptr;
  const uint8_t* rightMask = nullptr;
  // kWindowOf64, per slot: the byte of the window to put there, so that the bytes of each eight
  // make a word of 64 pixels, the first the highest; and the right bit's number in it. The left bit
  // is the next higher one.
  const uint8_t* place = nullptr;
  const uint8_t* bit = nullptr;
  // kWindowOf64: what windows need to hold, and the first group whose windows lie in the tail.
  uint32_t windowBytes = 0;
  uint32_t tailGroup = 0;
  uint32_t tailStart = 0;
  // kWindowOf64, per slot: half the code of the horizontal fraction, and whether it is even.
  const uint8_t* code = nullptr;
  const uint8_t* isEven = nullptr;
  BilevelScale scale{};
  // kWindowOf64, per group: the slots that are, and may not be, as their breaks have it.
  uint64_t* below = nullptr;
  uint64_t* doubts = nullptr;

  // Per group of all blocks: the slots that are inside the row.
  const uint64_t* inside = nullptr;

  DealtRow dealt[2] = {};
  BilevelOutcomes classes[kBilevelClasses] = {};
  size_t classCount = 0;
  size_t lastClass = 0;
  bool isCrowded = false;  // there are more than can be remembered, and none is
  uint64_t* outcomeStorage = nullptr;
  uint8_t* doubtfulStorage = nullptr;

  // How far ahead of what a row reads, and of what it makes, something can be fetched.
  uintptr_t lastRead = 0;
  uintptr_t lastMade = 0;
  size_t readAhead = 0;
  size_t makeAhead = 0;

  struct Free {
    void operator()(unsigned char* block) const {
      ::operator delete (block, std::align_val_t{kBilevelGroup});
    }
  };
  std::unique_ptr<unsigned char, Free> storage;
};

// `columns` must stay as they are while the plan is used. Without memory, and for columns that do
// not follow from a scale, the plan's form is kPlain.
BilevelPlan PrepareBilevelPlan(const CPosition* columns, size_t count, uint16_t sourceWidth,
                               bool setIsDark, int threshold, const BilevelKernels& kernels);

// Does what MakeBilevelLine does with the plan's columns, whatever the plan's form is. Source rows
// are remembered by their address.
void MakePlannedBilevelLine(BilevelPlan& plan, const SourceRows& rows, unsigned char* out);

// To be called when bytes of the source may have changed since a row was made.
void ForgetSourceRows(BilevelPlan& plan);

// A fraction as weights, for the families that weigh.
BilevelRow PlaceByWeights(const BilevelPlan& plan, double fy);

// The slots among `doubts` whose darkness is below the threshold, by the plain line maker.
uint64_t SettleBilevel(const BilevelPlan& plan, const SourceRows& rows, size_t group,
                       uint64_t doubts);

extern const BilevelKernels kPortableBilevelKernels;
#ifdef DIBKIT_X86
extern const BilevelKernels kAvx2BilevelKernels;
#endif
#ifdef __x86_64__
// Needs bit selection (BITALG), too. Its masks of 64 bits want registers as wide.
extern const BilevelKernels kAvx512BilevelKernels;
#endif

inline const BilevelKernels& BilevelKernelsFor(CpuLevel level) {
#ifdef __x86_64__
  if (level == CpuLevel::kAvx512) return kAvx512BilevelKernels;
#endif
#ifdef DIBKIT_X86
  if (level != CpuLevel::kPortable) return kAvx2BilevelKernels;
#endif
  static_cast<void>(level);
  return kPortableBilevelKernels;
}

// Sets the bits of a group's slots. Only the last group has fewer than eight bytes.
inline void SetGroup(const BilevelPlan& plan, size_t group, uint64_t slots, unsigned char* out) {
  unsigned char* at = out + group * 8;
  if (group + 1 < plan.groups) {
    uint64_t word;
    std::memcpy(&word, at, sizeof word);
    word |= slots;
    std::memcpy(at, &word, sizeof word);
    return;
  }
  slots &= plan.lastGroup;
  for (size_t left = (plan.count - group * kBilevelGroup + 7) / 8; left > 0; --left, slots >>= 8) {
    *at = static_cast<unsigned char>(*at | (slots & 0xFF));
    ++at;
  }
}

// The doubts of a group that are inside the row.
inline uint64_t InsideRow(const BilevelPlan& plan, size_t group, uint64_t slots) {
  return group + 1 < plan.groups ? slots : slots & plan.lastGroup;
}

// The bits of a group by what weighing found.
inline void SetJudgedGroup(const BilevelPlan& plan, const SourceRows& rows, size_t group,
                           const FourBits& bits, const BilevelVerdict& verdict,
                           unsigned char* out) {
  // Four dark bits are as dark as can be, whatever the weights.
  const uint64_t doubts = InsideRow(plan, group, verdict.maybe & ~verdict.sure & ~bits.AllDark());
  const uint64_t settled = doubts == 0 ? 0 : SettleBilevel(plan, rows, group, doubts);
  SetGroup(plan, group, verdict.sure | settled, out);
}

// The end of the stretch of bytes like the one at `from`, looked for up to byte `limit`. A byte
// that is neither 0 nor 255 is no stretch.
inline size_t FlatEnd(const unsigned char* row, size_t from, size_t limit) {
  const unsigned char first = row[from];
  if (first != 0 && first != 0xFF) return from;
  const uint64_t whole = first == 0 ? 0 : ~uint64_t{0};
  size_t end = from;
  for (; limit - end >= 8; end += 8) {
    uint64_t word;
    std::memcpy(&word, row + end, sizeof word);
    if (word != whole) break;
  }
  while (end < limit && row[end] == first) ++end;
  return end;
}

// Whether the last byte of a source row is like its first, in what are pixels.
inline bool EndsAsItBegins(const BilevelPlan& plan, const unsigned char* row) {
  return ((row[0] ^ row[plan.rowBytes - 1]) & plan.lastByteMask) == 0;
}

// Whether all pixels of a source row are the same, for rows of more than a byte.
inline bool IsFlatRow(const BilevelPlan& plan, const unsigned char* row) {
  const size_t whole = plan.rowBytes - 1;
  return whole > 0 && EndsAsItBegins(plan, row) && FlatEnd(row, 0, whole) == whole;
}

inline BilevelTone ToneOf(bool isDark) { return isDark ? BilevelTone::kDark : BilevelTone::kLight; }

// A read kernel that looks at nothing but the tone.
inline BilevelTone ReadTone(const BilevelPlan& plan, DealtRow& row) {
  if (!IsFlatRow(plan, row.source)) return BilevelTone::kMixed;
  return ToneOf((row.source[0] != 0) == plan.setIsDark);
}

}  // namespace dibkit::resolution

#endif  // DIBKIT_SRC_RESOLUTION_BILEVEL_PLAN_H
