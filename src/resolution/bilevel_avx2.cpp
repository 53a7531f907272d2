// SPDX-License-Identifier: Apache-2.0
#include "resolution/bilevel_plan.h"

#ifdef DIBKIT_X86

#include "common/simd.h"

// AVX2: bits are picked 32 at a time, weighed 16 at a time and combined 256 at a time.

#define DIBKIT_AVX2 __attribute__((target("avx2")))
#define DIBKIT_AVX2_INLINE __attribute__((target("avx2"), always_inline)) inline

namespace dibkit::resolution {
namespace {

constexpr size_t kWindowSlots = 16;

// What a row's arithmetic needs in every lane.
struct RowLanes {
  __m256i weightA;
  __m256i weightB;
  __m256i lower;
  __m256i upper;
};

DIBKIT_AVX2_INLINE __m256i Word(uint16_t value) {
  return _mm256_set1_epi16(static_cast<short>(value));
}

DIBKIT_AVX2_INLINE RowLanes MakeRowLanes(const BilevelPlan& plan, const BilevelRow& row) {
  return {Word(row.weightA), Word(row.weightB), Word(plan.lower), Word(plan.upper)};
}

DIBKIT_AVX2_INLINE __m128i Load16(const void* from) {
  return _mm_loadu_si128(static_cast<const __m128i*>(from));
}

DIBKIT_AVX2_INLINE __m256i Load32(const void* from) {
  return _mm256_load_si256(static_cast<const __m256i*>(from));
}

// The set bits among 32 slots, whose windows are the halves of a register.
DIBKIT_AVX2_INLINE uint64_t PickBits(__m256i windows, const uint8_t* place, const uint8_t* mask) {
  const __m256i bits = Load32(mask);
  const __m256i bytes = _mm256_shuffle_epi8(windows, Load32(place));
  const __m256i set = _mm256_cmpeq_epi8(_mm256_and_si256(bytes, bits), bits);
  return static_cast<uint32_t>(_mm256_movemask_epi8(set));
}

DIBKIT_AVX2_INLINE void DealGroup(const BilevelPlan& plan, const unsigned char* source,
                                  size_t group, const DealtRow& row) {
  const uint64_t light = plan.setIsDark ? 0 : ~uint64_t{0};
  uint64_t left = 0;
  uint64_t right = 0;
  for (unsigned half = 0; half < 64; half += 32) {
    const size_t slot = group * kBilevelGroup + half;
    const uint16_t* window = plan.window + slot / kWindowSlots;
    const __m256i windows =
        _mm256_set_m128i(Load16(source + window[1]), Load16(source + window[0]));
    left |= PickBits(windows, plan.leftPlace + slot, plan.leftMask + slot) << half;
    right |= PickBits(windows, plan.rightPlace + slot, plan.rightMask + slot) << half;
  }
  row.left[group] = left ^ light;
  row.right[group] = right ^ light;
}

DIBKIT_AVX2 void DealRow(const BilevelPlan& plan, const DealtRow& row) {
  for (size_t group = 0; group < plan.groups; ++group) DealGroup(plan, row.source, group, row);
}

// Words of all ones for the slots that are set.
DIBKIT_AVX2_INLINE __m256i Spread(uint64_t slots, unsigned first) {
  const __m256i bits = _mm256_set_epi16(-32768, 16384, 8192, 4096, 2048, 1024, 512, 256, 128, 64,
                                        32, 16, 8, 4, 2, 1);
  const __m256i word = _mm256_set1_epi16(static_cast<short>(slots >> first & 0xFFFF));
  return _mm256_cmpeq_epi16(_mm256_and_si256(word, bits), bits);
}

// The weighed darkness of 16 pairs of bits.
DIBKIT_AVX2_INLINE __m256i Weigh(__m256i weight, __m256i left, __m256i right) {
  return _mm256_add_epi16(_mm256_andnot_si256(weight, left), _mm256_and_si256(weight, right));
}

DIBKIT_AVX2_INLINE __m256i Darkness(const RowLanes& lanes, const uint16_t* weights,
                                    const FourBits& bits, unsigned first) {
  const __m256i weight = Load32(weights + first);
  const __m256i sumA = Weigh(weight, Spread(bits.leftA, first), Spread(bits.rightA, first));
  const __m256i sumB = Weigh(weight, Spread(bits.leftB, first), Spread(bits.rightB, first));
  return _mm256_add_epi16(_mm256_mulhi_epu16(sumA, lanes.weightA),
                          _mm256_mulhi_epu16(sumB, lanes.weightB));
}

// The slots of two sixteens that are below the limit.
DIBKIT_AVX2_INLINE uint64_t Below(__m256i first, __m256i second, __m256i limit) {
  const __m256i notFirst = _mm256_cmpeq_epi16(_mm256_max_epu16(first, limit), first);
  const __m256i notSecond = _mm256_cmpeq_epi16(_mm256_max_epu16(second, limit), second);
  const __m256i bytes =
      _mm256_permute4x64_epi64(_mm256_packs_epi16(notFirst, notSecond), _MM_SHUFFLE(3, 1, 2, 0));
  return static_cast<uint32_t>(~_mm256_movemask_epi8(bytes));
}

DIBKIT_AVX2_INLINE BilevelVerdict JudgeGroup(const BilevelPlan& plan, const RowLanes& lanes,
                                             size_t group, const FourBits& bits) {
  const uint16_t* weights = plan.weight + group * kBilevelGroup;
  BilevelVerdict verdict{0, 0};
  for (unsigned half = 0; half < 64; half += 32) {
    const __m256i first = Darkness(lanes, weights, bits, half);
    const __m256i second = Darkness(lanes, weights, bits, half + 16);
    verdict.sure |= Below(first, second, lanes.lower) << half;
    verdict.maybe |= Below(first, second, lanes.upper) << half;
  }
  return verdict;
}

DIBKIT_AVX2 void Judge(const BilevelPlan& plan, const BilevelRow& row, size_t group,
                       BilevelVerdict (&verdicts)[kMixedPatterns]) {
  const RowLanes lanes = MakeRowLanes(plan, row);
  for (size_t i = 0; i < kMixedPatterns; ++i) {
    verdicts[i] = JudgeGroup(plan, lanes, group, Everywhere(i + 1));
  }
}

DIBKIT_AVX2 void WeighRow(const BilevelPlan& plan, const BilevelRow& row, const SourceRows& rows,
                          DealtRow& a, DealtRow& b, size_t from, size_t to, unsigned char* out) {
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
DIBKIT_AVX2_INLINE __m256i Select(__m256i selector, __m256i set, __m256i clear) {
  return _mm256_xor_si256(clear, _mm256_and_si256(selector, _mm256_xor_si256(set, clear)));
}

// The outcomes of four groups: row A's bits choose among the four patterns that share row B's,
// whose bits then choose among the four choices.
DIBKIT_AVX2_INLINE __m256i CombineFour(const uint64_t* outcomes, __m256i leftA, __m256i rightA,
                                       __m256i leftB, __m256i rightB) {
  __m256i choices[4];
  for (size_t fours = 0; fours < 4; ++fours) {
    __m256i known[4];
    for (size_t i = 0; i < 4; ++i) {
      const size_t pattern = fours * 4 + i;
      known[i] = pattern == 0    ? _mm256_set1_epi64x(-1)
                 : pattern == 15 ? _mm256_setzero_si256()
                                 : Load32(outcomes + (pattern - 1) * kBilevelBlock);
    }
    choices[fours] =
        Select(rightA, Select(leftA, known[3], known[2]), Select(leftA, known[1], known[0]));
  }
  return Select(rightB, Select(leftB, choices[3], choices[2]),
                Select(leftB, choices[1], choices[0]));
}

// Sets the bits of the four groups from `group` on; some may be beyond the row.
DIBKIT_AVX2_INLINE void SetFour(const BilevelPlan& plan, size_t group, __m256i slots,
                                unsigned char* out) {
  if (group + 4 < plan.groups) {
    auto* at = reinterpret_cast<__m256i*>(out + group * 8);
    _mm256_storeu_si256(at, _mm256_or_si256(_mm256_loadu_si256(at), slots));
    return;
  }
  alignas(32) uint64_t words[4];
  _mm256_store_si256(reinterpret_cast<__m256i*>(words), slots);
  for (size_t i = 0; i < 4 && group + i < plan.groups; ++i) {
    SetGroup(plan, group + i, words[i], out);
  }
}

DIBKIT_AVX2 void CombineRow(const BilevelPlan& plan, const BilevelOutcomes& outcomes,
                            const DealtRow& a, const DealtRow& b, unsigned char* out) {
  for (size_t group = 0; group < plan.groups; group += 4) {
    const size_t block = group / kBilevelBlock;
    if (outcomes.doubtful[block] != 0) continue;
    const uint64_t* slots =
        outcomes.slots + block * kMixedPatterns * kBilevelBlock + group % kBilevelBlock;
    SetFour(plan, group,
            CombineFour(slots, Load32(a.left + group), Load32(a.right + group),
                        Load32(b.left + group), Load32(b.right + group)),
            out);
  }
}

}  // namespace

const BilevelKernels kAvx2BilevelKernels = {.picking = BilevelPicking::kWindowOf16,
                                            .weighsDealt = true,
                                            .place = PlaceByWeights,
                                            .read = ReadTone,
                                            .deal = DealRow,
                                            .judge = Judge,
                                            .combine = CombineRow,
                                            .weigh = WeighRow};

}  // namespace dibkit::resolution

#endif
