// SPDX-License-Identifier: Apache-2.0

#include <algorithm>
#include <bit>

#include "common/simd.h"
#include "resolution/line_kernels.h"
#include "resolution/line_settle.h"

#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"  // g++ 12 sees it in its own intrinsics
#endif

// AVX-512 with byte permutations (VBMI). docs/arithmetic.md explains the numbers.

#define DIBKIT_AVX512 \
  __attribute__((target("avx512f,avx512bw,avx512vl,avx512dq,avx512vbmi,prfchw,popcnt")))
#define DIBKIT_AVX512_INLINE                                                            \
  __attribute__((target("avx512f,avx512bw,avx512vl,avx512dq,avx512vbmi,prfchw,popcnt"), \
                 always_inline)) inline

namespace dibkit::resolution {

namespace {

constexpr uint32_t kGroup = 32;  // output bytes of a group

// Those of the plan's tables and counts that a pass looks at: in a local of a row's own they stay
// in registers, for no store of output bytes can change them.
struct Tables {
  const uint32_t* offsets;
  const uint32_t* alike;
  const uint8_t* index;
  const int8_t* weights;
  const int16_t* wideWeights;
  const int16_t* xError;
  uint32_t chunks, groups, nearGroups, samples;

  explicit Tables(const LinePlan& plan)
      : offsets(plan.offsets),
        alike(plan.alike),
        index(plan.index),
        weights(plan.weights),
        wideWeights(plan.wideWeights),
        xError(plan.xError),
        chunks(plan.chunks),
        groups(plan.groups),
        nearGroups(plan.nearGroups),
        samples(plan.samples) {}
};

// What is known of a row's numbers before its samples are.
enum class NarrowKind {
  kSmooth,     // ErrorForm::kSmooth
  kTop,        // of those, where IsBinary() holds: rows whose phase is 0
  kMiddle,     // and rows in the middle between two
  kGrid,       // ErrorForm::kGrid
  kGridLevel,  // of those, rows whose fraction is 0: only A counts
};

constexpr bool IsSmooth(NarrowKind kind) {
  return kind != NarrowKind::kGrid && kind != NarrowKind::kGridLevel;
}

// Few parts, powers of two: shifts divide, and steps are so short that one multiplied by more than
// the guard still fits 16 bits.
bool IsBinary(const LinePlan& plan) {
  return std::has_single_bit(plan.divisor) && plan.partsX <= 4 && plan.partsY <= 2 &&
         plan.fineGuard < 32;
}

// What a row's arithmetic needs in every lane.
struct RowLanes {
  __m512i weightA, weightB;  // Qy - q, q
  __m512i stepA, stepB;      // pairs (-(Qy - q), Qy - q) and (-q, q)
  __m512i errorY;
  __m512i nearErrorY;
  __m512i forgiven;
  bool nearFits, exactRow;
  __m512i divisor, reciprocal, bias;
  __m512i steep;         // Qy, or 0 where vertical products are exact
  __mmask32 roundsFlat;  // lanes whose vertical product is rounded although the column has no error
  __m512i reciprocalShift;
  __m512i fineGuard;
  __m512i shift;       // where one divides the row's sums (see SumToDivide)
  __m512i guardShift;  // 2^this exceeds the guard
};

DIBKIT_AVX512_INLINE __m512i Word(uint32_t value) {
  return _mm512_set1_epi16(static_cast<short>(value));
}

// Of a power of two.
DIBKIT_AVX512_INLINE __m512i Log2(uint32_t value) {
  return Word(static_cast<uint32_t>(std::countr_zero(value)));
}

// Pairs of bytes (-weight, +weight): times a pair of samples they make its step, weighted.
DIBKIT_AVX512_INLINE __m512i StepPairs(uint32_t weight) {
  return Word((weight << 8) | (-weight & 0xFF));
}

DIBKIT_AVX512_INLINE RowLanes MakeRowLanes(const LinePlan& plan, const RowPhase& row) {
  RowLanes lanes;
  lanes.weightA = Word(plan.partsY - row.phase);
  lanes.weightB = Word(row.phase);
  lanes.stepA = StepPairs(plan.partsY - row.phase);
  lanes.stepB = StepPairs(row.phase);
  lanes.errorY = _mm512_set1_epi16(WeightOf(row.error, plan.errorScale));
  lanes.divisor = Word(plan.divisor);
  lanes.steep = Word(row.fraction.significand == 0 ? 0 : plan.partsY);
  lanes.roundsFlat = plan.shortParts ? 0 : ~__mmask32{0};
  const double nearError = row.error * kNearGrid;
  lanes.nearFits = nearError > -32767.0 && nearError < 32767.0 && plan.divisor <= 64;
  lanes.nearErrorY =
      _mm512_set1_epi16(lanes.nearFits ? WeightOf(row.error, kNearGrid) : int16_t{0});
  lanes.forgiven = Word(row.fraction.significand == 0 ? 0 : 128 * plan.divisor);
  lanes.exactRow = row.fraction.significand == 0;
  lanes.reciprocal = Word(plan.reciprocal);
  lanes.bias = Word(plan.reciprocalBias);
  lanes.reciprocalShift = Word(plan.reciprocalShift);
  lanes.fineGuard = Word(plan.fineGuard);
  lanes.shift = Log2(row.phase == 0 ? plan.partsX : 2 * plan.partsX);
  lanes.guardShift = Word(static_cast<uint32_t>(std::bit_width(plan.fineGuard)));
  return lanes;
}

// The pairs (left, right) of a group's 32 samples.
template <int kChunks>
DIBKIT_AVX512_INLINE __m512i Pairs(const Tables& tables, const uint8_t* row, size_t group) {
  const uint32_t chunks = kChunks != 0 ? kChunks : tables.chunks;
  const uint32_t* offsets = tables.offsets + group * chunks;
  const uint8_t* index = tables.index + size_t{tables.alike[group]} * chunks * 64;
  __m512i pairs =
      _mm512_permutexvar_epi8(_mm512_load_si512(index), _mm512_loadu_si512(row + offsets[0]));
  for (uint32_t chunk = 1; chunk < chunks; ++chunk) {
    const __m512i places = _mm512_load_si512(index + size_t{chunk} * 64);
    pairs = _mm512_mask_permutexvar_epi8(pairs, _knot_mask64(_mm512_movepi8_mask(places)), places,
                                         _mm512_loadu_si512(row + offsets[chunk]));
  }
  return pairs;
}

DIBKIT_AVX512_INLINE __m512i Divide(__m512i number, const RowLanes& lanes) {
  return _mm512_srlv_epi16(_mm512_mulhi_epu16(number, lanes.reciprocal), lanes.reciprocalShift);
}

// One pass's share of the traffic.
DIBKIT_AVX512_INLINE void Carry(PassTraffic* traffic) {
  for (size_t n = std::min(traffic->fetchStep, traffic->fetchLines); n != 0; --n) {
    _mm_prefetch(reinterpret_cast<const char*>(traffic->fetch), _MM_HINT_T0);
    traffic->fetch += kCacheLine;
    --traffic->fetchLines;
  }
  LineRun& run = traffic->carry;
  for (size_t n = std::min(traffic->carryStep, run.lines); n != 0; --n) {
    _mm512_stream_si512(reinterpret_cast<__m512i*>(run.to), _mm512_loadu_si512(run.from));
    run.from += kCacheLine;
    run.to += kCacheLine;
    --run.lines;
  }
}

// Asks for the output's cache line a little ahead, for writing.
DIBKIT_AVX512_INLINE void PrefetchOutput(const Tables& tables, const uint8_t* out, uint32_t done) {
  constexpr uint32_t kLead = 768;
  if (tables.samples - done > kLead) __builtin_prefetch(out + done + kLead, 1, 3);
}

// The lanes of 64 output bytes that the row has.
DIBKIT_AVX512_INLINE __mmask64 UsedLanes(const Tables& tables, uint32_t done) {
  const uint32_t left = tables.samples - done;
  return left >= 64 ? ~__mmask64{0} : (uint64_t{1} << left) - 1;
}

// Stores the 64 output bytes of two groups, in the order that packing leaves them in.
DIBKIT_AVX512_INLINE void StorePass(const Tables& tables, uint8_t* out, uint32_t done,
                                    __m512i packed) {
  const __m512i order = _mm512_setr_epi64(0, 2, 4, 6, 1, 3, 5, 7);
  const __m512i bytes = _mm512_permutexvar_epi64(order, packed);
  if (tables.samples - done >= 64) {
    _mm512_storeu_si512(out + done, bytes);
  } else {
    _mm512_mask_storeu_epi8(out + done, UsedLanes(tables, done), bytes);
  }
}

// One group on its way.
struct Group {
  __m512i a, b;  // pairs of samples
  __m512i sumA, sumB;
  __m512i number;        // ideal value * divisor
  __m512i across, down;  // H and V
  __m512i steps;         // 0 where both are
  __m512i errorX;
  __m512i error;     // their weighted sum
  __m512i value;     // the output, in words
  __mmask32 unsure;  // lanes whose error sum is too small
};

// H * X + V * Y, saturated to 16 bits.
DIBKIT_AVX512_INLINE __m512i ErrorSum(const Group& g, __m512i errorY) {
  const __m512i low = _mm512_madd_epi16(_mm512_unpacklo_epi16(g.across, g.down),
                                        _mm512_unpacklo_epi16(g.errorX, errorY));
  const __m512i high = _mm512_madd_epi16(_mm512_unpackhi_epi16(g.across, g.down),
                                         _mm512_unpackhi_epi16(g.errorX, errorY));
  return _mm512_packs_epi32(low, high);
}

// Of `lanes`, those whose sum does not decide. In units of 2^-64 / divisor, the vertical product is
// rounded by at most |V| * Qy; a sum below 0 must exceed that and what the last rounding forgives
// (2^-57 at most), any other may fall short of it by what the last rounding forgives at least.
DIBKIT_AVX512_INLINE __mmask32 GridUnsure(const RowLanes& lanes, __mmask32 candidates,
                                          __mmask32 negative, const Group& g) {
  const __m512i most = _mm512_set1_epi16(255);
  const __m512i size = _mm512_slli_epi16(_mm512_min_epu16(_mm512_abs_epi16(g.error), most), 8);
  const __m512i room = _mm512_adds_epu16(size, _mm512_srli_epi16(g.number, 1));
  const __m512i reach = _mm512_mask_subs_epu16(room, negative, size, lanes.forgiven);
  const __m512i rounding = _mm512_mullo_epi16(_mm512_abs_epi16(g.down), lanes.steep);
  return _mm512_mask_cmpge_epu16_mask(candidates, rounding, reach);
}

// A group of a level row. From kFarColumn on every step is exact, and so is the sign of the error.
DIBKIT_AVX512_INLINE Group MakeLevelGroup(const Tables& tables, const RowLanes& lanes,
                                          __mmask32 near, __m512i a, size_t group) {
  Group g{};
  g.a = g.b = a;
  g.number = _mm512_mullo_epi16(
      _mm512_maddubs_epi16(a, _mm512_load_si512(tables.weights + size_t{tables.alike[group]} * 64)),
      lanes.weightA);
  g.value = Divide(_mm512_add_epi16(g.number, lanes.bias), lanes);
  g.errorX = _mm512_load_si512(tables.xError + group * kGroup);
  g.across = _mm512_maddubs_epi16(a, lanes.stepA);
  const __mmask32 whole =
      _mm512_cmpeq_epi16_mask(_mm512_mullo_epi16(g.value, lanes.divisor), g.number);
  const __mmask32 negative = _mm512_movepi16_mask(_mm512_mulhi_epi16(g.across, g.errorX));
  g.value = _mm512_mask_sub_epi16(g.value, whole & negative, g.value, _mm512_set1_epi16(1));
  g.unsure = whole & near;
  return g;
}

// The numbers of a group, and its error sum.
template <NarrowKind kKind>
DIBKIT_AVX512_INLINE Group WeighGroup(const Tables& tables, const RowLanes& lanes, __m512i a,
                                      __m512i b, size_t group) {
  Group g{};
  g.a = a;
  g.b = b;
  const __m512i weights = _mm512_load_si512(tables.weights + size_t{tables.alike[group]} * 64);
  g.sumA = _mm512_maddubs_epi16(a, weights);
  g.sumB = _mm512_maddubs_epi16(b, weights);
  g.down = _mm512_sub_epi16(g.sumB, g.sumA);
  g.across = _mm512_maddubs_epi16(a, lanes.stepA);
  if (kKind != NarrowKind::kTop) {
    g.across = _mm512_add_epi16(g.across, _mm512_maddubs_epi16(b, lanes.stepB));
  }
  g.errorX = _mm512_load_si512(tables.xError + group * kGroup);
  g.error = ErrorSum(g, lanes.errorY);
  return g;
}

// The ideal value times the divisor.
DIBKIT_AVX512_INLINE __m512i Number(const RowLanes& lanes, const Group& g) {
  return _mm512_add_epi16(_mm512_mullo_epi16(g.sumA, lanes.weightA),
                          _mm512_mullo_epi16(g.sumB, lanes.weightB));
}

// The ideal value times Qx, or times 2 * Qx in the middle.
template <NarrowKind kKind>
DIBKIT_AVX512_INLINE __m512i SumToDivide(const Group& g) {
  return kKind == NarrowKind::kTop ? g.sumA : _mm512_add_epi16(g.sumA, g.sumB);
}

// An error below 0 takes 1 off the number before the division, so there is no remainder to look at.
// An error is large enough if it exceeds the larger of |H| and |V| by the guard; where steps are
// short the guard may count once for each unit of theirs, which is one operation for both.
template <NarrowKind kKind>
DIBKIT_AVX512_INLINE Group MakeSmoothGroup(const Tables& tables, const RowLanes& lanes,
                                           __mmask32 near, __m512i a, __m512i b, size_t group) {
  Group g = WeighGroup<kKind>(tables, lanes, a, b, group);
  const __m512i below = _mm512_srli_epi16(g.error, 15);
  const __m512i size = _mm512_abs_epi16(g.error);
  g.steps = _mm512_or_si512(_mm512_abs_epi16(g.across), _mm512_abs_epi16(g.down));
  if (kKind == NarrowKind::kSmooth) {
    g.value =
        Divide(_mm512_add_epi16(_mm512_subs_epu16(Number(lanes, g), below), lanes.bias), lanes);
    const __mmask32 stepped = _mm512_test_epi16_mask(g.steps, g.steps);
    g.unsure = near | _mm512_mask_cmple_epu16_mask(stepped, size,
                                                   _mm512_adds_epu16(g.steps, lanes.fineGuard));
  } else {
    g.value = _mm512_srlv_epi16(_mm512_subs_epu16(SumToDivide<kKind>(g), below), lanes.shift);
    g.unsure = near | _mm512_cmplt_epu16_mask(size, _mm512_sllv_epi16(g.steps, lanes.guardShift));
  }
  return g;
}

DIBKIT_AVX512_INLINE Group MakeGridGroup(const Tables& tables, const RowLanes& lanes,
                                         __mmask32 near, __m512i a, __m512i b, size_t group) {
  Group g = WeighGroup<NarrowKind::kGrid>(tables, lanes, a, b, group);
  g.number = Number(lanes, g);
  g.steps = _mm512_or_si512(g.across, g.down);
  const __mmask32 stepped = _mm512_test_epi16_mask(g.steps, g.steps);
  const __m512i ideal = Divide(_mm512_add_epi16(g.number, lanes.bias), lanes);
  const __mmask32 whole =
      _mm512_cmpeq_epi16_mask(_mm512_mullo_epi16(ideal, lanes.divisor), g.number);
  const __mmask32 negative = _mm512_movepi16_mask(g.error);
  g.value = _mm512_mask_sub_epi16(ideal, whole & negative, ideal, _mm512_set1_epi16(1));
  g.unsure = GridUnsure(lanes, whole & stepped, negative, g) | (whole & near);
  return g;
}

template <NarrowKind kKind>
DIBKIT_AVX512_INLINE Group MakeGroup(const Tables& tables, const RowLanes& lanes, __mmask32 near,
                                     __m512i a, __m512i b, size_t group) {
  if (kKind == NarrowKind::kGridLevel) return MakeLevelGroup(tables, lanes, near, a, group);
  if (kKind == NarrowKind::kGrid) return MakeGridGroup(tables, lanes, near, a, b, group);
  return MakeSmoothGroup<kKind>(tables, lanes, near, a, b, group);
}

// Lanes whose four samples are not all equal.
DIBKIT_AVX512_INLINE __mmask32 NotFlat(const Group& g) {
  const __m512i turned =
      _mm512_shuffle_epi8(g.a, _mm512_set4_epi32(0x0E0F0C0D, 0x0A0B0809, 0x06070405, 0x02030001));
  return _mm512_cmpneq_epi16_mask(g.a, g.b) | _mm512_cmpneq_epi16_mask(g.a, turned);
}

// Leaves of the unsure lanes those that the error decides: no remainder and not flat.
DIBKIT_AVX512_INLINE __m512i FindOpen(const RowLanes& lanes, Group* g) {
  g->unsure &= NotFlat(*g);
  if (g->unsure == 0) return g->value;
  const __m512i ideal = Divide(_mm512_add_epi16(g->number, lanes.bias), lanes);
  g->unsure =
      _mm512_mask_cmpeq_epi16_mask(g->unsure, _mm512_mullo_epi16(ideal, lanes.divisor), g->number);
  return ideal;
}

// The sum against a guard of each lane's own.
DIBKIT_AVX512_INLINE void LookSmooth(const RowLanes& lanes, __m512i fineGuard, Group* g) {
  g->number = Number(lanes, *g);
  const __m512i ideal = FindOpen(lanes, g);
  if (g->unsure == 0) return;
  const __m512i rounding = _mm512_add_epi16(_mm512_abs_epi16(g->across), _mm512_abs_epi16(g->down));
  const __mmask32 sure = _mm512_mask_cmpgt_epu16_mask(g->unsure, _mm512_abs_epi16(g->error),
                                                      _mm512_adds_epu16(rounding, fineGuard));
  g->value = _mm512_mask_sub_epi16(g->value, sure, ideal, _mm512_srli_epi16(g->error, 15));
  g->unsure &= ~sure;
}

// Lanes whose horizontal error is not 0.
DIBKIT_AVX512_INLINE __mmask32 Slanted(const RowLanes& lanes, const Group& g) {
  return lanes.roundsFlat | _mm512_test_epi16_mask(g.errorX, g.errorX);
}

// A sum that is not negative decides for the ideal value unless the vertical product's rounding
// may outweigh it and what the last rounding forgives (see Judge in line_plan.cpp).
DIBKIT_AVX512_INLINE void LookGrid(const RowLanes& lanes, Group* g) {
  const __m512i ideal = FindOpen(lanes, g);
  if (g->unsure == 0) return;
  const __m512i least =
      _mm512_add_epi16(_mm512_srli_epi16(g->number, 1),
                       _mm512_slli_epi16(_mm512_min_epi16(g->error, _mm512_set1_epi16(60)), 8));
  const __m512i rounding =
      _mm512_maskz_mullo_epi16(Slanted(lanes, *g), _mm512_abs_epi16(g->down), lanes.steep);
  const __mmask32 sure =
      _mm512_mask_cmple_epu16_mask(g->unsure & ~_mm512_movepi16_mask(g->error), rounding, least);
  g->value = _mm512_mask_mov_epi16(g->value, sure, ideal);
  g->unsure &= ~sure;
}

// Likewise where the horizontal steps are rounded as well. In units of 2^-62 / divisor.
DIBKIT_AVX512_INLINE void LookNearGrid(const RowLanes& lanes, Group* g) {
  const __m512i ideal = FindOpen(lanes, g);
  if (g->unsure == 0 || !lanes.nearFits) return;
  const __m512i error = ErrorSum(*g, lanes.nearErrorY);
  const __m512i step = _mm512_set1_epi16(0x01FF);
  const __m512i stepA = _mm512_abs_epi16(_mm512_maddubs_epi16(g->a, step));
  const __m512i stepB = _mm512_abs_epi16(_mm512_maddubs_epi16(g->b, step));
  const __m512i down =
      _mm512_srli_epi16(_mm512_mullo_epi16(_mm512_abs_epi16(g->down), lanes.steep), 1);
  const __mmask32 slanted = _mm512_test_epi16_mask(g->errorX, g->errorX);
  const __mmask32 level = lanes.exactRow ? ~__mmask32{0} : _mm512_cmpeq_epi16_mask(g->a, g->b);
  // A row of its own: only A's horizontal product is rounded, by 2^-64 of the step.
  // Otherwise: both products, both sums (by 2^-64 of 255), the difference and the vertical product.
  const __m512i one = _mm512_srli_epi16(_mm512_mullo_epi16(stepA, lanes.divisor), 2);
  const __m512i both = _mm512_adds_epu16(
      down, _mm512_srli_epi16(_mm512_mullo_epi16(_mm512_add_epi16(_mm512_add_epi16(stepA, stepB),
                                                                  _mm512_set1_epi16(255)),
                                                 lanes.divisor),
                              2));
  __m512i rounding = _mm512_mask_mov_epi16(both, level, one);
  rounding = _mm512_mask_mov_epi16(down, slanted, rounding);
  rounding = _mm512_adds_epu16(rounding, _mm512_set1_epi16(2));
  const __mmask32 fits =
      g->unsure & _mm512_cmpneq_epi16_mask(g->errorX, _mm512_set1_epi16(kNoWeight));
  const __m512i above = _mm512_adds_epi16(error, _mm512_srli_epi16(g->number, 3));
  const __mmask32 same = _mm512_mask_cmpge_epi16_mask(
      fits, above, _mm512_min_epu16(rounding, _mm512_set1_epi16(32767)));
  const __m512i under = _mm512_subs_epi16(_mm512_setzero_si512(), error);
  const __mmask32 below = _mm512_mask_cmpgt_epi16_mask(
      fits, under,
      _mm512_min_epu16(_mm512_adds_epu16(rounding, _mm512_srli_epi16(g->number, 2)),
                       _mm512_set1_epi16(32767)));
  g->value = _mm512_mask_mov_epi16(g->value, same, ideal);
  g->value = _mm512_mask_sub_epi16(g->value, below, ideal, _mm512_set1_epi16(1));
  g->unsure &= ~(same | below);
}

// Takes a closer look at the unsure lanes of a group and settles what it can.
template <NarrowKind kKind>
DIBKIT_AVX512_INLINE void Look(const LinePlan& plan, const RowLanes& lanes, bool near, Group* g) {
  if (IsSmooth(kKind)) {
    LookSmooth(lanes, near ? Word(plan.nearFineGuard) : lanes.fineGuard, g);
  } else if (near) {
    LookNearGrid(lanes, g);
  } else {
    LookGrid(lanes, g);
  }
}

// Paper is flat. If in each of 64 samples all four are equal, gives those; tried after a pass that
// looked flat.
template <int kChunks>
DIBKIT_AVX512_INLINE bool FlatBytes(const Tables& tables, const uint8_t* rowA, const uint8_t* rowB,
                                    size_t group, __m512i* bytes) {
  constexpr int kOrXor = 0xF6;  // x | (y ^ z)
  const __m512i a0 = Pairs<kChunks>(tables, rowA, group);
  const __m512i a1 = Pairs<kChunks>(tables, rowA, group + 1);
  __m512i other = _mm512_xor_si512(a0, Pairs<kChunks>(tables, rowB, group));
  other = _mm512_ternarylogic_epi64(other, a1, Pairs<kChunks>(tables, rowB, group + 1), kOrXor);
  const __m512i value0 = _mm512_srli_epi16(a0, 8), value1 = _mm512_srli_epi16(a1, 8);
  other = _mm512_ternarylogic_epi64(other, a0, _mm512_or_si512(value0, _mm512_slli_epi16(a0, 8)),
                                    kOrXor);
  other = _mm512_ternarylogic_epi64(other, a1, _mm512_or_si512(value1, _mm512_slli_epi16(a1, 8)),
                                    kOrXor);
  *bytes = _mm512_packus_epi16(value0, value1);
  return _mm512_test_epi64_mask(other, other) == 0;
}

template <NarrowKind kKind, int kChunks>
DIBKIT_AVX512 void NarrowRow(const LinePlan& plan, const RowPhase& row, const uint8_t* rowA,
                             const uint8_t* second, const Traffic& traffic, uint8_t* out) {
  const Tables tables(plan);
  constexpr bool kLevel = kKind == NarrowKind::kGridLevel;
  const uint8_t* rowB = kLevel ? rowA : second;  // level rows must not read the second
  const RowLanes lanes = MakeRowLanes(plan, row);
  PassTraffic beside(traffic, tables.groups / 2);
  bool flat = false;
  for (uint32_t group = 0; group < tables.groups; group += 2) {
    Carry(&beside);
    const uint32_t done = group * kGroup;
    PrefetchOutput(tables, out, done);
    __m512i bytes;
    if (flat && FlatBytes<kChunks>(tables, rowA, rowB, group, &bytes)) {
      StorePass(tables, out, done, bytes);
      continue;
    }
    const bool isNear = group < tables.nearGroups;
    const __mmask32 near = isNear ? ~__mmask32{0} : 0;
    Group g[2];
#pragma GCC unroll 2
    for (uint32_t i = 0; i < 2; ++i) {
      const __m512i a = Pairs<kChunks>(tables, rowA, group + i);
      const __m512i b = kLevel ? a : Pairs<kChunks>(tables, rowB, group + i);
      g[i] = MakeGroup<kKind>(tables, lanes, near, a, b, group + i);
    }
    if (!kLevel) {
      const __m512i steps = _mm512_or_si512(g[0].steps, g[1].steps);
      flat = _mm512_test_epi64_mask(steps, steps) == 0;
    }
    if ((g[0].unsure | g[1].unsure) != 0) {
      Look<kKind>(plan, lanes, isNear, &g[0]);
      Look<kKind>(plan, lanes, isNear, &g[1]);
    }
    StorePass(tables, out, done, _mm512_packus_epi16(g[0].value, g[1].value));
    const __mmask64 unsure = g[0].unsure | (uint64_t{g[1].unsure} << 32);
    if (unsure != 0) {
      SettleSamples(plan, row, rowA, rowB, out, done, unsure & UsedLanes(tables, done));
    }
  }
}

template <NarrowKind kKind>
DIBKIT_AVX512 void NarrowForm(const LinePlan& plan, const RowPhase& row, const uint8_t* rowA,
                              const uint8_t* rowB, const Traffic& traffic, uint8_t* out) {
  if (plan.chunks == 1) return NarrowRow<kKind, 1>(plan, row, rowA, rowB, traffic, out);
  if (plan.chunks == 2) return NarrowRow<kKind, 2>(plan, row, rowA, rowB, traffic, out);
  return NarrowRow<kKind, 0>(plan, row, rowA, rowB, traffic, out);
}

DIBKIT_AVX512 void NarrowLine(const LinePlan& plan, const RowPhase& row, const uint8_t* rowA,
                              const uint8_t* rowB, const Traffic& traffic, uint8_t* out) {
  if (plan.errors == ErrorForm::kGrid) {
    return row.fraction.significand == 0
               ? NarrowForm<NarrowKind::kGridLevel>(plan, row, rowA, rowB, traffic, out)
               : NarrowForm<NarrowKind::kGrid>(plan, row, rowA, rowB, traffic, out);
  }
  if (!IsBinary(plan) || row.phase == plan.partsY) {
    return NarrowForm<NarrowKind::kSmooth>(plan, row, rowA, rowB, traffic, out);
  }
  return row.phase == 0 ? NarrowForm<NarrowKind::kTop>(plan, row, rowA, rowB, traffic, out)
                        : NarrowForm<NarrowKind::kMiddle>(plan, row, rowA, rowB, traffic, out);
}

// ---- The narrow form without errors: all parts are powers of two ----

struct ExactGroup {
  __m512i top;   // A's weighted sum times Qy
  __m512i down;  // V
};

template <int kChunks>
DIBKIT_AVX512_INLINE ExactGroup MakeExactGroup(const Tables& tables, const uint8_t* rowA,
                                               const uint8_t* rowB, size_t group, __m512i shiftY) {
  const __m512i weights = _mm512_load_si512(tables.weights + size_t{tables.alike[group]} * 64);
  const __m512i sumA = _mm512_maddubs_epi16(Pairs<kChunks>(tables, rowA, group), weights);
  const __m512i sumB = _mm512_maddubs_epi16(Pairs<kChunks>(tables, rowB, group), weights);
  return {_mm512_sllv_epi16(sumA, shiftY), _mm512_sub_epi16(sumB, sumA)};
}

DIBKIT_AVX512_INLINE __m512i ExactValue(const ExactGroup& g, __m512i phase, __m512i shift) {
  return _mm512_srlv_epi16(_mm512_add_epi16(g.top, _mm512_mullo_epi16(g.down, phase)), shift);
}

template <int kChunks>
DIBKIT_AVX512 void ExactRows(const LinePlan& plan, const RowBatch& batch) {
  const Tables tables(plan);
  const __m512i shift = Log2(plan.divisor);
  const __m512i shiftY = Log2(plan.partsY);
  // A level row that is alone must not read the second.
  const bool level = batch.count == 1 && batch.phases[0].phase == 0;
  const uint8_t* rowB = level ? batch.rowA : batch.rowB;
  PassTraffic beside(batch.traffic, tables.groups / 2);
  for (uint32_t group = 0; group < tables.groups; group += 2) {
    Carry(&beside);
    const uint32_t done = group * kGroup;
    const ExactGroup first = MakeExactGroup<kChunks>(tables, batch.rowA, rowB, group, shiftY);
    const ExactGroup last = MakeExactGroup<kChunks>(tables, batch.rowA, rowB, group + 1, shiftY);
    for (uint32_t i = 0; i < batch.count; ++i) {
      const __m512i phase = Word(batch.phases[i].phase);
      StorePass(
          tables, batch.Out(i), done,
          _mm512_packus_epi16(ExactValue(first, phase, shift), ExactValue(last, phase, shift)));
    }
  }
}

DIBKIT_AVX512 void MakeNarrowRows(const LinePlan& plan, const RowBatch& batch) {
  if (plan.errors != ErrorForm::kExact) return EachRow<NarrowLine>(plan, batch);
  if (plan.chunks == 1) return ExactRows<1>(plan, batch);
  return ExactRows<0>(plan, batch);
}

template <int kChunks>
DIBKIT_AVX512 void CopyRow(const LinePlan& plan, const uint8_t* rowA, const Traffic& traffic,
                           uint8_t* out) {
  const Tables tables(plan);
  const __m512i low = _mm512_set1_epi16(0xFF);
  PassTraffic beside(traffic, tables.groups / 2);
  for (uint32_t group = 0; group < tables.groups; group += 2) {
    Carry(&beside);
    PrefetchOutput(tables, out, group * kGroup);
    const __m512i first = _mm512_and_si512(low, Pairs<kChunks>(tables, rowA, group));
    const __m512i second = _mm512_and_si512(low, Pairs<kChunks>(tables, rowA, group + 1));
    StorePass(tables, out, group * kGroup, _mm512_packus_epi16(first, second));
  }
}

DIBKIT_AVX512 void CopyLine(const LinePlan& plan, const RowPhase& /*row*/, const uint8_t* rowA,
                            const uint8_t* /*rowB*/, const Traffic& traffic, uint8_t* out) {
  if (plan.chunks == 1) return CopyRow<1>(plan, rowA, traffic, out);
  if (plan.chunks == 2) return CopyRow<2>(plan, rowA, traffic, out);
  return CopyRow<0>(plan, rowA, traffic, out);
}

// ---- The wide form: 16 samples in lanes of 32 bits ----

constexpr uint32_t kWideGroup = 16;
constexpr uint32_t kWideTogether = 4;

struct WideLanes {
  __m512 scaleA, scaleV;  // 2^16 / Qx and 2^16 * q / (Qx * Qy)
  __m512i partsY, phaseY, divisor;
  __m512 errorY;
  __m512 steep;
};

struct WideGroup {
  __m512i a, b;        // pairs of samples, as words
  __m512i sumA, down;  // A's weighted sum, and V
  __m512i fixed;       // the value with 16 bits behind the point, raised by 4 of its last places
  __mmask16 unsure;    // lanes that lie within 4 last places of an integer
};

DIBKIT_AVX512_INLINE WideLanes MakeWideLanes(const LinePlan& plan, const RowPhase& row) {
  WideLanes lanes;
  lanes.scaleA = _mm512_set1_ps(static_cast<float>(65536.0 / plan.partsX));
  lanes.scaleV = _mm512_set1_ps(static_cast<float>(65536.0 * row.phase / plan.divisor));
  lanes.partsY = _mm512_set1_epi32(static_cast<int>(plan.partsY));
  lanes.phaseY = _mm512_set1_epi32(static_cast<int>(row.phase));
  lanes.divisor = _mm512_set1_epi32(static_cast<int>(plan.divisor));
  lanes.errorY = _mm512_set1_ps(static_cast<float>(row.error * kWideErrorUnit));
  lanes.steep =
      _mm512_set1_ps(row.fraction.significand == 0 ? 0.0F : 2.0F * static_cast<float>(plan.partsY));
  return lanes;
}

// The pairs (left, right) of a group's 16 samples, each a word.
template <int kChunks>
DIBKIT_AVX512_INLINE __m512i WidePairs(const Tables& tables, const uint8_t* row, size_t group) {
  const uint32_t chunks = kChunks != 0 ? kChunks : tables.chunks;
  const uint32_t* offsets = tables.offsets + group * chunks;
  const uint8_t* index = tables.index + size_t{tables.alike[group]} * chunks * 64;
  // The second byte of each word is 0.
  __m512i pairs = _mm512_maskz_permutexvar_epi8(0x5555555555555555, _mm512_load_si512(index),
                                                _mm512_loadu_si512(row + offsets[0]));
  for (uint32_t chunk = 1; chunk < chunks; ++chunk) {
    const __m512i places = _mm512_load_si512(index + size_t{chunk} * 64);
    pairs = _mm512_mask_permutexvar_epi8(pairs, _knot_mask64(_mm512_movepi8_mask(places)), places,
                                         _mm512_loadu_si512(row + offsets[chunk]));
  }
  return pairs;
}

DIBKIT_AVX512_INLINE WideGroup MakeWideGroup(const WideLanes& lanes, __m512i weights, __m512i a,
                                             __m512i b) {
  WideGroup g;
  g.a = a;
  g.b = b;
  g.sumA = _mm512_madd_epi16(a, weights);
  g.down = _mm512_sub_epi32(_mm512_madd_epi16(b, weights), g.sumA);
  const __m512 top = _mm512_fmadd_ps(_mm512_cvtepi32_ps(g.sumA), lanes.scaleA, _mm512_set1_ps(4));
  g.fixed = _mm512_cvtps_epi32(_mm512_fmadd_ps(_mm512_cvtepi32_ps(g.down), lanes.scaleV, top));
  g.unsure = _mm512_testn_epi32_mask(g.fixed, _mm512_set1_epi32(0xFFF8));
  return g;
}

DIBKIT_AVX512_INLINE __m512 Size(__m512 value) { return _mm512_abs_ps(value); }

// Judge() of line_settle.cpp for 16 lanes, with doubts for single precision. Returns the lanes that
// are not decided, and in *below those whose value is less than the ideal.
DIBKIT_AVX512_INLINE __mmask16 JudgeWide(const LinePlan& plan, const WideLanes& lanes,
                                         const WideGroup& g, __m512i number, __mmask16 candidates,
                                         __mmask16 near, __m512 errorX, __mmask16* below) {
  const __m512i step = _mm512_set1_epi32(0x0001FFFF);
  const __m512i stepA = _mm512_madd_epi16(g.a, step);
  const __m512i stepB = _mm512_madd_epi16(g.b, step);
  const __m512i across =
      _mm512_add_epi32(_mm512_mullo_epi32(stepA, lanes.partsY),
                       _mm512_mullo_epi32(_mm512_sub_epi32(stepB, stepA), lanes.phaseY));
  const __m512 slant = _mm512_mul_ps(_mm512_cvtepi32_ps(across), errorX);
  const __m512 down = _mm512_cvtepi32_ps(g.down);
  const __m512 fall = _mm512_mul_ps(down, lanes.errorY);
  const __m512 sum = _mm512_add_ps(slant, fall);
  const __m512 doubt = _mm512_fmadd_ps(_mm512_add_ps(Size(slant), Size(fall)),
                                       _mm512_set1_ps(0x1p-20F), _mm512_set1_ps(plan.wideDoubt));
  const __m512 whole = _mm512_cvtepi32_ps(number);
  const __m512i steps = _mm512_max_epi32(_mm512_abs_epi32(stepA), _mm512_abs_epi32(stepB));
  const __m512 sizes = _mm512_cvtepi32_ps(_mm512_add_epi32(
      _mm512_add_epi32(steps, steps), _mm512_set1_epi32(static_cast<int>(kNearRounding))));
  const __m512 steep = _mm512_mul_ps(Size(down), lanes.steep);
  const __m512 more = _mm512_fmadd_ps(sizes, _mm512_cvtepi32_ps(lanes.divisor), steep);
  const __m512 rounding = _mm512_mask3_fmadd_ps(more, _mm512_set1_ps(1.001F), steep, near);
  const __m512 up = _mm512_fnmadd_ps(whole, _mm512_set1_ps(0.999F), rounding);
  const __m512 under = _mm512_fmadd_ps(whole, _mm512_set1_ps(2.001F), rounding);
  const __mmask16 ideal = _mm512_cmp_ps_mask(_mm512_sub_ps(sum, doubt), up, _CMP_GT_OQ);
  *below = _mm512_mask_cmp_ps_mask(candidates, _mm512_add_ps(_mm512_add_ps(sum, doubt), under),
                                   _mm512_setzero_ps(), _CMP_LT_OQ);
  return candidates & ~(ideal | *below);
}

// Output bytes of a row that single precision left open, to be judged 16 at a time.
struct OpenQueue {
  static constexpr uint32_t kRoom = 256;
  uint32_t count = 0;
  alignas(64) uint32_t sample[kRoom + kWideGroup];
  alignas(64) uint32_t corners[kRoom + kWideGroup];  // bytes: A left, B left, A right, B right

  bool Full() const { return count > kRoom - kWideTogether * kWideGroup; }
};

// Queues those of 16 output bytes that are open and within the row.
DIBKIT_AVX512_INLINE void QueueOpen(uint32_t samples, __mmask16 open, __m512i sample,
                                    __m512i corners, OpenQueue* queue) {
  open = _mm512_mask_cmplt_epu32_mask(open, sample, _mm512_set1_epi32(static_cast<int>(samples)));
  _mm512_storeu_si512(queue->sample + queue->count, _mm512_maskz_compress_epi32(open, sample));
  _mm512_storeu_si512(queue->corners + queue->count, _mm512_maskz_compress_epi32(open, corners));
  queue->count += static_cast<uint32_t>(std::popcount(open));
}

// Decides 16 queued bytes: integers tell on which side of the near integer they lie; on the integer
// itself the error sum does. Returns the lanes that stay open.
DIBKIT_AVX512_INLINE __mmask16 JudgeOpen(const LinePlan& plan, const WideLanes& lanes,
                                         const OpenQueue& queue, uint32_t at, uint8_t* out) {
  const __m512i sample = _mm512_load_si512(queue.sample + at);
  const __m512i corners = _mm512_load_si512(queue.corners + at);
  const __m512i low = _mm512_set1_epi16(0xFF);
  const WideGroup g = MakeWideGroup(lanes, _mm512_i32gather_epi32(sample, plan.wideWeights, 4),
                                    _mm512_and_si512(corners, low), _mm512_srli_epi16(corners, 8));
  const __m512i value = _mm512_srli_epi32(g.fixed, 16);
  const __m512i number = _mm512_add_epi32(_mm512_mullo_epi32(g.sumA, lanes.partsY),
                                          _mm512_mullo_epi32(g.down, lanes.phaseY));
  const __m512i near = _mm512_mullo_epi32(value, lanes.divisor);
  // Nothing lies below 0.
  const __mmask16 whole =
      _mm512_mask_test_epi32_mask(_mm512_cmpeq_epi32_mask(number, near), number, number);
  const __mmask16 nearColumns = _mm512_cmplt_epu32_mask(
      sample, _mm512_set1_epi32(static_cast<int>(plan.nearGroups * plan.shape.Slots())));
  __mmask16 below;
  const __mmask16 open = JudgeWide(plan, lanes, g, number, whole, nearColumns,
                                   _mm512_i32gather_ps(sample, plan.wideError, 4), &below);
  below |= _mm512_cmplt_epi32_mask(number, near);
  alignas(16) uint8_t bytes[kWideGroup];
  _mm_store_si128(
      reinterpret_cast<__m128i*>(bytes),
      _mm512_cvtepi32_epi8(_mm512_mask_sub_epi32(value, below, value, _mm512_set1_epi32(1))));
  for (uint32_t i = 0; i < kWideGroup; ++i) out[queue.sample[at + i]] = bytes[i];
  return open;
}

// Judges all that is queued of a row. The last 16 are filled up with one of them, which does no
// harm.
DIBKIT_AVX512 __attribute__((noinline)) void Empty(const LinePlan& plan, const RowBatch& batch,
                                                   uint32_t row, const WideLanes& lanes,
                                                   OpenQueue* queue) {
  if (queue->count == 0) return;
  uint8_t* const out = batch.Out(row);
  std::fill_n(queue->sample + queue->count, kWideGroup, queue->sample[queue->count - 1]);
  std::fill_n(queue->corners + queue->count, kWideGroup, queue->corners[queue->count - 1]);
  for (uint32_t at = 0; at < queue->count; at += kWideGroup) {
    for (uint32_t open = JudgeOpen(plan, lanes, *queue, at, out); open != 0; open &= open - 1) {
      const uint32_t sample = queue->sample[at + static_cast<uint32_t>(std::countr_zero(open))];
      SettleSamples(plan, batch.phases[row], batch.rowA, batch.rowB, out, sample, 1);
    }
  }
  queue->count = 0;
}

// FlatBytes for the wide form.
template <int kChunks>
DIBKIT_AVX512_INLINE bool WideFlatBytes(const Tables& tables, const uint8_t* rowA,
                                        const uint8_t* rowB, size_t group, __m512i* bytes) {
  constexpr int kOrXor = 0xF6;  // x | (y ^ z)
  __m512i other = _mm512_setzero_si512();
  __m512i value[kWideTogether];
#pragma GCC unroll 4
  for (uint32_t i = 0; i < kWideTogether; ++i) {
    const __m512i a = WidePairs<kChunks>(tables, rowA, group + i);
    const __m512i b = WidePairs<kChunks>(tables, rowB, group + i);
    other = _mm512_ternarylogic_epi64(other, a, b, kOrXor);
    other = _mm512_ternarylogic_epi64(other, a, _mm512_rol_epi32(a, 16), kOrXor);
    value[i] = _mm512_srli_epi32(a, 16);
  }
  *bytes = _mm512_packus_epi16(_mm512_packus_epi32(value[0], value[1]),
                               _mm512_packus_epi32(value[2], value[3]));
  return _mm512_test_epi64_mask(other, other) == 0;
}

// Masks for the four groups of lanes of a pass.
struct PassLanes {
  __mmask16 of[4];

  bool None() const { return (of[0] | of[1] | of[2] | of[3]) == 0; }
  bool All() const { return (of[0] & of[1] & of[2] & of[3]) == 0xFFFF; }
};

// The four samples of each lane, as bytes: A left, B left, A right, B right. A lane where they are
// all equal is right as it is, for all that single precision knows.
struct PassCorners {
  __m512i of[4];
  PassLanes uneven;
};

DIBKIT_AVX512_INLINE void FindUneven(PassCorners* corners) {
#pragma GCC unroll 4
  for (uint32_t i = 0; i < 4; ++i) {
    corners->uneven.of[i] =
        _mm512_cmpneq_epi32_mask(corners->of[i], _mm512_rol_epi32(corners->of[i], 8));
  }
}

// The lanes that are near an integer and not flat: open.
DIBKIT_AVX512_INLINE PassLanes OpenLanes(const PassLanes& near, const PassCorners& corners) {
  PassLanes open;
#pragma GCC unroll 4
  for (uint32_t i = 0; i < 4; ++i) {
    open.of[i] = static_cast<__mmask16>(near.of[i] & corners.uneven.of[i]);
  }
  return open;
}

// Queues the open lanes of a pass. Lane j of group i is the pass's byte order.of[i][j].
DIBKIT_AVX512_INLINE void QueuePass(uint32_t samples, uint32_t first, const PassLanes& open,
                                    const PassCorners& corners, const __m512i* order,
                                    OpenQueue* queue) {
  const __m512i start = _mm512_set1_epi32(static_cast<int>(first));
#pragma GCC unroll 4
  for (uint32_t i = 0; i < 4; ++i) {
    QueueOpen(samples, open.of[i], _mm512_add_epi32(start, order[i]), corners.of[i], queue);
  }
}

// The part of 16 output bytes that all rows between the same two source rows share.
struct WideShare {
  __m512i a, b;  // pairs of samples, as words
  __m512 top;    // A's value with 16 bits behind the point, raised by 4 of its last places
  __m512 down;   // V
};

template <int kChunks>
DIBKIT_AVX512_INLINE WideShare MakeWideShare(const Tables& tables, const WideLanes& lanes,
                                             const RowBatch& batch, size_t group) {
  const __m512i weights =
      _mm512_load_si512(tables.wideWeights + size_t{tables.alike[group]} * 2 * kWideGroup);
  const __m512i a = WidePairs<kChunks>(tables, batch.rowA, group);
  const __m512i b = WidePairs<kChunks>(tables, batch.rowB, group);
  const __m512i sumA = _mm512_madd_epi16(a, weights);
  const __m512i sumB = _mm512_madd_epi16(b, weights);
  return {a, b, _mm512_fmadd_ps(_mm512_cvtepi32_ps(sumA), lanes.scaleA, _mm512_set1_ps(4)),
          _mm512_cvtepi32_ps(_mm512_sub_epi32(sumB, sumA))};
}

DIBKIT_AVX512_INLINE void FindWideCorners(const WideShare* share, PassCorners* corners) {
#pragma GCC unroll 4
  for (uint32_t i = 0; i < kWideTogether; ++i) {
    corners->of[i] = _mm512_or_si512(share[i].a, _mm512_slli_epi32(share[i].b, 8));
  }
  FindUneven(corners);
}

// One row's 64 bytes, still in the order that packing leaves; `near`: the lanes that lie too near
// to an integer.
DIBKIT_AVX512_INLINE __m512i WideBytes(const WideShare* share, __m512 scaleV, PassLanes* near) {
  __m512i value[kWideTogether];
#pragma GCC unroll 4
  for (uint32_t i = 0; i < kWideTogether; ++i) {
    const __m512i fixed = _mm512_cvtps_epi32(_mm512_fmadd_ps(share[i].down, scaleV, share[i].top));
    near->of[i] = _mm512_testn_epi32_mask(fixed, _mm512_set1_epi32(0xFFF8));
    value[i] = _mm512_srli_epi32(fixed, 16);
  }
  return _mm512_packus_epi16(_mm512_packus_epi32(value[0], value[1]),
                             _mm512_packus_epi32(value[2], value[3]));
}

// The bytes of each group of lanes: 16 after 16.
struct WideOrder {
  __m512i of[4];
};

DIBKIT_AVX512_INLINE WideOrder MakeWideOrder() {
  const __m512i first = _mm512_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15);
  return {first, _mm512_add_epi32(first, _mm512_set1_epi32(16)),
          _mm512_add_epi32(first, _mm512_set1_epi32(32)),
          _mm512_add_epi32(first, _mm512_set1_epi32(48))};
}

template <int kChunks>
DIBKIT_AVX512 void WideRows(const LinePlan& plan, const RowBatch& batch) {
  const Tables tables(plan);
  WideLanes lanes[RowBatch::kMost];
  OpenQueue queues[RowBatch::kMost];
  for (uint32_t row = 0; row < batch.count; ++row) {
    lanes[row] = MakeWideLanes(plan, batch.phases[row]);
  }
  const __m512i order = _mm512_setr_epi32(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15);
  PassTraffic beside(batch.traffic, tables.groups / kWideTogether);
  bool flat = false;
  for (uint32_t group = 0; group < tables.groups; group += kWideTogether) {
    Carry(&beside);
    const uint32_t done = group * kWideGroup;
    const __mmask64 used = UsedLanes(tables, done);
    __m512i bytes;
    if (flat && WideFlatBytes<kChunks>(tables, batch.rowA, batch.rowB, group, &bytes)) {
      bytes = _mm512_permutexvar_epi32(order, bytes);
      for (uint32_t row = 0; row < batch.count; ++row) {
        _mm512_mask_storeu_epi8(batch.Out(row) + done, used, bytes);
      }
      continue;
    }
    WideShare share[kWideTogether];
#pragma GCC unroll 4
    for (uint32_t i = 0; i < kWideTogether; ++i) {
      share[i] = MakeWideShare<kChunks>(tables, lanes[0], batch, group + i);
    }
    // Many passes have flat lanes: told apart once for all rows, when the first asks.
    PassCorners corners;
    bool known = false;
    for (uint32_t row = 0; row < batch.count; ++row) {
      uint8_t* const out = batch.Out(row);
      PrefetchOutput(tables, out, done);
      PassLanes near;
      bytes = WideBytes(share, lanes[row].scaleV, &near);
      _mm512_mask_storeu_epi8(out + done, used, _mm512_permutexvar_epi32(order, bytes));
      flat = near.All();
      if (near.None()) continue;
      if (!known) FindWideCorners(share, &corners);
      known = true;
      const PassLanes open = OpenLanes(near, corners);
      if (open.None()) continue;
      QueuePass(tables.samples, done, open, corners, MakeWideOrder().of, &queues[row]);
      if (queues[row].Full()) Empty(plan, batch, row, lanes[row], &queues[row]);
    }
  }
  for (uint32_t row = 0; row < batch.count; ++row) {
    Empty(plan, batch, row, lanes[row], &queues[row]);
  }
}

// ---- The wide form with weights of a byte: sums of 16 bits, 32 to a vector ----

struct MixedShare {
  __m512i a, b;       // pairs of samples
  __m512i low, high;  // weighted sums (A, B) of samples 0 to 3, 8 to 11, ... and of the others
};

template <int kChunks>
DIBKIT_AVX512_INLINE MixedShare MakeMixedShare(const Tables& tables, const uint8_t* rowA,
                                               const uint8_t* rowB, size_t group) {
  const __m512i weights = _mm512_load_si512(tables.weights + size_t{tables.alike[group]} * 64);
  const __m512i a = Pairs<kChunks>(tables, rowA, group);
  const __m512i b = Pairs<kChunks>(tables, rowB, group);
  const __m512i sumA = _mm512_maddubs_epi16(a, weights);
  const __m512i sumB = _mm512_maddubs_epi16(b, weights);
  return {a, b, _mm512_unpacklo_epi16(sumA, sumB), _mm512_unpackhi_epi16(sumA, sumB)};
}

DIBKIT_AVX512_INLINE void FindMixedCorners(const MixedShare* share, PassCorners* corners) {
#pragma GCC unroll 2
  for (uint32_t i = 0; i < 2; ++i) {
    corners->of[2 * i] = _mm512_unpacklo_epi8(share[i].a, share[i].b);
    corners->of[2 * i + 1] = _mm512_unpackhi_epi8(share[i].a, share[i].b);
  }
  FindUneven(corners);
}

// The value with 16 bits behind the point, raised by 4 of its last places, as a word.
DIBKIT_AVX512_INLINE __m512i MixedValue(__m512i sums, __m512i weights, __m512 scale,
                                        __mmask16* near) {
  const __m512i fixed = _mm512_cvtps_epi32(_mm512_fmadd_ps(
      _mm512_cvtepi32_ps(_mm512_madd_epi16(sums, weights)), scale, _mm512_set1_ps(4)));
  *near = _mm512_testn_epi32_mask(fixed, _mm512_set1_epi32(0xFFF8));
  return _mm512_srli_epi32(fixed, 16);
}

// WideBytes of these.
DIBKIT_AVX512_INLINE __m512i MixedBytes(const MixedShare* share, __m512i weights, __m512 scale,
                                        PassLanes* near) {
  const __m512i first =
      _mm512_packus_epi32(MixedValue(share[0].low, weights, scale, &near->of[0]),
                          MixedValue(share[0].high, weights, scale, &near->of[1]));
  const __m512i last = _mm512_packus_epi32(MixedValue(share[1].low, weights, scale, &near->of[2]),
                                           MixedValue(share[1].high, weights, scale, &near->of[3]));
  return _mm512_packus_epi16(first, last);
}

// The bytes of each group of lanes: fours of the first 32 in turns, then fours of the others.
DIBKIT_AVX512_INLINE WideOrder MakeMixedOrder() {
  const __m512i first = _mm512_setr_epi32(0, 1, 2, 3, 8, 9, 10, 11, 16, 17, 18, 19, 24, 25, 26, 27);
  return {first, _mm512_add_epi32(first, _mm512_set1_epi32(4)),
          _mm512_add_epi32(first, _mm512_set1_epi32(32)),
          _mm512_add_epi32(first, _mm512_set1_epi32(36))};
}

// Pairs of words (Qy - q, q).
DIBKIT_AVX512_INLINE __m512i MixedWeights(const LinePlan& plan, const RowPhase& row) {
  return _mm512_set1_epi32(static_cast<int>((plan.partsY - row.phase) | (row.phase << 16)));
}

template <int kChunks, bool kOne>
DIBKIT_AVX512 void MixedRows(const LinePlan& plan, const RowBatch& batch) {
  const Tables tables(plan);
  constexpr uint32_t kMost = kOne ? 1 : RowBatch::kMost;
  const uint32_t count = kOne ? 1 : batch.count;
  WideLanes lanes[kMost];
  OpenQueue queues[kMost];
  __m512i weights[kMost];
  uint8_t* out[kMost];
  for (uint32_t row = 0; row < count; ++row) {
    lanes[row] = MakeWideLanes(plan, batch.phases[row]);
    weights[row] = MixedWeights(plan, batch.phases[row]);
    out[row] = batch.Out(row);
  }
  const uint8_t* const rowA = batch.rowA;
  const uint8_t* const rowB = batch.rowB;
  const __m512 scale = _mm512_set1_ps(static_cast<float>(65536.0 / plan.divisor));
  PassTraffic beside(batch.traffic, tables.groups / 2);
  bool flat = false;
  for (uint32_t group = 0; group < tables.groups; group += 2) {
    Carry(&beside);
    const uint32_t done = group * kGroup;
    __m512i bytes;
    if (flat && FlatBytes<kChunks>(tables, rowA, rowB, group, &bytes)) {
      for (uint32_t row = 0; row < count; ++row) StorePass(tables, out[row], done, bytes);
      continue;
    }
    const MixedShare share[2] = {MakeMixedShare<kChunks>(tables, rowA, rowB, group),
                                 MakeMixedShare<kChunks>(tables, rowA, rowB, group + 1)};
    PassCorners corners;
    bool known = false;
    for (uint32_t row = 0; row < count; ++row) {
      PrefetchOutput(tables, out[row], done);
      PassLanes near;
      bytes = MixedBytes(share, weights[row], scale, &near);
      StorePass(tables, out[row], done, bytes);
      flat = near.All();
      if (near.None()) continue;
      if (kOne || !known) FindMixedCorners(share, &corners);
      known = true;
      const PassLanes open = OpenLanes(near, corners);
      if (open.None()) continue;
      QueuePass(tables.samples, done, open, corners, MakeMixedOrder().of, &queues[row]);
      if (queues[row].Full()) Empty(plan, batch, row, lanes[row], &queues[row]);
    }
  }
  for (uint32_t row = 0; row < count; ++row) Empty(plan, batch, row, lanes[row], &queues[row]);
}

DIBKIT_AVX512 void MakeWideRows(const LinePlan& plan, const RowBatch& batch) {
  if (plan.byteWeights) {
    if (batch.count == 1) {
      return plan.chunks == 1 ? MixedRows<1, true>(plan, batch) : MixedRows<0, true>(plan, batch);
    }
    return plan.chunks == 1 ? MixedRows<1, false>(plan, batch) : MixedRows<0, false>(plan, batch);
  }
  return plan.chunks == 1 ? WideRows<1>(plan, batch) : WideRows<0>(plan, batch);
}

}  // namespace

const LineKernels kAvx512LineKernels = {
    {64, 2, 2}, {64, 4, 4}, EachRow<CopyLine>, MakeNarrowRows, MakeWideRows};

}  // namespace dibkit::resolution
