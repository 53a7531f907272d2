// SPDX-License-Identifier: Apache-2.0
//
// Fast 1-bit rows. An output bit depends on four source bits and the two fractions.
//
// Every source row is dealt out once into the left and the right bits of the output columns. The
// kernels weigh them in 16-bit integers, which settles nearly every pixel: only where the darkness
// comes out next to the threshold is the plain line maker asked for that pixel. Rows whose weights
// have come up before do not even weigh: for each of the 16 patterns of four bits a row of outcomes
// is kept, and a tree of selections reads them for hundreds of columns at a time. So the result is
// the plain one, bit for bit.
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

// A kernel's output bits come in groups of 64, one 8-byte word of the output row. Slot s of a group
// is bit s of that word read in little-endian order, so output column s ^ 7 of the group.
inline constexpr size_t kBilevelGroup = 64;
inline constexpr size_t BilevelColumn(size_t slot) { return slot ^ 7; }
// Groups that are combined at a time.
inline constexpr size_t kBilevelBlock = 8;
// Patterns of four bits whose outcome depends on the weights: neither all light nor all dark.
inline constexpr size_t kMixedPatterns = 14;
// How many rows of outcomes are kept.
inline constexpr size_t kBilevelClasses = 32;

// The vertical weights of one row, in 65536ths. Both are from 1 to 65535 and they add up.
struct BilevelRow {
  uint16_t weightA;
  uint16_t weightB;
};

enum class BilevelTone { kMixed, kLight, kDark };

// A source row dealt out to the output columns, a bit per slot, set for dark.
struct DealtRow {
  const unsigned char* source;  // null while nothing is dealt
  BilevelTone tone;             // other than kMixed only if every bit is the same
  uint64_t* left;
  uint64_t* right;
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
  kWindowOf64,  // 64 output bits from 64 source bytes, each eight from eight consecutive ones
};

// Deals a source row out.
using DealKernel = BilevelTone (*)(const BilevelPlan& plan, const unsigned char* source,
                                   const DealtRow& row);
// Weighs one group with the same bits in every slot, for each mixed pattern: pattern i + 1 is that
// of Everywhere(i + 1).
using JudgeKernel = void (*)(const BilevelPlan& plan, const BilevelRow& row, size_t group,
                             BilevelVerdict (&verdicts)[kMixedPatterns]);
// Makes the output bits of a row by its outcomes, except in doubtful blocks.
using CombineKernel = void (*)(const BilevelPlan& plan, const BilevelOutcomes& outcomes,
                               const DealtRow& a, const DealtRow& b, unsigned char* out);
// Makes the output bits of groups `from` to `to` - 1 by weighing.
using WeighKernel = void (*)(const BilevelPlan& plan, const BilevelRow& row, const SourceRows& rows,
                             const DealtRow& a, const DealtRow& b, size_t from, size_t to,
                             unsigned char* out);

struct BilevelKernels {
  BilevelPicking picking;
  DealKernel deal;
  JudgeKernel judge;
  CombineKernel combine;
  WeighKernel weigh;
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
  // Per slot: the weight of the right bit in 65535ths.
  const uint16_t* weight = nullptr;
  // kSingly, per slot: both bits, counted from the lowest bit of the row's first byte.
  const uint16_t* leftBit = nullptr;
  const uint16_t* rightBit = nullptr;
  // kWindowOf16 and kWindowOf64, per window: its first source byte.
  const uint16_t* window = nullptr;
  // kWindowOf16, per slot: the byte of the window that holds the bit, and the bit's mask in it.
  // kWindowOf64: leftPlace deals the window's bytes out to the eights, the masks are bit numbers
  // within an eight's eight bytes, and rightPlace is not used.
  const uint8_t* leftPlace = nullptr;
  const uint8_t* rightPlace = nullptr;
  const uint8_t* leftMask = nullptr;
  const uint8_t* rightMask = nullptr;

  // Per group of all blocks: the slots that are inside the row.
  const uint64_t* inside = nullptr;

  DealtRow dealt[2] = {};
  BilevelOutcomes classes[kBilevelClasses] = {};
  size_t classCount = 0;
  size_t lastClass = 0;
  uint64_t* outcomeStorage = nullptr;
  uint8_t* doubtfulStorage = nullptr;

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

}  // namespace dibkit::resolution

#endif  // DIBKIT_SRC_RESOLUTION_BILEVEL_PLAN_H
