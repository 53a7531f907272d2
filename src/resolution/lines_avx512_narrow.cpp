// SPDX-License-Identifier: Apache-2.0
#include <bit>

#include "resolution/line_settle.h"
#include "resolution/lines_avx512.h"

// The narrow form: samples in lanes of 16 bits, a group of 32 to a vector.

#ifdef DIBKIT_X86
namespace dibkit::resolution::avx512 {

namespace {

// Few parts, powers of two: shifts divide, and steps are so short that one multiplied by more than
// the guard still fits 16 bits. Where a row of phase 0 has H = V = 0 the left samples are equal to
// the ideal value n and A is exact, so that the result is n + (b - n) * fy. Both factors are errors
// (b's is 255 * X / Qx and its rounding); when their product is below 2^-66 the sum is n again.
bool IsBinary(const LinePlan& plan) {
  const double errorX = 32766 / plan.errorScale;  // at least as large as any
  return std::has_single_bit(plan.divisor) && plan.partsX <= 4 && plan.partsY <= 2 &&
         plan.fineGuard < 32 && (255 * errorX + 0x1p-55) * plan.rowErrorBound < 0x1p-66;
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

DIBKIT_AVX512_INLINE __m512i Divide(__m512i number, const RowLanes& lanes) {
  return _mm512_srlv_epi16(_mm512_mulhi_epu16(number, lanes.reciprocal), lanes.reciprocalShift);
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

// The ideal value, or one less where `error` is below 0 and the ideal value is an integer: 1 taken
// off the number before the division does that without a look at the remainder.
DIBKIT_AVX512_INLINE __m512i ValueOf(__m512i number, __m512i error, const RowLanes& lanes) {
  const __m512i below = _mm512_srli_epi16(error, 15);
  return Divide(_mm512_add_epi16(_mm512_subs_epu16(number, below), lanes.bias), lanes);
}

// A group of a level row. From kFarColumn on every step is exact, and so is the sign of the error.
DIBKIT_AVX512_INLINE Group MakeLevelGroup(const Tables& tables, const RowLanes& lanes,
                                          __mmask32 near, __m512i a, size_t group) {
  Group g{};
  g.a = g.b = a;
  g.number = _mm512_mullo_epi16(
      _mm512_maddubs_epi16(a, _mm512_load_si512(tables.weights + size_t{tables.alike[group]} * 64)),
      lanes.weightA);
  g.errorX = _mm512_load_si512(tables.xError + group * kGroup);
  g.across = _mm512_maddubs_epi16(a, lanes.stepA);
  g.value = ValueOf(g.number, _mm512_mulhi_epi16(g.across, g.errorX), lanes);
  g.unsure = near;
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

// An error is large enough if it exceeds the larger of |H| and |V| by the guard; where steps are
// short the guard may count once for each unit of theirs, which is one operation for both.
template <NarrowKind kKind>
DIBKIT_AVX512_INLINE Group MakeSmoothGroup(const Tables& tables, const RowLanes& lanes,
                                           __mmask32 near, __m512i a, __m512i b, size_t group) {
  Group g = WeighGroup<kKind>(tables, lanes, a, b, group);
  const __m512i size = _mm512_abs_epi16(g.error);
  g.steps = _mm512_or_si512(_mm512_abs_epi16(g.across), _mm512_abs_epi16(g.down));
  if (kKind == NarrowKind::kSmooth) {
    g.value = ValueOf(Number(lanes, g), g.error, lanes);
    const __mmask32 stepped = _mm512_test_epi16_mask(g.steps, g.steps);
    g.unsure = near | _mm512_mask_cmple_epu16_mask(stepped, size,
                                                   _mm512_adds_epu16(g.steps, lanes.fineGuard));
  } else {
    g.value = _mm512_srlv_epi16(
        _mm512_subs_epu16(SumToDivide<kKind>(g), _mm512_srli_epi16(g.error, 15)), lanes.shift);
    g.unsure = near | _mm512_cmplt_epu16_mask(size, _mm512_sllv_epi16(g.steps, lanes.guardShift));
  }
  return g;
}

DIBKIT_AVX512_INLINE Group MakeGridGroup(const Tables& tables, const RowLanes& lanes,
                                         __mmask32 near, __m512i a, __m512i b, size_t group) {
  Group g = WeighGroup<NarrowKind::kGrid>(tables, lanes, a, b, group);
  g.number = Number(lanes, g);
  g.steps = _mm512_or_si512(g.across, g.down);
  const __m512i ideal = Divide(_mm512_add_epi16(g.number, lanes.bias), lanes);
  const __mmask32 whole =
      _mm512_cmpeq_epi16_mask(_mm512_mullo_epi16(ideal, lanes.divisor), g.number);
  const __mmask32 negative = _mm512_movepi16_mask(g.error);
  g.value = _mm512_mask_sub_epi16(ideal, whole & negative, ideal, _mm512_set1_epi16(1));
  g.unsure = GridUnsure(lanes, whole, negative, g) | (whole & near);
  return g;
}

template <NarrowKind kKind>
DIBKIT_AVX512_INLINE Group MakeGroup(const Tables& tables, const RowLanes& lanes, __mmask32 near,
                                     __m512i a, __m512i b, size_t group) {
  if (kKind == NarrowKind::kGridLevel) return MakeLevelGroup(tables, lanes, near, a, group);
  if (kKind == NarrowKind::kGrid) return MakeGridGroup(tables, lanes, near, a, b, group);
  return MakeSmoothGroup<kKind>(tables, lanes, near, a, b, group);
}

// Leaves of the unsure lanes those that the error decides: no remainder and not flat.
DIBKIT_AVX512_INLINE __m512i FindOpen(const RowLanes& lanes, Group* g) {
  g->unsure &= NotFlat(g->a, g->b);
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
  // See IsBinary(): where there is no step there is nothing to look at.
  if (kKind == NarrowKind::kTop) {
    g->unsure = _mm512_mask_test_epi16_mask(g->unsure, g->steps, g->steps);
  }
  if (IsSmooth(kKind)) {
    LookSmooth(lanes, near ? Word(plan.nearFineGuard) : lanes.fineGuard, g);
  } else if (near) {
    LookNearGrid(lanes, g);
  } else {
    LookGrid(lanes, g);
  }
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

}  // namespace

DIBKIT_AVX512 void MakeNarrowRows(const LinePlan& plan, const RowBatch& batch) {
  if (plan.errors != ErrorForm::kExact) return EachRow<NarrowLine>(plan, batch);
  if (plan.chunks == 1) return ExactRows<1>(plan, batch);
  return ExactRows<0>(plan, batch);
}

}  // namespace dibkit::resolution::avx512

#endif  // DIBKIT_X86
