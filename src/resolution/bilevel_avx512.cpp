// SPDX-License-Identifier: Apache-2.0
#include "resolution/bilevel_plan.h"

#ifdef __x86_64__

#include <algorithm>

#include "common/simd.h"

#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"  // g++ 12 sees it in its own intrinsics
#endif

// AVX-512 with byte permutations (VBMI) and bit selection (BITALG): 64 output bits at a time. Rows
// without outcomes are not weighed here but told by their breaks. A pattern's number in them has
// the right bit before the left one.

#define DIBKIT_AVX512_BITS \
  __attribute__((target("avx512f,avx512bw,avx512dq,avx512vl,avx512vbmi,avx512bitalg")))
#define DIBKIT_AVX512_BITS_INLINE                                                      \
  __attribute__((target("avx512f,avx512bw,avx512dq,avx512vl,avx512vbmi,avx512bitalg"), \
                 always_inline)) inline

namespace dibkit::resolution {
namespace {

// The first `count` bytes of a register.
DIBKIT_AVX512_BITS_INLINE __mmask64 Bytes(size_t count) {
  return count >= 64 ? ~uint64_t{0} : (uint64_t{1} << count) - 1;
}

// Keeps the end of a row, with its last pixel once more. It is stored in one piece, so that it can
// be loaded in one before it has reached the cache.
DIBKIT_AVX512_BITS_INLINE void KeepTail(const BilevelPlan& plan, const DealtRow& row) {
  const size_t last = plan.rowBytes - 1 - plan.tailStart;
  const unsigned mask = plan.lastByteMask;
  const unsigned lowest = mask & (0 - mask);
  const unsigned pixels = row.source[plan.rowBytes - 1] & mask;
  // The bit after the lowest of the mask may be the next byte's highest.
  const unsigned both = pixels << 8 | (pixels & lowest) << 7;
  const __mmask64 at = uint64_t{1} << last;
  __m512i tail = _mm512_maskz_loadu_epi8(at - 1, row.source + plan.tailStart);
  tail = _mm512_mask_set1_epi8(tail, at, static_cast<char>(both >> 8));
  tail = _mm512_mask_set1_epi8(tail, at << 1, static_cast<char>(both & 0xFF));
  _mm512_store_si512(row.tail, tail);
}

// Whether all pixels are dark, for rows whose first byte is.
DIBKIT_AVX512_BITS_INLINE bool IsDark(const BilevelPlan& plan, const DealtRow& row) {
  const size_t whole = plan.rowBytes - 1;
  const __m512i dark = _mm512_set1_epi8(static_cast<char>(row.source[0]));
  if (!EndsAsItBegins(plan, row.source)) return false;
  for (size_t at = 0; at < whole; at += 64) {
    const __mmask64 inside = Bytes(whole - at);
    const __m512i bytes = _mm512_maskz_loadu_epi8(inside, row.source + at);
    if (_mm512_mask_cmpneq_epi8_mask(inside, bytes, dark) != 0) return false;
  }
  return true;
}

DIBKIT_AVX512_BITS_INLINE BilevelTone ToneOf(const BilevelPlan& plan, const DealtRow& row) {
  if (row.firstDark > row.lastDark) return BilevelTone::kLight;
  const unsigned char dark = plan.setIsDark ? 0xFF : 0;
  const bool isDark = row.source[0] == dark && plan.rowBytes > 1 && IsDark(plan, row);
  return isDark ? BilevelTone::kDark : BilevelTone::kMixed;
}

// Keeps up with rows that are read at equal distances. Addresses outside the image do no harm.
DIBKIT_AVX512_BITS_INLINE void Fetch(const unsigned char* from, size_t ahead) {
  const uintptr_t address = reinterpret_cast<uintptr_t>(from) + ahead;
  _mm_prefetch(reinterpret_cast<const char*>(address), _MM_HINT_T0);
}

DIBKIT_AVX512_BITS BilevelTone ReadRow(const BilevelPlan& plan, DealtRow& row) {
  const __m512i light = _mm512_set1_epi8(plan.setIsDark ? 0 : -1);
  const __m512i whole = _mm512_set1_epi8(-1);
  const __m512i last = _mm512_mask_set1_epi8(whole, uint64_t{1} << (plan.rowBytes - 1) % 64,
                                             static_cast<char>(plan.lastByteMask));
  row.firstDark = UINT32_MAX;
  row.lastDark = 0;
  for (uint32_t at = 0; at < plan.rowBytes; at += 64) {
    Fetch(row.source + at, plan.readAhead);
    const __mmask64 inside = Bytes(plan.rowBytes - at);
    const __m512i bytes = _mm512_xor_si512(_mm512_maskz_loadu_epi8(inside, row.source + at), light);
    const uint64_t dark =
        _mm512_mask_test_epi8_mask(inside, bytes, plan.rowBytes - at <= 64 ? last : whole);
    if (dark == 0) continue;
    row.firstDark = std::min(row.firstDark, at + static_cast<uint32_t>(__builtin_ctzll(dark)));
    row.lastDark = at + 63 - static_cast<uint32_t>(__builtin_clzll(dark));
  }
  KeepTail(plan, row);
  return ToneOf(plan, row);
}

// The first bytes of a register, whatever follows them.
template <unsigned kBytes>
DIBKIT_AVX512_BITS_INLINE __m512i LoadWindow(const unsigned char* from) {
  if constexpr (kBytes == 16) {
    return _mm512_castsi128_si512(_mm_loadu_si128(reinterpret_cast<const __m128i*>(from)));
  } else if constexpr (kBytes == 32) {
    return _mm512_castsi256_si512(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(from)));
  } else {
    return _mm512_loadu_si512(from);
  }
}

// The pixels of groups, set for dark, dealt out to their eights of slots. `start`: where in the row
// `bytes` lies.
class Eights {
 public:
  DIBKIT_AVX512_BITS_INLINE Eights(const BilevelPlan& plan, const unsigned char* bytes,
                                   size_t start)
      : light_(_mm512_set1_epi8(plan.setIsDark ? 0 : -1)),
        window_(plan.window),
        place_(plan.place),
        bytes_(bytes),
        start_(start) {}

  template <unsigned kBytes>
  DIBKIT_AVX512_BITS_INLINE __m512i Of(size_t group) const {
    const __m512i window = LoadWindow<kBytes>(bytes_ + (window_[group] - start_));
    return _mm512_permutexvar_epi8(_mm512_load_si512(place_ + group * kBilevelGroup),
                                   _mm512_xor_si512(window, light_));
  }

 private:
  __m512i light_;
  const uint16_t* window_;
  const uint8_t* place_;
  const unsigned char* bytes_;
  size_t start_;
};

// Calls Maker::Make for the groups of a row. Loads of no more than a window cross fewer cache
// lines.
template <typename Maker>
DIBKIT_AVX512_BITS_INLINE void ForGroups(const BilevelPlan& plan, const DealtRow& row) {
  const Eights eights(plan, row.source, 0);
  if (plan.windowBytes == 16) {
    Maker::template Make<16>(plan, row, eights, 0, plan.tailGroup);
  } else if (plan.windowBytes == 32) {
    Maker::template Make<32>(plan, row, eights, 0, plan.tailGroup);
  } else {
    Maker::template Make<64>(plan, row, eights, 0, plan.tailGroup);
  }
  const Eights inTail(plan, row.tail, plan.tailStart);
  Maker::template Make<kTailBytes>(plan, row, inTail, plan.tailGroup, plan.groups);
}

// The left and the right bits. Here and below, stores may change anything that is not local as far
// as the compiler knows, so the tables' places are local.
struct LeftAndRight {
  template <unsigned kBytes>
  DIBKIT_AVX512_BITS_INLINE static void Make(const BilevelPlan& plan, const DealtRow& row,
                                             const Eights& eights, size_t from, size_t to) {
    const uint8_t* const bits = plan.bit;
    uint64_t* const lefts = row.left;
    uint64_t* const rights = row.right;
    const __m512i one = _mm512_set1_epi8(1);
    for (size_t group = from; group < to; ++group) {
      const __m512i bytes = eights.Of<kBytes>(group);
      const __m512i right = _mm512_load_si512(bits + group * kBilevelGroup);
      rights[group] = _mm512_bitshuffle_epi64_mask(bytes, right);
      lefts[group] = _mm512_bitshuffle_epi64_mask(bytes, _mm512_add_epi8(right, one));
    }
  }
};

DIBKIT_AVX512_BITS void DealRow(const BilevelPlan& plan, const DealtRow& row) {
  ForGroups<LeftAndRight>(plan, row);
}

// Both bits in pairs, to be put together to patterns: the right one in bit 0 of its slot's byte,
// the left one in bit 1, and both once more in bits 2 and 3.
struct Pairs {
  template <unsigned kBytes>
  DIBKIT_AVX512_BITS_INLINE static void Make(const BilevelPlan& plan, const DealtRow& row,
                                             const Eights& eights, size_t from, size_t to) {
    const uint8_t* const bits = plan.bit;
    uint8_t* const pairs = row.pairs;
    const __m512i three = _mm512_set1_epi8(3);
    for (size_t group = from; group < to; ++group) {
      const size_t slot = group * kBilevelGroup;
      const __m512i pair =
          _mm512_multishift_epi64_epi8(_mm512_load_si512(bits + slot), eights.Of<kBytes>(group));
      const __m512i high = _mm512_slli_epi16(pair, 2);
      _mm512_store_si512(pairs + slot, _mm512_ternarylogic_epi64(three, pair, high, 0xCA));
    }
  }
};

DIBKIT_AVX512_BITS_INLINE void Pair(const BilevelPlan& plan, DealtRow& row) {
  if (row.isPaired) return;
  row.isPaired = true;
  ForGroups<Pairs>(plan, row);
}

// The samples of the sixteen patterns, one of the four bits each.
struct PatternSamples {
  alignas(64) float of[4][16];
};

constexpr PatternSamples SamplesOfPatterns() {
  PatternSamples samples{};
  for (unsigned bit = 0; bit < 4; ++bit) {
    for (unsigned i = 0; i < 16; ++i) samples.of[bit][i] = (i >> bit & 1) != 0 ? 255.0F : 0.0F;
  }
  return samples;
}

constexpr PatternSamples kSamples = SamplesOfPatterns();
constexpr float kClearInSingle = 0x1p-12F;  // as kClearOfThreshold, and for single precision

DIBKIT_AVX512_BITS_INLINE __m512 All(float value) { return _mm512_set1_ps(value); }

// The darkness at one side of the patterns.
DIBKIT_AVX512_BITS_INLINE __m512 SideOf(unsigned bitA, unsigned bitB, __m512 fy) {
  const __m512 a = _mm512_load_ps(kSamples.of[bitA]);
  const __m512 b = _mm512_load_ps(kSamples.of[bitB]);
  return _mm512_add_ps(a, _mm512_mul_ps(_mm512_sub_ps(b, a), fy));
}

DIBKIT_AVX512_BITS_INLINE __m512i CodesOf(__m512 steps, int32_t factor) {
  const __m512i products =
      _mm512_mullo_epi32(_mm512_cvttps_epi32(steps), _mm512_set1_epi32(factor));
  return _mm512_srai_epi32(products, 16);
}

DIBKIT_AVX512_BITS_INLINE void StoreBytes(__m512i words, uint8_t (&bytes)[16]) {
  _mm_store_si128(reinterpret_cast<__m128i*>(bytes), _mm512_cvtepi32_epi8(words));
}

// Codes in the two parts that Below takes.
DIBKIT_AVX512_BITS_INLINE void StoreLimits(__m512i codes, __mmask16 falls, BilevelLimits& limits) {
  const __m512i odd = _mm512_and_si512(codes, _mm512_set1_epi32(1));
  StoreBytes(_mm512_sub_epi32(_mm512_set1_epi32(255), _mm512_srli_epi32(codes, 1)), limits.coarse);
  StoreBytes(_mm512_mask_add_epi32(odd, falls, odd, _mm512_set1_epi32(0x80)), limits.fine);
}

// The darkness of a pattern grows or falls steadily from its left to its right side. It is clear
// of the threshold for steps that are farther from where it meets it than the slack and all
// rounding; steps in between are doubtful.
DIBKIT_AVX512_BITS BilevelRow Place(const BilevelPlan& plan, double fy) {
  const auto threshold = static_cast<float>(plan.threshold);
  const auto parts = static_cast<float>(plan.scale.parts);
  const __m512 left = SideOf(1, 3, All(static_cast<float>(fy)));
  const __m512 right = SideOf(0, 2, All(static_cast<float>(fy)));
  const __m512 growth = _mm512_sub_ps(right, left);
  const __m512 perLevel = _mm512_div_ps(All(parts), growth);
  const __m512 meets = _mm512_mul_ps(_mm512_sub_ps(All(threshold), left), perLevel);
  const __m512 slack = _mm512_add_ps(All(static_cast<float>(plan.scale.slack)),
                                     _mm512_abs_ps(_mm512_mul_ps(perLevel, All(kClearInSingle))));
  // Where nothing grows these are no numbers, for which the second operand is the answer.
  const __m512 last = _mm512_max_ps(_mm512_floor_ps(_mm512_sub_ps(meets, slack)), All(-1));
  const __m512 first = _mm512_min_ps(_mm512_ceil_ps(_mm512_add_ps(meets, slack)), All(parts + 1));
  const __m512 past = _mm512_min_ps(_mm512_add_ps(last, All(1)), All(parts + 1));
  const __m512i before = CodesOf(past, plan.scale.factor);
  const __m512i notAfter = _mm512_add_epi32(
      CodesOf(_mm512_sub_ps(_mm512_max_ps(first, All(0)), All(1)), plan.scale.factor),
      _mm512_set1_epi32(1));
  // Patterns that do not meet the threshold. Four dark bits are as dark as can be.
  const __mmask16 isBelow =
      _mm512_cmp_ps_mask(_mm512_max_ps(left, right), All(threshold - kClearInSingle), _CMP_LT_OQ);
  const __mmask16 isOver = 0x8000 | _mm512_cmp_ps_mask(_mm512_min_ps(left, right),
                                                       All(threshold + kClearInSingle), _CMP_GT_OQ);
  const __mmask16 meet = static_cast<__mmask16>(~(isBelow | isOver));
  const __m512i flat = _mm512_maskz_set1_epi32(isBelow, kBilevelCodes);
  BilevelRow row;
  row.weightA = row.weightB = 0;
  row.falls = _mm512_mask_cmp_ps_mask(meet, growth, All(0), _CMP_LT_OQ);
  row.hasDoubts = _mm512_mask_cmpneq_epi32_mask(meet, before, notAfter) != 0;
  StoreLimits(_mm512_mask_mov_epi32(flat, meet, before), row.falls, row.before);
  StoreLimits(_mm512_mask_mov_epi32(flat, meet, notAfter), row.falls, row.after);
  _mm512_storeu_si512(row.stepsBefore, _mm512_cvttps_epi32(past));
  _mm512_storeu_si512(row.stepsAfter, _mm512_cvttps_epi32(first));
  return row;
}

// A row's limits, for patterns to look up.
struct LimitTables {
  __m512i coarse;
  __m512i fine;
};

DIBKIT_AVX512_BITS_INLINE __m512i Sixteen(const uint8_t (&bytes)[16]) {
  return _mm512_broadcast_i32x4(_mm_load_si128(reinterpret_cast<const __m128i*>(bytes)));
}

DIBKIT_AVX512_BITS_INLINE LimitTables TablesOf(const BilevelLimits& limits) {
  return {Sixteen(limits.coarse), Sixteen(limits.fine)};
}

// The codes of 64 slots.
struct Codes {
  __m512i coarse;  // half of it
  __m512i isEven;  // 1 or 0
};

DIBKIT_AVX512_BITS_INLINE Codes CodesAt(const uint8_t* coarse, const uint8_t* isEven) {
  return {_mm512_load_si512(coarse), _mm512_load_si512(isEven)};
}

// The slots below the threshold, if every break is where `limits` has it. A slot's half code is
// compared with half the limit, and one more if only the limit is odd. The average of a byte and
// of 255 minus another has its top bit set if the first is not below the second; a comparison would
// crowd the port that the shuffles need.
DIBKIT_AVX512_BITS_INLINE __mmask64 Below(const Codes& codes, __m512i patterns,
                                          const LimitTables& limits) {
  const __m512i fine = _mm512_permutexvar_epi8(patterns, limits.fine);
  const __m512i coarse = _mm512_permutexvar_epi8(patterns, limits.coarse);
  const __m512i inverted = _mm512_sub_epi8(coarse, _mm512_and_si512(fine, codes.isEven));
  const __m512i notBefore = _mm512_avg_epu8(codes.coarse, inverted);
  return _knot_mask64(_mm512_movepi8_mask(_mm512_xor_si512(notBefore, fine)));
}

DIBKIT_AVX512_BITS void Judge(const BilevelPlan& plan, const BilevelRow& row, size_t group,
                              BilevelVerdict (&verdicts)[kMixedPatterns]) {
  const size_t slot = group * kBilevelGroup;
  const Codes codes = CodesAt(plan.code + slot, plan.isEven + slot);
  const LimitTables before = TablesOf(row.before);
  const LimitTables after = TablesOf(row.after);
  for (size_t pattern = 1; pattern <= kMixedPatterns; ++pattern) {
    const size_t turned = (pattern & 5) << 1 | (pattern & 10) >> 1;
    const __m512i everywhere = _mm512_set1_epi8(static_cast<char>(turned));
    const uint64_t one = Below(codes, everywhere, before);
    const uint64_t other = row.hasDoubts ? Below(codes, everywhere, after) : one;
    verdicts[pattern - 1] = {one & other, one | other};
  }
}

// The next row of the result is read, too: bits are only ever set.
DIBKIT_AVX512_BITS_INLINE void FetchResult(const BilevelPlan& plan, const unsigned char* out) {
  for (size_t at = 0; at < plan.groups * 8; at += 64) Fetch(out + at, plan.makeAhead);
}

// The patterns of 64 slots by their pairs.
DIBKIT_AVX512_BITS_INLINE __m512i PatternsOf(const uint8_t* pairsA, const uint8_t* pairsB) {
  return _mm512_ternarylogic_epi64(_mm512_set1_epi8(3), _mm512_load_si512(pairsA),
                                   _mm512_load_si512(pairsB), 0xCA);
}

// Weighs groups `from` to `to` - 1; doubts are looked for where a row has any.
template <bool kHasDoubts>
DIBKIT_AVX512_BITS_INLINE void WeighGroups(const BilevelPlan& plan, const BilevelRow& row,
                                           const DealtRow& a, const DealtRow& b, size_t from,
                                           size_t to) {
  const LimitTables before = TablesOf(row.before);
  const LimitTables after = TablesOf(row.after);
  const uint8_t* const coarse = plan.code;
  const uint8_t* const isEven = plan.isEven;
  const uint8_t* const pairsA = a.pairs;
  const uint8_t* const pairsB = b.pairs;
  uint64_t* const below = plan.below;
  uint64_t* const doubts = plan.doubts;
  for (size_t group = from; group < to; ++group) {
    const size_t slot = group * kBilevelGroup;
    const Codes codes = CodesAt(coarse + slot, isEven + slot);
    const __m512i patterns = PatternsOf(pairsA + slot, pairsB + slot);
    const __mmask64 slots = Below(codes, patterns, before);
    below[group] = slots;
    if (kHasDoubts) doubts[group] = _kxor_mask64(slots, Below(codes, patterns, after));
  }
}

// Decides a doubtful slot by its step, or else plainly.
bool IsBelow(const BilevelPlan& plan, const BilevelRow& row, const SourceRows& rows,
             const DealtRow& a, const DealtRow& b, size_t slot) {
  const CPosition& column = plan.columns[BilevelColumn(slot)];
  const unsigned pattern = (a.pairs[slot] & 3u) | (b.pairs[slot] & 12u);
  const auto step = static_cast<int>(column.fraction * plan.scale.parts + 0.5);
  const bool falls = (row.falls >> pattern & 1) != 0;
  if (step < row.stepsBefore[pattern]) return !falls;
  if (step >= row.stepsAfter[pattern]) return falls;
  unsigned char bit = 0;
  MakeBilevelLine(&column, 1, plan.setIsDark, plan.threshold, rows, &bit);
  return bit != 0;
}

void Settle(const BilevelPlan& plan, const BilevelRow& row, const SourceRows& rows,
            const DealtRow& a, const DealtRow& b, size_t group) {
  for (uint64_t left = InsideRow(plan, group, plan.doubts[group]); left != 0; left &= left - 1) {
    const auto slot = static_cast<size_t>(__builtin_ctzll(left));
    const uint64_t bit = left & (0 - left);
    const bool isBelow = IsBelow(plan, row, rows, a, b, group * kBilevelGroup + slot);
    plan.below[group] = (plan.below[group] & ~bit) | (isBelow ? bit : 0);
  }
}

DIBKIT_AVX512_BITS_INLINE void SettleGroups(const BilevelPlan& plan, const BilevelRow& row,
                                            const SourceRows& rows, const DealtRow& a,
                                            const DealtRow& b, size_t from, size_t to) {
  for (size_t group = from; group < to; group += 8) {
    const __m512i doubts = _mm512_loadu_si512(plan.doubts + group);
    const auto inside = static_cast<__mmask8>(Bytes(to - group));
    unsigned left = _mm512_mask_test_epi64_mask(inside, doubts, doubts);
    for (; left != 0; left &= left - 1) {
      Settle(plan, row, rows, a, b, group + static_cast<size_t>(__builtin_ctz(left)));
    }
  }
}

// Sets the bits of the eight groups from `group` on; some may be beyond the row.
DIBKIT_AVX512_BITS_INLINE void SetGroups(const BilevelPlan& plan, size_t group, __m512i slots,
                                         unsigned char* out) {
  const __m512i inside = _mm512_load_si512(plan.inside + group);
  const __mmask64 bytes = Bytes((plan.count + 7) / 8 - group * 8);
  const __m512i before = _mm512_maskz_loadu_epi8(bytes, out + group * 8);
  _mm512_mask_storeu_epi8(out + group * 8, bytes,
                          _mm512_or_si512(before, _mm512_and_si512(slots, inside)));
}

DIBKIT_AVX512_BITS void WeighRow(const BilevelPlan& plan, const BilevelRow& row,
                                 const SourceRows& rows, DealtRow& a, DealtRow& b, size_t from,
                                 size_t to, unsigned char* out) {
  const size_t firstDark = std::min(a.firstDark, b.firstDark);
  const size_t lastDark = std::max(a.lastDark, b.lastDark);
  const size_t firstBlock = from / kBilevelBlock;
  const size_t endBlock = (to + kBilevelBlock - 1) / kBilevelBlock;
  Pair(plan, a);
  Pair(plan, b);
  FetchResult(plan, out);
  for (; from < to && plan.lastByte[from] < firstDark; ++from) plan.below[from] = ~uint64_t{0};
  for (; from < to && plan.firstByte[to - 1] > lastDark; --to) plan.below[to - 1] = ~uint64_t{0};
  if (row.hasDoubts) {
    WeighGroups<true>(plan, row, a, b, from, to);
    SettleGroups(plan, row, rows, a, b, from, to);
  } else {
    WeighGroups<false>(plan, row, a, b, from, to);
  }
  for (size_t block = firstBlock; block < endBlock; ++block) {
    const size_t group = block * kBilevelBlock;
    SetGroups(plan, group, _mm512_load_si512(plan.below + group), out);
  }
}

// `set` where the selector's bit is set, `clear` elsewhere.
DIBKIT_AVX512_BITS_INLINE __m512i Select(__m512i selector, __m512i set, __m512i clear) {
  return _mm512_ternarylogic_epi64(selector, set, clear, 0xCA);
}

// The outcomes of one block: row A's bits choose among the four patterns that share row B's, whose
// bits then choose among the four choices.
DIBKIT_AVX512_BITS_INLINE __m512i CombineBlock(const uint64_t* outcomes, __m512i leftA,
                                               __m512i rightA, __m512i leftB, __m512i rightB) {
  __m512i choices[4];
  for (size_t fours = 0; fours < 4; ++fours) {
    __m512i known[4];
    for (size_t i = 0; i < 4; ++i) {
      const size_t pattern = fours * 4 + i;
      known[i] = pattern == 0    ? _mm512_set1_epi64(-1)
                 : pattern == 15 ? _mm512_setzero_si512()
                                 : _mm512_load_si512(outcomes + (pattern - 1) * kBilevelBlock);
    }
    choices[fours] =
        Select(rightA, Select(leftA, known[3], known[2]), Select(leftA, known[1], known[0]));
  }
  return Select(rightB, Select(leftB, choices[3], choices[2]),
                Select(leftB, choices[1], choices[0]));
}

DIBKIT_AVX512_BITS void CombineRow(const BilevelPlan& plan, const BilevelOutcomes& outcomes,
                                   const DealtRow& a, const DealtRow& b, unsigned char* out) {
  FetchResult(plan, out);
  for (size_t block = 0; block < plan.blocks; ++block) {
    if (outcomes.doubtful[block] != 0) continue;
    const size_t group = block * kBilevelBlock;
    const __m512i slots =
        CombineBlock(outcomes.slots + block * kMixedPatterns * kBilevelBlock,
                     _mm512_load_si512(a.left + group), _mm512_load_si512(a.right + group),
                     _mm512_load_si512(b.left + group), _mm512_load_si512(b.right + group));
    SetGroups(plan, group, slots, out);
  }
}

}  // namespace

const BilevelKernels kAvx512BilevelKernels = {.picking = BilevelPicking::kWindowOf64,
                                              .weighsDealt = false,
                                              .place = Place,
                                              .read = ReadRow,
                                              .deal = DealRow,
                                              .judge = Judge,
                                              .combine = CombineRow,
                                              .weigh = WeighRow};

}  // namespace dibkit::resolution

#endif
