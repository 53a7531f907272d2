// SPDX-License-Identifier: Apache-2.0

#include "common/simd.h"
#include "resolution/line_kernels.h"
#include "resolution/line_settle.h"

// AVX2 with FMA. The same arithmetic as lines_avx512.cpp, with masks in vectors of words; a group
// is 8 samples (4 in the wide form), two groups make a vector. docs/arithmetic.md explains the
// numbers.

#define DIBKIT_AVX2 __attribute__((target("avx2,fma")))
#define DIBKIT_AVX2_INLINE __attribute__((target("avx2,fma"), always_inline)) inline

namespace dibkit::resolution {

namespace {

constexpr uint32_t kGroupBytes = 16;
constexpr uint32_t kStore = 32;  // output bytes made at a time

DIBKIT_AVX2_INLINE __m256i Word(uint32_t value) {
  return _mm256_set1_epi16(static_cast<short>(value));
}

DIBKIT_AVX2_INLINE __m256i TwoHalves(const uint8_t* low, const uint8_t* high) {
  return _mm256_inserti128_si256(
      _mm256_castsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(low))),
      _mm_loadu_si128(reinterpret_cast<const __m128i*>(high)), 1);
}

DIBKIT_AVX2_INLINE __m256i Load(const void* at) {
  return _mm256_loadu_si256(static_cast<const __m256i*>(at));
}

// The pairs (left, right) of two groups' samples.
template <int kChunks>
DIBKIT_AVX2_INLINE __m256i Pairs(const LinePlan& plan, const uint8_t* row, size_t group) {
  const uint32_t chunks = kChunks != 0 ? kChunks : plan.chunks;
  const uint32_t* offsets = plan.offsets + group * chunks;
  const uint8_t* index = plan.index + group * chunks * kGroupBytes;
  if (kChunks == 1) {
    return _mm256_shuffle_epi8(TwoHalves(row + offsets[0], row + offsets[1]), Load(index));
  }
  __m256i pairs = _mm256_setzero_si256();
  for (uint32_t chunk = 0; chunk < chunks; ++chunk) {
    const __m256i bytes = TwoHalves(row + offsets[chunk], row + offsets[chunks + chunk]);
    const uint8_t* places = index + size_t{chunk} * kGroupBytes;
    pairs = _mm256_or_si256(
        pairs,
        _mm256_shuffle_epi8(bytes, TwoHalves(places, places + size_t{chunks} * kGroupBytes)));
  }
  return pairs;
}

// Stores 32 output bytes, or as many as the row still has.
DIBKIT_AVX2_INLINE void Store(const LinePlan& plan, uint8_t* out, uint32_t done, __m256i bytes) {
  const uint32_t left = plan.samples - done;
  if (left >= kStore) {
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + done), bytes);
    return;
  }
  alignas(32) uint8_t staged[kStore];
  _mm256_store_si256(reinterpret_cast<__m256i*>(staged), bytes);
  for (uint32_t i = 0; i < left; ++i) out[done + i] = staged[i];
}

DIBKIT_AVX2_INLINE uint32_t UsedLanes(const LinePlan& plan, uint32_t done) {
  const uint32_t left = plan.samples - done;
  return left >= kStore ? ~uint32_t{0} : (uint32_t{1} << left) - 1;
}

// A share of the bytes ahead: those of pass `pass`, at `step` bytes a pass.
DIBKIT_AVX2_INLINE void Prefetch(Ahead ahead, size_t pass, size_t step) {
  for (size_t at = pass * step; at < (pass + 1) * step && at < ahead.bytes; at += 64) {
    _mm_prefetch(reinterpret_cast<const char*>(ahead.from + at), _MM_HINT_T0);
  }
}

// ---- The narrow form: 16 samples in lanes of 16 bits ----

// What a row's arithmetic needs in every lane.
struct RowLanes {
  __m256i weightA, weightB;  // Qy - q, q
  __m256i errorY, nearErrorY;
  __m256i divisor, reciprocal, bias;
  __m256i steep;       // Qy, or 0 where vertical products are exact
  __m256i roundsFlat;  // all ones where products of columns without error are rounded too
  __m256i forgiven;    // what the last rounding forgives at most
  __m128i reciprocalShift;
  bool nearFits, exactRow;
};

DIBKIT_AVX2_INLINE RowLanes MakeRowLanes(const LinePlan& plan, const RowPhase& row) {
  RowLanes lanes;
  const double near = row.error * kNearGrid;
  lanes.exactRow = row.fraction.significand == 0;
  lanes.nearFits = near > -32767.0 && near < 32767.0 && plan.divisor <= 64;
  lanes.weightA = Word(plan.partsY - row.phase);
  lanes.weightB = Word(row.phase);
  lanes.errorY = _mm256_set1_epi16(WeightOf(row.error, plan.errorScale));
  lanes.nearErrorY =
      _mm256_set1_epi16(lanes.nearFits ? WeightOf(row.error, kNearGrid) : int16_t{0});
  lanes.divisor = Word(plan.divisor);
  lanes.reciprocal = Word(plan.reciprocal);
  lanes.bias = Word(plan.reciprocalBias);
  lanes.steep = Word(lanes.exactRow ? 0 : plan.partsY);
  lanes.roundsFlat = Word(plan.shortParts ? 0 : 0xFFFF);
  lanes.forgiven = Word(lanes.exactRow ? 0 : 128 * plan.divisor);
  lanes.reciprocalShift = _mm_cvtsi32_si128(static_cast<int>(plan.reciprocalShift));
  return lanes;
}

// Unsigned comparisons, which AVX2 lacks.
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
  __m256i a, b;          // pairs of samples
  __m256i number;        // ideal value * divisor
  __m256i across, down;  // H and V
  __m256i errorX;
  __m256i error;   // their weighted sum
  __m256i value;   // the output, in words
  __m256i unsure;  // lanes whose error sum is too small
};

// H * X + V * Y, saturated to 16 bits.
DIBKIT_AVX2_INLINE __m256i ErrorSum(const Group& g, __m256i errorY) {
  const __m256i low = _mm256_madd_epi16(_mm256_unpacklo_epi16(g.across, g.down),
                                        _mm256_unpacklo_epi16(g.errorX, errorY));
  const __m256i high = _mm256_madd_epi16(_mm256_unpackhi_epi16(g.across, g.down),
                                         _mm256_unpackhi_epi16(g.errorX, errorY));
  return _mm256_packs_epi32(low, high);
}

// Of `candidates`, the lanes whose sum does not decide (see lines_avx512.cpp).
DIBKIT_AVX2_INLINE __m256i GridUnsure(const RowLanes& lanes, __m256i candidates, __m256i negative,
                                      const Group& g) {
  const __m256i size =
      _mm256_slli_epi16(_mm256_min_epu16(_mm256_abs_epi16(g.error), _mm256_set1_epi16(255)), 8);
  const __m256i room = _mm256_adds_epu16(size, _mm256_srli_epi16(g.number, 1));
  const __m256i reach = _mm256_blendv_epi8(room, _mm256_subs_epu16(size, lanes.forgiven), negative);
  const __m256i rounding = _mm256_mullo_epi16(_mm256_abs_epi16(g.down), lanes.steep);
  return _mm256_and_si256(candidates, AtMost(reach, rounding));
}

template <ErrorForm kErrors>
DIBKIT_AVX2_INLINE Group MakeGroup(const LinePlan& plan, const RowLanes& lanes, __m256i most,
                                   __m256i near, __m256i a, __m256i b, size_t group) {
  Group g;
  g.a = a;
  g.b = b;
  g.unsure = _mm256_setzero_si256();
  const __m256i weights = Load(plan.weights + group * kGroupBytes);
  const __m256i sumA = _mm256_maddubs_epi16(a, weights);
  const __m256i sumB = _mm256_maddubs_epi16(b, weights);
  g.number = _mm256_add_epi16(_mm256_mullo_epi16(sumA, lanes.weightA),
                              _mm256_mullo_epi16(sumB, lanes.weightB));
  if (kErrors == ErrorForm::kExact) {
    g.value = Divide(g.number, lanes);
    return g;
  }
  const __m256i step = _mm256_set1_epi16(0x01FF);  // (-1, +1)
  g.across = _mm256_add_epi16(_mm256_mullo_epi16(_mm256_maddubs_epi16(a, step), lanes.weightA),
                              _mm256_mullo_epi16(_mm256_maddubs_epi16(b, step), lanes.weightB));
  g.down = _mm256_sub_epi16(sumB, sumA);
  g.errorX = Load(plan.xError + group * (kGroupBytes / 2));
  g.error = ErrorSum(g, lanes.errorY);
  const __m256i level = IsZero(_mm256_or_si256(g.across, g.down));
  if (kErrors == ErrorForm::kSmooth) {
    g.value = Divide(_mm256_subs_epu16(g.number, _mm256_srli_epi16(g.error, 15)), lanes);
    const __m256i small = AtMost(_mm256_abs_epi16(g.error), most);
    g.unsure = _mm256_andnot_si256(_mm256_andnot_si256(near, level), small);
  } else {
    const __m256i ideal = Divide(g.number, lanes);
    const __m256i whole = _mm256_cmpeq_epi16(_mm256_mullo_epi16(ideal, lanes.divisor), g.number);
    const __m256i negative = _mm256_srai_epi16(g.error, 15);
    g.value = _mm256_add_epi16(ideal, _mm256_and_si256(whole, negative));
    g.unsure = _mm256_or_si256(GridUnsure(lanes, _mm256_andnot_si256(level, whole), negative, g),
                               _mm256_and_si256(whole, near));
  }
  return g;
}

// Leaves of the unsure lanes those that the error decides: no remainder and not flat.
DIBKIT_AVX2_INLINE __m256i FindOpen(const RowLanes& lanes, Group* g) {
  const __m256i turned = _mm256_or_si256(_mm256_slli_epi16(g->a, 8), _mm256_srli_epi16(g->a, 8));
  const __m256i flat =
      _mm256_and_si256(_mm256_cmpeq_epi16(g->a, g->b), _mm256_cmpeq_epi16(g->a, turned));
  const __m256i ideal = Divide(g->number, lanes);
  const __m256i whole = _mm256_cmpeq_epi16(_mm256_mullo_epi16(ideal, lanes.divisor), g->number);
  g->unsure = _mm256_and_si256(_mm256_andnot_si256(flat, whole), g->unsure);
  return ideal;
}

DIBKIT_AVX2_INLINE void Settle(__m256i lanes, __m256i value, Group* g) {
  g->value = _mm256_blendv_epi8(g->value, value, lanes);
  g->unsure = _mm256_andnot_si256(lanes, g->unsure);
}

// The sum against a guard of each lane's own.
DIBKIT_AVX2_INLINE void LookSmooth(const RowLanes& lanes, __m256i fineGuard, Group* g) {
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

template <ErrorForm kErrors>
DIBKIT_AVX2_INLINE void Look(const LinePlan& plan, const RowLanes& lanes, bool near, Group* g) {
  if (kErrors == ErrorForm::kSmooth) {
    LookSmooth(lanes, Word(near ? plan.nearFineGuard : plan.fineGuard), g);
  } else if (near) {
    LookNearGrid(lanes, g);
  } else {
    LookGrid(lanes, g);
  }
}

// Words of two vectors as bytes in their order.
DIBKIT_AVX2_INLINE __m256i InOrder(__m256i packed) {
  return _mm256_permute4x64_epi64(packed, 0xD8);
}

template <ErrorForm kErrors, int kChunks>
DIBKIT_AVX2 void NarrowRow(const LinePlan& plan, const RowPhase& row, const uint8_t* rowA,
                           const uint8_t* rowB, Ahead ahead, uint8_t* out) {
  const RowLanes lanes = MakeRowLanes(plan, row);
  const size_t aheadStep = StepAhead(ahead, plan.groups / 4);
  for (uint32_t group = 0; group < plan.groups; group += 4) {
    Prefetch(ahead, group / 4, aheadStep);
    const bool isNear = group < plan.nearGroups;
    const __m256i near = _mm256_set1_epi16(isNear ? -1 : 0);
    const __m256i most = Word((isNear ? plan.nearGuard : plan.guard) - 1);
    Group first = MakeGroup<kErrors>(plan, lanes, most, near, Pairs<kChunks>(plan, rowA, group),
                                     Pairs<kChunks>(plan, rowB, group), group);
    Group second =
        MakeGroup<kErrors>(plan, lanes, most, near, Pairs<kChunks>(plan, rowA, group + 2),
                           Pairs<kChunks>(plan, rowB, group + 2), group + 2);
    const uint32_t done = group * (kGroupBytes / 2);
    const __m256i unsure = _mm256_or_si256(first.unsure, second.unsure);
    if (kErrors == ErrorForm::kExact || _mm256_testz_si256(unsure, unsure) != 0) {
      Store(plan, out, done, InOrder(_mm256_packus_epi16(first.value, second.value)));
      continue;
    }
    Look<kErrors>(plan, lanes, isNear, &first);
    Look<kErrors>(plan, lanes, isNear, &second);
    Store(plan, out, done, InOrder(_mm256_packus_epi16(first.value, second.value)));
    const auto open = static_cast<uint32_t>(
        _mm256_movemask_epi8(InOrder(_mm256_packs_epi16(first.unsure, second.unsure))));
    const uint32_t used = open & UsedLanes(plan, done);
    if (used != 0) SettleSamples(plan, row, rowA, rowB, out, done, used);
  }
}

template <ErrorForm kErrors>
DIBKIT_AVX2 void NarrowForm(const LinePlan& plan, const RowPhase& row, const uint8_t* rowA,
                            const uint8_t* rowB, Ahead ahead, uint8_t* out) {
  if (plan.chunks == 1) return NarrowRow<kErrors, 1>(plan, row, rowA, rowB, ahead, out);
  if (plan.chunks == 2) return NarrowRow<kErrors, 2>(plan, row, rowA, rowB, ahead, out);
  return NarrowRow<kErrors, 0>(plan, row, rowA, rowB, ahead, out);
}

DIBKIT_AVX2 void MakeNarrowLine(const LinePlan& plan, const RowPhase& row, const uint8_t* rowA,
                                const uint8_t* rowB, Ahead ahead, uint8_t* out) {
  switch (plan.errors) {
    case ErrorForm::kExact:
      return NarrowForm<ErrorForm::kExact>(plan, row, rowA, rowB, ahead, out);
    case ErrorForm::kSmooth:
      return NarrowForm<ErrorForm::kSmooth>(plan, row, rowA, rowB, ahead, out);
    case ErrorForm::kGrid:
      return NarrowForm<ErrorForm::kGrid>(plan, row, rowA, rowB, ahead, out);
  }
}

DIBKIT_AVX2 void MakeCopyLine(const LinePlan& plan, const RowPhase& /*row*/, const uint8_t* rowA,
                              const uint8_t* /*rowB*/, Ahead ahead, uint8_t* out) {
  const __m256i low = _mm256_set1_epi16(0xFF);
  const size_t aheadStep = StepAhead(ahead, plan.groups / 4);
  for (uint32_t group = 0; group < plan.groups; group += 4) {
    Prefetch(ahead, group / 4, aheadStep);
    const __m256i first = _mm256_and_si256(low, Pairs<0>(plan, rowA, group));
    const __m256i second = _mm256_and_si256(low, Pairs<0>(plan, rowA, group + 2));
    Store(plan, out, group * (kGroupBytes / 2), InOrder(_mm256_packus_epi16(first, second)));
  }
}

// ---- The wide form: 8 samples in lanes of 32 bits ----

constexpr uint32_t kWideGroup = 4;    // samples of a group
constexpr uint32_t kWideVectors = 4;  // of two groups each, made at a time

struct WideLanes {
  __m256 scaleA, scaleV;  // 2^16 / Qx and 2^16 * q / (Qx * Qy)
  __m256i partsY, phaseY, divisor;
  __m256 errorY;
  __m256 steep;
};

struct WideGroup {
  __m256i a, b;  // pairs of samples, as words
  __m256i sumA, down;
  __m256i fixed;   // the value with 16 bits behind the point, raised by 4 of its last places
  __m256i unsure;  // lanes that lie within 4 last places of an integer
};

DIBKIT_AVX2_INLINE WideLanes MakeWideLanes(const LinePlan& plan, const RowPhase& row) {
  WideLanes lanes;
  lanes.scaleA = _mm256_set1_ps(static_cast<float>(65536.0 / plan.partsX));
  lanes.scaleV = _mm256_set1_ps(static_cast<float>(65536.0 * row.phase / plan.divisor));
  lanes.partsY = _mm256_set1_epi32(static_cast<int>(plan.partsY));
  lanes.phaseY = _mm256_set1_epi32(static_cast<int>(row.phase));
  lanes.divisor = _mm256_set1_epi32(static_cast<int>(plan.divisor));
  lanes.errorY = _mm256_set1_ps(static_cast<float>(row.error * kWideErrorUnit));
  lanes.steep =
      _mm256_set1_ps(row.fraction.significand == 0 ? 0.0F : 2.0F * static_cast<float>(plan.partsY));
  return lanes;
}

DIBKIT_AVX2_INLINE WideGroup MakeWideGroup(const LinePlan& plan, const WideLanes& lanes, __m256i a,
                                           __m256i b, size_t group) {
  WideGroup g;
  const __m256i weights = Load(plan.wideWeights + group * 2 * kWideGroup);
  g.a = a;
  g.b = b;
  g.sumA = _mm256_madd_epi16(a, weights);
  g.down = _mm256_sub_epi32(_mm256_madd_epi16(b, weights), g.sumA);
  const __m256 top = _mm256_fmadd_ps(_mm256_cvtepi32_ps(g.sumA), lanes.scaleA, _mm256_set1_ps(4));
  g.fixed = _mm256_cvtps_epi32(_mm256_fmadd_ps(_mm256_cvtepi32_ps(g.down), lanes.scaleV, top));
  g.unsure = _mm256_cmpeq_epi32(_mm256_and_si256(g.fixed, _mm256_set1_epi32(0xFFF8)),
                                _mm256_setzero_si256());
  return g;
}

DIBKIT_AVX2_INLINE __m256 Size(__m256 value) {
  return _mm256_andnot_ps(_mm256_set1_ps(-0.0F), value);
}

// Judge() of line_plan.cc for 8 lanes, with doubts for single precision. Gives the lanes that are
// sure to have the ideal value and those sure to lie below it.
DIBKIT_AVX2_INLINE void JudgeWide(const LinePlan& plan, const WideLanes& lanes, const WideGroup& g,
                                  __m256i number, size_t group, __m256i* ideal, __m256i* below) {
  const __m256i step = _mm256_set1_epi32(0x0001FFFF);
  const __m256i stepA = _mm256_madd_epi16(g.a, step);
  const __m256i stepB = _mm256_madd_epi16(g.b, step);
  const __m256i across =
      _mm256_add_epi32(_mm256_mullo_epi32(stepA, lanes.partsY),
                       _mm256_mullo_epi32(_mm256_sub_epi32(stepB, stepA), lanes.phaseY));
  const __m256 slant = _mm256_mul_ps(_mm256_cvtepi32_ps(across),
                                     _mm256_loadu_ps(plan.wideError + group * kWideGroup));
  const __m256 down = _mm256_cvtepi32_ps(g.down);
  const __m256 fall = _mm256_mul_ps(down, lanes.errorY);
  const __m256 sum = _mm256_add_ps(slant, fall);
  const __m256 doubt = _mm256_fmadd_ps(_mm256_add_ps(Size(slant), Size(fall)),
                                       _mm256_set1_ps(0x1p-20F), _mm256_set1_ps(plan.wideDoubt));
  const __m256 whole = _mm256_cvtepi32_ps(number);
  const __m256 rounding = _mm256_mul_ps(Size(down), lanes.steep);
  __m256 up = _mm256_fnmadd_ps(whole, _mm256_set1_ps(0.999F), rounding);
  __m256 under = _mm256_fmadd_ps(whole, _mm256_set1_ps(2.001F), rounding);
  if (group < plan.nearGroups) {
    up = under = _mm256_set1_ps(0x1p11F * static_cast<float>(plan.divisor));
  }
  *ideal = _mm256_castps_si256(_mm256_cmp_ps(_mm256_sub_ps(sum, doubt), up, _CMP_GT_OQ));
  *below = _mm256_castps_si256(_mm256_cmp_ps(_mm256_add_ps(_mm256_add_ps(sum, doubt), under),
                                             _mm256_setzero_ps(), _CMP_LT_OQ));
}

DIBKIT_AVX2_INLINE __m256i Turned(__m256i pairs) {  // right before left
  return _mm256_or_si256(_mm256_slli_epi32(pairs, 16), _mm256_srli_epi32(pairs, 16));
}

// Settles what it can of the unsure lanes: flat ones are right as they are; integers tell on which
// side of the near integer the others lie; on the integer itself the error sum does.
DIBKIT_AVX2_INLINE void LookWide(const LinePlan& plan, const WideLanes& lanes, size_t group,
                                 WideGroup* g) {
  const __m256i flat =
      _mm256_and_si256(_mm256_cmpeq_epi32(g->a, g->b), _mm256_cmpeq_epi32(g->a, Turned(g->a)));
  g->unsure = _mm256_andnot_si256(flat, g->unsure);
  if (_mm256_testz_si256(g->unsure, g->unsure) != 0) return;
  const __m256i number = _mm256_add_epi32(_mm256_mullo_epi32(g->sumA, lanes.partsY),
                                          _mm256_mullo_epi32(g->down, lanes.phaseY));
  const __m256i near = _mm256_mullo_epi32(_mm256_srai_epi32(g->fixed, 16), lanes.divisor);
  __m256i below = _mm256_and_si256(g->unsure, _mm256_cmpgt_epi32(near, number));
  // Nothing lies below 0.
  const __m256i whole =
      _mm256_andnot_si256(_mm256_cmpeq_epi32(number, _mm256_setzero_si256()),
                          _mm256_and_si256(g->unsure, _mm256_cmpeq_epi32(number, near)));
  __m256i ideal, less;
  JudgeWide(plan, lanes, *g, number, group, &ideal, &less);
  below = _mm256_or_si256(below, _mm256_and_si256(whole, less));
  g->unsure = _mm256_andnot_si256(_mm256_or_si256(ideal, less), whole);
  g->fixed = _mm256_sub_epi32(g->fixed, _mm256_and_si256(below, _mm256_set1_epi32(65536)));
}

template <int kChunks>
DIBKIT_AVX2 void WideRow(const LinePlan& plan, const RowPhase& row, const uint8_t* rowA,
                         const uint8_t* rowB, Ahead ahead, uint8_t* out) {
  const WideLanes lanes = MakeWideLanes(plan, row);
  const __m256i order = _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7);
  const uint32_t together = 2 * kWideVectors;
  const size_t aheadStep = StepAhead(ahead, plan.groups / together);
  for (uint32_t group = 0; group < plan.groups; group += together) {
    Prefetch(ahead, group / together, aheadStep);
    WideGroup g[kWideVectors];
    __m256i unsure = _mm256_setzero_si256();
#pragma GCC unroll 4
    for (uint32_t i = 0; i < kWideVectors; ++i) {
      g[i] = MakeWideGroup(plan, lanes, Pairs<kChunks>(plan, rowA, group + 2 * i),
                           Pairs<kChunks>(plan, rowB, group + 2 * i), group + 2 * i);
      unsure = _mm256_or_si256(unsure, g[i].unsure);
    }
    const uint32_t done = group * kWideGroup;
    uint32_t open = 0;
    if (_mm256_testz_si256(unsure, unsure) == 0) {
#pragma GCC unroll 4
      for (uint32_t i = 0; i < kWideVectors; ++i) {
        LookWide(plan, lanes, group + 2 * i, &g[i]);
        open |= static_cast<uint32_t>(_mm256_movemask_ps(_mm256_castsi256_ps(g[i].unsure)))
                << (2 * kWideGroup * i);
      }
    }
    const __m256i low =
        _mm256_packus_epi32(_mm256_srli_epi32(g[0].fixed, 16), _mm256_srli_epi32(g[1].fixed, 16));
    const __m256i high =
        _mm256_packus_epi32(_mm256_srli_epi32(g[2].fixed, 16), _mm256_srli_epi32(g[3].fixed, 16));
    Store(plan, out, done, _mm256_permutevar8x32_epi32(_mm256_packus_epi16(low, high), order));
    open &= UsedLanes(plan, done);
    if (open != 0) SettleSamples(plan, row, rowA, rowB, out, done, open);
  }
}

DIBKIT_AVX2 void MakeWideLine(const LinePlan& plan, const RowPhase& row, const uint8_t* rowA,
                              const uint8_t* rowB, Ahead ahead, uint8_t* out) {
  if (plan.chunks == 1) return WideRow<1>(plan, row, rowA, rowB, ahead, out);
  if (plan.chunks == 2) return WideRow<2>(plan, row, rowA, rowB, ahead, out);
  return WideRow<0>(plan, row, rowA, rowB, ahead, out);
}

}  // namespace

const LineKernels kAvx2LineKernels = {
    {16, 2, 4}, {16, 4, 8}, MakeCopyLine, MakeNarrowLine, MakeWideLine};

}  // namespace dibkit::resolution
