// SPDX-License-Identifier: Apache-2.0
#include "resolution/bilevel_plan.h"

#ifdef __x86_64__

#include "common/simd.h"

#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"  // g++ 12 sees it in its own intrinsics
#endif

// AVX-512 with byte permutations (VBMI) and bit selection (BITALG): 64 output bits at a time.

#define DIBKIT_AVX512_BITS __attribute__((target("avx512f,avx512bw,avx512vbmi,avx512bitalg")))
#define DIBKIT_AVX512_BITS_INLINE \
  __attribute__((target("avx512f,avx512bw,avx512vbmi,avx512bitalg"), always_inline)) inline

namespace dibkit::resolution {
namespace {

// What a row's arithmetic needs in every lane.
struct RowLanes {
  __m512i weightA;
  __m512i weightB;
  __m512i lower;
  __m512i upper;
};

DIBKIT_AVX512_BITS_INLINE __m512i Word(uint16_t value) {
  return _mm512_set1_epi16(static_cast<short>(value));
}

DIBKIT_AVX512_BITS_INLINE RowLanes MakeRowLanes(const BilevelPlan& plan, const BilevelRow& row) {
  return {Word(row.weightA), Word(row.weightB), Word(plan.lower), Word(plan.upper)};
}

// The first `count` bytes of a register.
DIBKIT_AVX512_BITS_INLINE __mmask64 Bytes(size_t count) {
  return count >= 64 ? ~uint64_t{0} : (uint64_t{1} << count) - 1;
}

// IsFlatRow, 64 bytes at a time.
DIBKIT_AVX512_BITS_INLINE bool IsFlat(const BilevelPlan& plan, const unsigned char* source) {
  const unsigned char first = source[0];
  const size_t whole = plan.rowBytes - 1;
  if ((first != 0 && first != 0xFF) || whole == 0 || !EndsAsItBegins(plan, source)) return false;
  const __m512i same = _mm512_set1_epi8(static_cast<char>(first));
  for (size_t at = 0; at < whole; at += 64) {
    const __mmask64 inside = Bytes(whole - at);
    const __m512i bytes = _mm512_maskz_loadu_epi8(inside, source + at);
    if (_mm512_mask_cmpneq_epi8_mask(inside, bytes, same) != 0) return false;
  }
  return true;
}

void FillBits(const BilevelPlan& plan, const DealtRow& row, bool isDark) {
  std::memset(row.left, isDark ? 0xFF : 0, plan.groups * sizeof *row.left);
  std::memset(row.right, isDark ? 0xFF : 0, plan.groups * sizeof *row.right);
}

DIBKIT_AVX512_BITS BilevelTone DealRow(const BilevelPlan& plan, const unsigned char* source,
                                       const DealtRow& row) {
  if (IsFlat(plan, source)) {
    const bool isDark = (source[0] != 0) == plan.setIsDark;
    FillBits(plan, row, isDark);
    return ToneOf(isDark);
  }
  const __m512i light = _mm512_set1_epi8(plan.setIsDark ? 0 : -1);
  const __mmask64 inWindow = Bytes(plan.rowBytes);
  for (size_t group = 0; group < plan.groups; ++group) {
    const size_t slot = group * kBilevelGroup;
    const __m512i window = _mm512_maskz_loadu_epi8(inWindow, source + plan.window[group]);
    const __m512i eights = _mm512_permutexvar_epi8(_mm512_load_si512(plan.leftPlace + slot),
                                                   _mm512_xor_si512(window, light));
    row.left[group] = _mm512_bitshuffle_epi64_mask(eights, _mm512_load_si512(plan.leftMask + slot));
    row.right[group] =
        _mm512_bitshuffle_epi64_mask(eights, _mm512_load_si512(plan.rightMask + slot));
  }
  return BilevelTone::kMixed;
}

// The weighed darkness of 32 pairs of bits.
DIBKIT_AVX512_BITS_INLINE __m512i Weigh(__m512i weight, uint32_t left, uint32_t right) {
  const __m512i other = _mm512_maskz_sub_epi16(left, _mm512_set1_epi16(-1), weight);
  return _mm512_mask_add_epi16(other, right, other, weight);
}

// Half a group, from bit `shift` on.
DIBKIT_AVX512_BITS_INLINE BilevelVerdict JudgeHalf(const RowLanes& lanes, const uint16_t* weights,
                                                   const FourBits& bits, unsigned shift) {
  const __m512i weight = _mm512_load_si512(weights + shift);
  const auto half = [shift](uint64_t slots) { return static_cast<uint32_t>(slots >> shift); };
  const __m512i sumA = Weigh(weight, half(bits.leftA), half(bits.rightA));
  const __m512i sumB = Weigh(weight, half(bits.leftB), half(bits.rightB));
  const __m512i darkness = _mm512_add_epi16(_mm512_mulhi_epu16(sumA, lanes.weightA),
                                            _mm512_mulhi_epu16(sumB, lanes.weightB));
  return {uint64_t{_mm512_cmplt_epu16_mask(darkness, lanes.lower)} << shift,
          uint64_t{_mm512_cmplt_epu16_mask(darkness, lanes.upper)} << shift};
}

DIBKIT_AVX512_BITS_INLINE BilevelVerdict JudgeGroup(const BilevelPlan& plan, const RowLanes& lanes,
                                                    size_t group, const FourBits& bits) {
  const uint16_t* weights = plan.weight + group * kBilevelGroup;
  const BilevelVerdict low = JudgeHalf(lanes, weights, bits, 0);
  const BilevelVerdict high = JudgeHalf(lanes, weights, bits, 32);
  return {low.sure | high.sure, low.maybe | high.maybe};
}

// What the four patterns of a row's two bits contribute to 32 slots' darkness.
struct Shares {
  __m512i of[4];
};

DIBKIT_AVX512_BITS_INLINE Shares SharesOf(__m512i weight, __m512i rowWeight) {
  const __m512i full = _mm512_set1_epi16(-1);
  return {{_mm512_setzero_si512(), _mm512_mulhi_epu16(_mm512_sub_epi16(full, weight), rowWeight),
           _mm512_mulhi_epu16(weight, rowWeight), _mm512_mulhi_epu16(full, rowWeight)}};
}

DIBKIT_AVX512_BITS void Judge(const BilevelPlan& plan, const BilevelRow& row, size_t group,
                              BilevelVerdict (&verdicts)[kMixedPatterns]) {
  const RowLanes lanes = MakeRowLanes(plan, row);
  for (BilevelVerdict& verdict : verdicts) verdict = {0, 0};
  for (unsigned shift = 0; shift < 64; shift += 32) {
    const __m512i weight = _mm512_load_si512(plan.weight + group * kBilevelGroup + shift);
    const Shares a = SharesOf(weight, lanes.weightA);
    const Shares b = SharesOf(weight, lanes.weightB);
    for (size_t pattern = 1; pattern <= kMixedPatterns; ++pattern) {
      const __m512i darkness = _mm512_add_epi16(a.of[pattern % 4], b.of[pattern / 4]);
      BilevelVerdict& verdict = verdicts[pattern - 1];
      verdict.sure |= uint64_t{_mm512_cmplt_epu16_mask(darkness, lanes.lower)} << shift;
      verdict.maybe |= uint64_t{_mm512_cmplt_epu16_mask(darkness, lanes.upper)} << shift;
    }
  }
}

DIBKIT_AVX512_BITS void WeighRow(const BilevelPlan& plan, const BilevelRow& row,
                                 const SourceRows& rows, const DealtRow& a, const DealtRow& b,
                                 size_t from, size_t to, unsigned char* out) {
  const RowLanes lanes = MakeRowLanes(plan, row);
  for (size_t group = from; group < to; ++group) {
    const FourBits bits = BitsOf(a, b, group);
    if (bits.AnyDark() == 0) {
      SetGroup(plan, group, ~uint64_t{0}, out);
    } else if (bits.AllDark() != ~uint64_t{0}) {
      SetJudgedGroup(plan, rows, group, bits, JudgeGroup(plan, lanes, group, bits), out);
    }
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
  const size_t outBytes = (plan.count + 7) / 8;
  for (size_t block = 0; block < plan.blocks; ++block) {
    if (outcomes.doubtful[block] != 0) continue;
    const size_t group = block * kBilevelBlock;
    const __m512i slots =
        CombineBlock(outcomes.slots + block * kMixedPatterns * kBilevelBlock,
                     _mm512_load_si512(a.left + group), _mm512_load_si512(a.right + group),
                     _mm512_load_si512(b.left + group), _mm512_load_si512(b.right + group));
    const __m512i inside = _mm512_load_si512(plan.inside + group);
    const __mmask64 bytes = Bytes(outBytes - group * 8);
    const __m512i before = _mm512_maskz_loadu_epi8(bytes, out + group * 8);
    _mm512_mask_storeu_epi8(out + group * 8, bytes,
                            _mm512_or_si512(before, _mm512_and_si512(slots, inside)));
  }
}

}  // namespace

const BilevelKernels kAvx512BilevelKernels = {BilevelPicking::kWindowOf64, DealRow, Judge,
                                              CombineRow, WeighRow};

}  // namespace dibkit::resolution

#endif
