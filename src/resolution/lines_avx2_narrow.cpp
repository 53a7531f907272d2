// SPDX-License-Identifier: Apache-2.0
#include <bit>

#include "resolution/line_settle.h"
#include "resolution/lines_avx2.h"

// The narrow form: samples in lanes of 16 bits, 16 to a vector.

#ifdef DIBKIT_X86

namespace dibkit::resolution::avx2 {

namespace {

// Two parts each way: shifts divide, and steps are so short that one multiplied by more than the
// guard still fits 16 bits.
bool IsHalves(const LinePlan& plan) {
  return plan.partsX == 2 && plan.partsY == 2 && plan.fineGuard < 32;
}

// What a row's arithmetic needs in every lane.
struct RowLanes {
  __m256i weightA, weightB;  // Qy - q, q
  __m256i stepA, stepB;      // pairs (-(Qy - q), Qy - q) and (-q, q)
  __m256i errorY, nearErrorY;
  __m256i divisor, reciprocal, bias;
  __m256i steep;       // Qy, or 0 where vertical products are exact
  __m256i roundsFlat;  // all ones where products of columns without error are rounded too
  __m256i forgiven;    // what the last rounding forgives at most
  __m256i fineGuard;
  __m256i guardPower;  // a power of two that exceeds the guard
  __m128i reciprocalShift;
  bool nearFits, exactRow;
};

// Pairs of bytes (-weight, +weight): times a pair of samples they make its step, weighted.
DIBKIT_AVX2_INLINE __m256i StepPairs(uint32_t weight) {
  return Word((weight << 8) | (-weight & 0xFF));
}

DIBKIT_AVX2_INLINE RowLanes MakeRowLanes(const LinePlan& plan, const RowPhase& row) {
  RowLanes lanes;
  const double near = row.error * kNearGrid;
  lanes.exactRow = row.fraction.significand == 0;
  lanes.nearFits = near > -32767.0 && near < 32767.0 && plan.divisor <= 64;
  lanes.weightA = Word(plan.partsY - row.phase);
  lanes.weightB = Word(row.phase);
  lanes.stepA = StepPairs(plan.partsY - row.phase);
  lanes.stepB = StepPairs(row.phase);
  lanes.errorY = _mm256_set1_epi16(WeightOf(row.error, plan.errorScale));
  lanes.nearErrorY =
      _mm256_set1_epi16(lanes.nearFits ? WeightOf(row.error, kNearGrid) : int16_t{0});
  lanes.divisor = Word(plan.divisor);
  lanes.reciprocal = Word(plan.reciprocal);
  lanes.bias = Word(plan.reciprocalBias);
  lanes.steep = Word(lanes.exactRow ? 0 : plan.partsY);
  lanes.roundsFlat = Word(plan.shortParts ? 0 : 0xFFFF);
  lanes.forgiven = Word(lanes.exactRow ? 0 : 128 * plan.divisor);
  lanes.fineGuard = Word(plan.fineGuard);
  lanes.guardPower = Word(uint32_t{1} << std::bit_width(plan.fineGuard));
  lanes.reciprocalShift = _mm_cvtsi32_si128(static_cast<int>(plan.reciprocalShift));
  return lanes;
}

// An unsigned comparison, which AVX2 lacks.
DIBKIT_AVX2_INLINE __m256i AtMost(__m256i a, __m256i b) {
  return _mm256_cmpeq_epi16(_mm256_min_epu16(a, b), a);
}

DIBKIT_AVX2_INLINE __m256i IsZero(__m256i a) {
  return _mm256_cmpeq_epi16(a, _mm256_setzero_si256());
}

DIBKIT_AVX2_INLINE __m256i Divide(__m256i number, const RowLanes& lanes) {
  return _mm256_srl_epi16(
      _mm256_mulhi_epu16(_mm256_add_epi16(number, lanes.bias), lanes.reciprocal),
      lanes.reciprocalShift);
}

// Two groups on their way.
struct Group {
  __m256i a, b;  // pairs of samples
  __m256i sumA, sumB;
  __m256i number;        // ideal value * divisor
  __m256i across, down;  // H and V
  __m256i errorX;
  __m256i error;   // their weighted sum
  __m256i value;   // the output, in words
  __m256i unsure;  // not 0 in lanes whose error sum is too small
};

// H * X + V * Y, saturated to 16 bits.
DIBKIT_AVX2_INLINE __m256i ErrorSum(const Group& g, __m256i errorY) {
  const __m256i low = _mm256_madd_epi16(_mm256_unpacklo_epi16(g.across, g.down),
                                        _mm256_unpacklo_epi16(g.errorX, errorY));
  const __m256i high = _mm256_madd_epi16(_mm256_unpackhi_epi16(g.across, g.down),
                                         _mm256_unpackhi_epi16(g.errorX, errorY));
  return _mm256_packs_epi32(low, high);
}

// Of the lanes without a remainder, those whose sum does not decide (see lines_avx512_narrow.cpp).
// What the last rounding forgives exceeds half the number by half the divisor, so half of it and 1
// may be counted, for there are three parts or more. Thereby flat lanes, black ones too, are
// decided.
DIBKIT_AVX2_INLINE __m256i GridUnsure(const RowLanes& lanes, __m256i whole, __m256i negative,
                                      const Group& g) {
  const __m256i size =
      _mm256_slli_epi16(_mm256_min_epu16(_mm256_abs_epi16(g.error), _mm256_set1_epi16(255)), 8);
  const __m256i forgiven = _mm256_avg_epu16(g.number, _mm256_set1_epi16(1));
  const __m256i room = _mm256_adds_epu16(size, _mm256_andnot_si256(negative, forgiven));
  const __m256i reach = _mm256_subs_epu16(room, _mm256_and_si256(negative, lanes.forgiven));
  const __m256i rounding = _mm256_mullo_epi16(_mm256_abs_epi16(g.down), lanes.steep);
  return _mm256_and_si256(whole, AtMost(reach, rounding));
}

// A group of a level row, one whose fraction is 0: only A counts. From kFarColumn on every step is
// exact, and so is the sign of the error.
DIBKIT_AVX2_INLINE Group MakeLevelGroup(const Tables& tables, const RowLanes& lanes, __m256i a,
                                        size_t group) {
  Group g{};
  g.a = g.b = a;
  g.number = _mm256_mullo_epi16(_mm256_maddubs_epi16(a, Load(tables.weights + group * kGroupBytes)),
                                lanes.weightA);
  const __m256i ideal = Divide(g.number, lanes);
  g.errorX = Load(tables.xError + group * (kGroupBytes / 2));
  g.across = _mm256_maddubs_epi16(a, lanes.stepA);
  const __m256i whole = _mm256_cmpeq_epi16(_mm256_mullo_epi16(ideal, lanes.divisor), g.number);
  const __m256i negative = _mm256_srai_epi16(_mm256_mulhi_epi16(g.across, g.errorX), 15);
  g.value = _mm256_add_epi16(ideal, _mm256_and_si256(whole, negative));
  return g;
}

// The numbers of a group, and its error sum.
template <NarrowKind kKind>
DIBKIT_AVX2_INLINE Group WeighGroup(const Tables& tables, const RowLanes& lanes, __m256i a,
                                    __m256i b, size_t group) {
  Group g;
  g.a = a;
  g.b = b;
  const __m256i weights = Load(tables.weights + group * kGroupBytes);
  g.sumA = _mm256_maddubs_epi16(a, weights);
  g.sumB = _mm256_maddubs_epi16(b, weights);
  g.down = _mm256_sub_epi16(g.sumB, g.sumA);
  g.across = _mm256_maddubs_epi16(a, lanes.stepA);
  if (kKind != NarrowKind::kTop) {
    g.across = _mm256_add_epi16(g.across, _mm256_maddubs_epi16(b, lanes.stepB));
  }
  g.errorX = Load(tables.xError + group * (kGroupBytes / 2));
  g.error = ErrorSum(g, lanes.errorY);
  return g;
}

// The ideal value times the divisor.
DIBKIT_AVX2_INLINE __m256i Number(const RowLanes& lanes, const Group& g) {
  return _mm256_add_epi16(_mm256_mullo_epi16(g.sumA, lanes.weightA),
                          _mm256_mullo_epi16(g.sumB, lanes.weightB));
}

// An error below 0 takes 1 off the number before the division, so there is no remainder to look at.
// An error is large enough if it exceeds the larger of |H| and |V| by the guard; where steps are
// short the guard may count once for each unit of theirs, which is one operation for both.
template <NarrowKind kKind>
DIBKIT_AVX2_INLINE Group MakeSmoothGroup(const Tables& tables, const RowLanes& lanes, __m256i a,
                                         __m256i b, size_t group) {
  Group g = WeighGroup<kKind>(tables, lanes, a, b, group);
  const __m256i below = _mm256_srli_epi16(g.error, 15);
  const __m256i size = _mm256_abs_epi16(g.error);
  const __m256i steps = _mm256_or_si256(_mm256_abs_epi16(g.across), _mm256_abs_epi16(g.down));
  if (kKind == NarrowKind::kSmooth) {
    g.value = Divide(_mm256_subs_epu16(Number(lanes, g), below), lanes);
    const __m256i small = AtMost(size, _mm256_adds_epu16(steps, lanes.fineGuard));
    g.unsure = _mm256_andnot_si256(IsZero(steps), small);
    return g;
  }
  g.value = kKind == NarrowKind::kTop
                ? _mm256_srli_epi16(_mm256_subs_epu16(g.sumA, below), 1)
                : _mm256_srli_epi16(_mm256_subs_epu16(_mm256_add_epi16(g.sumA, g.sumB), below), 2);
  g.unsure = _mm256_subs_epu16(_mm256_mullo_epi16(steps, lanes.guardPower), size);
  return g;
}

DIBKIT_AVX2_INLINE Group MakeGridGroup(const Tables& tables, const RowLanes& lanes, __m256i a,
                                       __m256i b, size_t group) {
  Group g = WeighGroup<NarrowKind::kGrid>(tables, lanes, a, b, group);
  g.number = Number(lanes, g);
  const __m256i ideal = Divide(g.number, lanes);
  const __m256i whole = _mm256_cmpeq_epi16(_mm256_mullo_epi16(ideal, lanes.divisor), g.number);
  const __m256i negative = _mm256_srai_epi16(g.error, 15);
  g.value = _mm256_add_epi16(ideal, _mm256_and_si256(whole, negative));
  g.unsure = GridUnsure(lanes, whole, negative, g);
  return g;
}

template <NarrowKind kKind, int kChunks>
DIBKIT_AVX2_INLINE Group MakeGroup(const Tables& tables, const RowLanes& lanes, const RowWork& work,
                                   size_t group) {
  const __m256i a = Pairs<kChunks>(tables, work.rowA, group);
  if (kKind == NarrowKind::kGridLevel) return MakeLevelGroup(tables, lanes, a, group);
  const __m256i b = Pairs<kChunks>(tables, work.rowB, group);
  if (kKind == NarrowKind::kGrid) return MakeGridGroup(tables, lanes, a, b, group);
  return MakeSmoothGroup<kKind>(tables, lanes, a, b, group);
}

// Leaves of the unsure lanes those that the error decides: no remainder and not flat.
DIBKIT_AVX2_INLINE __m256i FindOpen(const RowLanes& lanes, Group* g) {
  const __m256i ideal = Divide(g->number, lanes);
  const __m256i whole = _mm256_cmpeq_epi16(_mm256_mullo_epi16(ideal, lanes.divisor), g->number);
  const __m256i sure = _mm256_or_si256(IsZero(g->unsure), Flat(g->a, g->b));
  g->unsure = _mm256_andnot_si256(sure, whole);
  return ideal;
}

DIBKIT_AVX2_INLINE void Settle(__m256i lanes, __m256i value, Group* g) {
  g->value = _mm256_blendv_epi8(g->value, value, lanes);
  g->unsure = _mm256_andnot_si256(lanes, g->unsure);
}

// The sum against a guard of each lane's own.
DIBKIT_AVX2_INLINE void LookSmooth(const RowLanes& lanes, __m256i fineGuard, Group* g) {
  g->number = Number(lanes, *g);
  const __m256i ideal = FindOpen(lanes, g);
  const __m256i guard = _mm256_adds_epu16(
      _mm256_add_epi16(_mm256_abs_epi16(g->across), _mm256_abs_epi16(g->down)), fineGuard);
  const __m256i sure = _mm256_andnot_si256(AtMost(_mm256_abs_epi16(g->error), guard), g->unsure);
  Settle(sure, _mm256_add_epi16(ideal, _mm256_srai_epi16(g->error, 15)), g);
}

// Sums that are not negative, with the products of columns without error known to be exact.
DIBKIT_AVX2_INLINE void LookGrid(const RowLanes& lanes, Group* g) {
  const __m256i ideal = FindOpen(lanes, g);
  const __m256i size = _mm256_slli_epi16(_mm256_min_epi16(g->error, _mm256_set1_epi16(60)), 8);
  const __m256i room = _mm256_add_epi16(_mm256_srli_epi16(g->number, 1), size);
  const __m256i upright = _mm256_andnot_si256(lanes.roundsFlat, IsZero(g->errorX));
  const __m256i rounding =
      _mm256_andnot_si256(upright, _mm256_mullo_epi16(_mm256_abs_epi16(g->down), lanes.steep));
  const __m256i steady =
      _mm256_andnot_si256(_mm256_srai_epi16(g->error, 15), AtMost(rounding, room));
  Settle(_mm256_and_si256(g->unsure, steady), ideal, g);
}

// How far the arithmetic may round in a near column, in units of 2^-62 / divisor.
DIBKIT_AVX2_INLINE __m256i NearRounding(const RowLanes& lanes, const Group& g) {
  const __m256i step = _mm256_set1_epi16(0x01FF);
  const __m256i stepA = _mm256_abs_epi16(_mm256_maddubs_epi16(g.a, step));
  const __m256i stepB = _mm256_abs_epi16(_mm256_maddubs_epi16(g.b, step));
  const __m256i down =
      _mm256_srli_epi16(_mm256_mullo_epi16(_mm256_abs_epi16(g.down), lanes.steep), 1);
  const __m256i one = _mm256_srli_epi16(_mm256_mullo_epi16(stepA, lanes.divisor), 2);
  const __m256i sizes = _mm256_add_epi16(_mm256_add_epi16(stepA, stepB), _mm256_set1_epi16(255));
  const __m256i both =
      _mm256_adds_epu16(down, _mm256_srli_epi16(_mm256_mullo_epi16(sizes, lanes.divisor), 2));
  const __m256i alone = lanes.exactRow ? _mm256_set1_epi16(-1) : _mm256_cmpeq_epi16(g.a, g.b);
  const __m256i slanted = _mm256_blendv_epi8(both, one, alone);
  return _mm256_adds_epu16(_mm256_blendv_epi8(slanted, down, IsZero(g.errorX)),
                           _mm256_set1_epi16(2));
}

DIBKIT_AVX2_INLINE void LookNearGrid(const RowLanes& lanes, Group* g) {
  const __m256i ideal = FindOpen(lanes, g);
  if (!lanes.nearFits) return;
  const __m256i largest = _mm256_set1_epi16(32767);
  const __m256i error = ErrorSum(*g, lanes.nearErrorY);
  const __m256i rounding = _mm256_min_epu16(NearRounding(lanes, *g), largest);
  const __m256i fits =
      _mm256_andnot_si256(_mm256_cmpeq_epi16(g->errorX, _mm256_set1_epi16(kNoWeight)), g->unsure);
  const __m256i above = _mm256_adds_epi16(error, _mm256_srli_epi16(g->number, 3));
  const __m256i same = _mm256_andnot_si256(_mm256_cmpgt_epi16(rounding, above), fits);
  const __m256i least =
      _mm256_min_epu16(_mm256_adds_epu16(rounding, _mm256_srli_epi16(g->number, 2)), largest);
  const __m256i under = _mm256_subs_epi16(_mm256_setzero_si256(), error);
  const __m256i below = _mm256_and_si256(fits, _mm256_cmpgt_epi16(under, least));
  Settle(same, ideal, g);
  Settle(below, _mm256_sub_epi16(ideal, _mm256_set1_epi16(1)), g);
}

// Takes a closer look at the unsure lanes of a group (in near columns: all lanes) and settles what
// it can.
template <NarrowKind kKind>
DIBKIT_AVX2_INLINE void Look(const LinePlan& plan, const RowLanes& lanes, bool near, Group* g) {
  if (near) g->unsure = _mm256_set1_epi16(-1);
  if (IsSmooth(kKind)) {
    LookSmooth(lanes, near ? Word(plan.nearFineGuard) : lanes.fineGuard, g);
  } else if (near) {
    LookNearGrid(lanes, g);
  } else {
    LookGrid(lanes, g);
  }
}

DIBKIT_AVX2_INLINE __m256i PassValues(const Group& first, const Group& last) {
  return InOrder(_mm256_packus_epi16(first.value, last.value));
}

// A pass that has unsure lanes. Apart from the others, and from the beginning, so that those need
// not keep what only this looks at.
template <NarrowKind kKind, int kChunks>
DIBKIT_AVX2 __attribute__((noinline)) void LookAgain(const RowWork& work, const RowPhase& row,
                                                     const RowLanes& lanes, uint32_t group) {
  const LinePlan& plan = work.plan;
  const Tables tables(plan);
  const uint32_t done = group * (kGroupBytes / 2);
  const bool isNear = group < tables.nearGroups;
  Group first = MakeGroup<kKind, kChunks>(tables, lanes, work, group);
  Group last = MakeGroup<kKind, kChunks>(tables, lanes, work, group + 2);
  Look<kKind>(plan, lanes, isNear, &first);
  Look<kKind>(plan, lanes, isNear, &last);
  Store(tables, work.out, done, PassValues(first, last));
  const auto open = static_cast<uint32_t>(
      _mm256_movemask_epi8(InOrder(_mm256_packs_epi16(first.unsure, last.unsure))));
  const uint32_t used = open & UsedLanes(tables, done);
  if (used != 0) SettleSamples(plan, row, work.rowA, work.rowB, work.out, done, used);
}

// Makes a pass; tells whether it is sure.
template <NarrowKind kKind, int kChunks>
DIBKIT_AVX2_INLINE bool NarrowPass(const Tables& tables, const RowWork& work, const RowLanes& lanes,
                                   uint32_t group, uint8_t* out) {
  const Group first = MakeGroup<kKind, kChunks>(tables, lanes, work, group);
  const Group last = MakeGroup<kKind, kChunks>(tables, lanes, work, group + 2);
  Store(tables, out, group * (kGroupBytes / 2), PassValues(first, last));
  const __m256i unsure = _mm256_or_si256(first.unsure, last.unsure);
  return _mm256_testz_si256(unsure, unsure) != 0;
}

template <NarrowKind kKind, int kChunks>
DIBKIT_AVX2 void NarrowRow(const LinePlan& plan, const RowBatch& batch) {
  const Tables tables(plan);
  RowWork work(plan, batch);
  const RowLanes lanes = MakeRowLanes(plan, batch.phases[0]);
  for (uint32_t group = 0; group < tables.groups;) {
    group = SkipFlat(work, group);
    const uint32_t end = std::min(tables.groups, group + work.passGroups);
    for (; group < end; group += 4) {
      const uint32_t done = group * (kGroupBytes / 2);
      work.traffic.Carry(done);
      PrefetchOutput(tables.samples, work.out, done);
      if (group < tables.nearGroups ||
          !NarrowPass<kKind, kChunks>(tables, work, lanes, group, batch.out)) {
        LookAgain<kKind, kChunks>(work, batch.phases[0], lanes, group);
      }
    }
  }
}

template <NarrowKind kKind>
DIBKIT_AVX2 void NarrowForm(const LinePlan& plan, const RowBatch& batch) {
  if (plan.chunks == 1) return NarrowRow<kKind, 1>(plan, batch);
  if (plan.chunks == 2) return NarrowRow<kKind, 2>(plan, batch);
  return NarrowRow<kKind, 0>(plan, batch);
}

DIBKIT_AVX2 void NarrowLine(const LinePlan& plan, const RowPhase& row, const uint8_t* rowA,
                            const uint8_t* rowB, const Traffic& traffic, uint8_t* out) {
  RowBatch single{rowA, rowB, 1, {row}, out, 0, traffic};
  if (plan.errors == ErrorForm::kGrid) {
    if (row.fraction.significand != 0) return NarrowForm<NarrowKind::kGrid>(plan, single);
    single.rowB = rowA;  // level rows must not read the second
    return NarrowForm<NarrowKind::kGridLevel>(plan, single);
  }
  if (!IsHalves(plan) || row.phase == plan.partsY) {
    return NarrowForm<NarrowKind::kSmooth>(plan, single);
  }
  row.phase == 0 ? NarrowForm<NarrowKind::kTop>(plan, single)
                 : NarrowForm<NarrowKind::kMiddle>(plan, single);
}

// ---- The narrow form without errors: all parts are powers of two ----

struct ExactGroup {
  __m256i top;   // A's weighted sum times Qy
  __m256i down;  // V
};

template <int kChunks>
DIBKIT_AVX2_INLINE ExactGroup MakeExactGroup(const Tables& tables, const uint8_t* rowA,
                                             const uint8_t* rowB, size_t group, __m256i partsY) {
  const __m256i weights = Load(tables.weights + group * kGroupBytes);
  const __m256i sumA = _mm256_maddubs_epi16(Pairs<kChunks>(tables, rowA, group), weights);
  const __m256i sumB = _mm256_maddubs_epi16(Pairs<kChunks>(tables, rowB, group), weights);
  return {_mm256_mullo_epi16(sumA, partsY), _mm256_sub_epi16(sumB, sumA)};
}

// Multiplications are quicker than shifts that are not known beforehand.
DIBKIT_AVX2_INLINE __m256i ExactValue(const ExactGroup& g, __m256i phase, __m256i reciprocal) {
  return _mm256_mulhi_epu16(_mm256_add_epi16(g.top, _mm256_mullo_epi16(g.down, phase)), reciprocal);
}

template <int kChunks>
DIBKIT_AVX2 void ExactRows(const LinePlan& plan, const RowBatch& batch) {
  const Tables tables(plan);
  const __m256i partsY = Word(plan.partsY);
  const __m256i reciprocal = Word(65536 / plan.divisor);
  // A level row that is alone must not read the second.
  const bool level = batch.count == 1 && batch.phases[0].phase == 0;
  const uint8_t* const rowA = batch.rowA;
  const uint8_t* const rowB = level ? rowA : batch.rowB;
  RowTraffic beside(batch.traffic, plan);
  for (uint32_t group = 0; group < tables.groups; group += 4) {
    const uint32_t done = group * (kGroupBytes / 2);
    beside.Carry(done);
    const ExactGroup first = MakeExactGroup<kChunks>(tables, rowA, rowB, group, partsY);
    const ExactGroup last = MakeExactGroup<kChunks>(tables, rowA, rowB, group + 2, partsY);
    for (uint32_t row = 0; row < batch.count; ++row) {
      const __m256i phase = Word(batch.phases[row].phase);
      const __m256i packed = _mm256_packus_epi16(ExactValue(first, phase, reciprocal),
                                                 ExactValue(last, phase, reciprocal));
      Store(tables, batch.Out(row), done, InOrder(packed));
    }
  }
}

// The sums of two groups for a row at a source row and for the one in the middle.
struct DoubleGroup {
  __m256i upper, lower;
};

template <int kChunks>
DIBKIT_AVX2_INLINE DoubleGroup MakeDoubleGroup(const Tables& tables, const uint8_t* rowA,
                                               const uint8_t* rowB, size_t group) {
  const __m256i weights = Load(tables.weights + group * kGroupBytes);
  const __m256i sumA = _mm256_maddubs_epi16(Pairs<kChunks>(tables, rowA, group), weights);
  const __m256i sumB = _mm256_maddubs_epi16(Pairs<kChunks>(tables, rowB, group), weights);
  return {_mm256_srli_epi16(sumA, 1), _mm256_srli_epi16(_mm256_add_epi16(sumA, sumB), 2)};
}

// Whether two rows are made of two, twice as wide as those.
bool Doubles(const LinePlan& plan, const RowBatch& batch) {
  return plan.partsX == 2 && plan.partsY == 2 && batch.count == 2 && batch.phases[0].phase == 0 &&
         batch.phases[1].phase == 1;
}

template <int kChunks>
DIBKIT_AVX2 void DoubleRows(const LinePlan& plan, const RowBatch& batch) {
  const Tables tables(plan);
  const uint8_t *const rowA = batch.rowA, *const rowB = batch.rowB;
  uint8_t *const upper = batch.Out(0), *const lower = batch.Out(1);
  RowTraffic beside(batch.traffic, plan);
  for (uint32_t group = 0; group < tables.groups; group += 4) {
    const uint32_t done = group * (kGroupBytes / 2);
    beside.Carry(done);
    const DoubleGroup first = MakeDoubleGroup<kChunks>(tables, rowA, rowB, group);
    const DoubleGroup last = MakeDoubleGroup<kChunks>(tables, rowA, rowB, group + 2);
    Store(tables, upper, done, InOrder(_mm256_packus_epi16(first.upper, last.upper)));
    Store(tables, lower, done, InOrder(_mm256_packus_epi16(first.lower, last.lower)));
  }
}

}  // namespace

DIBKIT_AVX2 void MakeNarrowRows(const LinePlan& plan, const RowBatch& batch) {
  if (plan.errors != ErrorForm::kExact) return EachRow<NarrowLine>(plan, batch);
  if (plan.chunks != 1) return ExactRows<0>(plan, batch);
  return Doubles(plan, batch) ? DoubleRows<1>(plan, batch) : ExactRows<1>(plan, batch);
}

}  // namespace dibkit::resolution::avx2

#endif  // DIBKIT_X86
