// SPDX-License-Identifier: Apache-2.0

#include <algorithm>

#include "common/simd.h"
#include "resolution/line_kernels.h"
#include "resolution/line_settle.h"

// AVX2 with FMA. The same arithmetic as lines_avx512.cpp, with masks in vectors of words; a group
// is 8 samples (4 in the wide form), two groups make a vector. docs/arithmetic.md explains the
// numbers.

#define DIBKIT_AVX2 __attribute__((target("avx2,fma,prfchw,popcnt")))
#define DIBKIT_AVX2_INLINE __attribute__((target("avx2,fma,prfchw,popcnt"), always_inline)) inline

namespace dibkit::resolution {

namespace {

constexpr uint32_t kGroupBytes = 16;
constexpr uint32_t kStore = 32;  // output bytes made at a time
constexpr uint32_t kSeek = 8;    // passes between two looks for a flat run

// Places of 32 repeated bytes of a pixel: of three bytes, beginning with each of them, and of one.
struct Repeated {
  uint8_t places[4][kStore];
};

constexpr Repeated MakeRepeated() {
  Repeated repeated{};
  for (uint32_t turn = 0; turn < 3; ++turn) {
    for (uint32_t i = 0; i < kStore; ++i) {
      repeated.places[turn][i] = static_cast<uint8_t>((turn + i) % 3);
    }
  }
  return repeated;
}

constexpr Repeated kRepeated = MakeRepeated();

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

// One pass's share of the traffic.
DIBKIT_AVX2_INLINE void Carry(PassTraffic* traffic) {
  for (size_t n = std::min(traffic->fetchStep, traffic->fetchLines); n != 0; --n) {
    _mm_prefetch(reinterpret_cast<const char*>(traffic->fetch), _MM_HINT_T0);
    traffic->fetch += kCacheLine;
    --traffic->fetchLines;
  }
  LineRun& run = traffic->carry;
  for (size_t n = std::min(traffic->carryStep, run.lines); n != 0; --n) {
    auto* const to = reinterpret_cast<__m256i*>(run.to);
    _mm256_stream_si256(to, Load(run.from));
    _mm256_stream_si256(to + 1, Load(run.from + 32));
    run.from += kCacheLine;
    run.to += kCacheLine;
    --run.lines;
  }
}

// Asks for the output's cache line a little ahead, for writing.
DIBKIT_AVX2_INLINE void PrefetchOutput(const LinePlan& plan, const uint8_t* out, uint32_t done) {
  constexpr uint32_t kLead = 768;
  if (done % 64 == 0 && plan.samples - done > kLead) __builtin_prefetch(out + done + kLead, 1, 3);
}

// Whether the 32 bytes from `at` on are those of the other row and of the next pixel.
DIBKIT_AVX2_INLINE bool Calm(const LinePlan& plan, const uint8_t* rowA, const uint8_t* rowB,
                             size_t at) {
  const __m256i here = Load(rowA + at);
  const __m256i other = _mm256_or_si256(_mm256_xor_si256(here, Load(rowB + at)),
                                        _mm256_xor_si256(here, Load(rowA + at + plan.channels)));
  return _mm256_testz_si256(other, other) != 0;
}

// What a row is made of, and how far along it is.
struct RowWork {
  const LinePlan& plan;
  const uint8_t* rowA;
  const uint8_t* rowB;
  PassTraffic traffic;
  uint8_t* out;
  uint32_t together;    // groups of a pass, which makes 32 output bytes
  uint32_t passGroups;  // groups between two searches for flat runs

  RowWork(const LinePlan& p, const uint8_t* a, const uint8_t* b, const Traffic& beside, uint8_t* to)
      : plan(p),
        rowA(a),
        rowB(b),
        traffic(beside, p.groups / p.shape.together),
        out(to),
        together(p.shape.together),
        passGroups(kSeek * p.shape.together) {}
};

DIBKIT_AVX2_INLINE void PrefetchPass(RowWork& work, uint32_t pass) {
  Carry(&work.traffic);
  PrefetchOutput(work.plan, work.out, pass * kStore);
}

// Stores 32 output bytes of a flat pass: the pixel at the pass's first source byte, repeated.
DIBKIT_AVX2_INLINE void StoreFlat(const RowWork& work, uint32_t begin, uint32_t done) {
  const uint32_t turn = work.plan.channels == 1 ? 3 : (done + 2 * begin) % 3;
  const __m256i pixel = _mm256_broadcastsi128_si256(
      _mm_loadu_si128(reinterpret_cast<const __m128i*>(work.rowA + begin)));
  _mm256_storeu_si256(reinterpret_cast<__m256i*>(work.out + done),
                      _mm256_shuffle_epi8(pixel, Load(kRepeated.places[turn])));
}

// Paper is flat. Makes the passes from `group` on that read only calm bytes, where every sample is
// its neighbours' equal; returns the first group that may not. The next pass's first byte bounds
// what a pass reads: no sample of it lies two pixels beyond. Passes at the row's end, whose
// look-ups begin early, are never taken for flat.
DIBKIT_AVX2 __attribute__((noinline)) uint32_t SkipFlat(RowWork& work, uint32_t group) {
  const LinePlan& plan = work.plan;
  size_t at = 0;
  for (uint32_t next; (next = group + work.together) < plan.groups; group = next) {
    const uint32_t begin = plan.offsets[group * plan.chunks];
    const uint32_t bound = plan.offsets[next * plan.chunks];
    if (bound + kGroupBytes >= plan.rowBytes) break;
    if (at < begin) at = begin;
    for (; at < bound + 2 * plan.channels; at += kStore) {
      if (at + kStore + plan.channels > plan.rowBytes) return group;
      if (!Calm(plan, work.rowA, work.rowB, at)) return group;
    }
    PrefetchPass(work, group / work.together);
    StoreFlat(work, begin, group / work.together * kStore);
  }
  return group;
}

// ---- The narrow form: 16 samples in lanes of 16 bits ----

// What a row's arithmetic needs in every lane.
struct RowLanes {
  __m256i weightA, weightB;  // Qy - q, q
  __m256i stepA, stepB;      // pairs (-(Qy - q), Qy - q) and (-q, q)
  __m256i errorY, nearErrorY;
  __m256i divisor, reciprocal, bias;
  __m256i steep;       // Qy, or 0 where vertical products are exact
  __m256i roundsFlat;  // all ones where products of columns without error are rounded too
  __m256i forgiven;    // what the last rounding forgives at most
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

// A group of a level row, one whose fraction is 0: only A counts. From kFarColumn on every step is
// exact, and so is the sign of the error.
template <ErrorForm kErrors>
DIBKIT_AVX2_INLINE Group MakeLevelGroup(const LinePlan& plan, const RowLanes& lanes, __m256i near,
                                        __m256i a, size_t group) {
  Group g{};
  g.a = g.b = a;
  g.number = _mm256_mullo_epi16(_mm256_maddubs_epi16(a, Load(plan.weights + group * kGroupBytes)),
                                lanes.weightA);
  g.value = Divide(g.number, lanes);
  if (kErrors == ErrorForm::kExact) return g;
  g.errorX = Load(plan.xError + group * (kGroupBytes / 2));
  g.across = _mm256_maddubs_epi16(a, lanes.stepA);
  const __m256i whole = _mm256_cmpeq_epi16(_mm256_mullo_epi16(g.value, lanes.divisor), g.number);
  const __m256i negative = _mm256_srai_epi16(_mm256_mulhi_epi16(g.across, g.errorX), 15);
  g.value = _mm256_add_epi16(g.value, _mm256_and_si256(whole, negative));
  g.unsure = _mm256_and_si256(whole, near);
  return g;
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
  g.across =
      _mm256_add_epi16(_mm256_maddubs_epi16(a, lanes.stepA), _mm256_maddubs_epi16(b, lanes.stepB));
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

template <ErrorForm kErrors, bool kLevel, int kChunks>
DIBKIT_AVX2_INLINE Group ReadGroup(const LinePlan& plan, const RowLanes& lanes, bool isNear,
                                   const uint8_t* rowA, const uint8_t* rowB, size_t group) {
  const __m256i near = _mm256_set1_epi16(isNear ? -1 : 0);
  const __m256i a = Pairs<kChunks>(plan, rowA, group);
  if (kLevel) return MakeLevelGroup<kErrors>(plan, lanes, near, a, group);
  const __m256i most = Word((isNear ? plan.nearGuard : plan.guard) - 1);
  return MakeGroup<kErrors>(plan, lanes, most, near, a, Pairs<kChunks>(plan, rowB, group), group);
}

template <ErrorForm kErrors, bool kLevel, int kChunks>
DIBKIT_AVX2_INLINE void NarrowPass(const RowWork& work, const RowPhase& row, const RowLanes& lanes,
                                   uint32_t group) {
  const LinePlan& plan = work.plan;
  const uint8_t *rowA = work.rowA, *rowB = work.rowB;
  uint8_t* out = work.out;
  const uint32_t done = group * (kGroupBytes / 2);
  const bool isNear = group < plan.nearGroups;
  Group first = ReadGroup<kErrors, kLevel, kChunks>(plan, lanes, isNear, rowA, rowB, group);
  Group last = ReadGroup<kErrors, kLevel, kChunks>(plan, lanes, isNear, rowA, rowB, group + 2);
  const __m256i unsure = _mm256_or_si256(first.unsure, last.unsure);
  if (kErrors == ErrorForm::kExact || _mm256_testz_si256(unsure, unsure) != 0) {
    return Store(plan, out, done, InOrder(_mm256_packus_epi16(first.value, last.value)));
  }
  Look<kErrors>(plan, lanes, isNear, &first);
  Look<kErrors>(plan, lanes, isNear, &last);
  Store(plan, out, done, InOrder(_mm256_packus_epi16(first.value, last.value)));
  const auto open = static_cast<uint32_t>(
      _mm256_movemask_epi8(InOrder(_mm256_packs_epi16(first.unsure, last.unsure))));
  const uint32_t used = open & UsedLanes(plan, done);
  if (used != 0) SettleSamples(plan, row, rowA, rowB, out, done, used);
}

template <ErrorForm kErrors, bool kLevel, int kChunks>
DIBKIT_AVX2 void NarrowRow(const LinePlan& plan, const RowPhase& row, const uint8_t* rowA,
                           const uint8_t* rowB, const Traffic& traffic, uint8_t* out) {
  // Level rows must not read the second row.
  RowWork work(plan, rowA, kLevel ? rowA : rowB, traffic, out);
  const RowLanes lanes = MakeRowLanes(plan, row);
  for (uint32_t group = 0; group < plan.groups;) {
    // Without errors to weigh, a pass costs no more than finding out that it is flat.
    if (kErrors != ErrorForm::kExact) group = SkipFlat(work, group);
    const uint32_t end =
        kErrors == ErrorForm::kExact ? plan.groups : std::min(plan.groups, group + work.passGroups);
    for (; group < end; group += 4) {
      PrefetchPass(work, group / 4);
      NarrowPass<kErrors, kLevel, kChunks>(work, row, lanes, group);
    }
  }
}

template <ErrorForm kErrors, bool kLevel>
DIBKIT_AVX2 void NarrowForm(const LinePlan& plan, const RowPhase& row, const uint8_t* rowA,
                            const uint8_t* rowB, const Traffic& traffic, uint8_t* out) {
  if (plan.chunks == 1) return NarrowRow<kErrors, kLevel, 1>(plan, row, rowA, rowB, traffic, out);
  if (plan.chunks == 2) return NarrowRow<kErrors, kLevel, 2>(plan, row, rowA, rowB, traffic, out);
  return NarrowRow<kErrors, kLevel, 0>(plan, row, rowA, rowB, traffic, out);
}

DIBKIT_AVX2 void MakeNarrowLine(const LinePlan& plan, const RowPhase& row, const uint8_t* rowA,
                                const uint8_t* rowB, const Traffic& traffic, uint8_t* out) {
  const bool level = row.fraction.significand == 0;
  if (plan.errors == ErrorForm::kSmooth) {
    return NarrowForm<ErrorForm::kSmooth, false>(plan, row, rowA, rowB, traffic, out);
  }
  if (plan.errors == ErrorForm::kExact) {
    return level ? NarrowForm<ErrorForm::kExact, true>(plan, row, rowA, rowB, traffic, out)
                 : NarrowForm<ErrorForm::kExact, false>(plan, row, rowA, rowB, traffic, out);
  }
  return level ? NarrowForm<ErrorForm::kGrid, true>(plan, row, rowA, rowB, traffic, out)
               : NarrowForm<ErrorForm::kGrid, false>(plan, row, rowA, rowB, traffic, out);
}

template <int kChunks>
DIBKIT_AVX2 void CopyRow(const LinePlan& plan, const uint8_t* rowA, const Traffic& traffic,
                         uint8_t* out) {
  const __m256i low = _mm256_set1_epi16(0xFF);
  PassTraffic beside(traffic, plan.groups / 4);
  for (uint32_t group = 0; group < plan.groups; group += 4) {
    const uint32_t done = group * (kGroupBytes / 2);
    Carry(&beside);
    PrefetchOutput(plan, out, done);
    const __m256i first = _mm256_and_si256(low, Pairs<kChunks>(plan, rowA, group));
    const __m256i second = _mm256_and_si256(low, Pairs<kChunks>(plan, rowA, group + 2));
    Store(plan, out, done, InOrder(_mm256_packus_epi16(first, second)));
  }
}

DIBKIT_AVX2 void MakeCopyLine(const LinePlan& plan, const RowPhase& /*row*/, const uint8_t* rowA,
                              const uint8_t* /*rowB*/, const Traffic& traffic, uint8_t* out) {
  if (plan.chunks == 1) return CopyRow<1>(plan, rowA, traffic, out);
  if (plan.chunks == 2) return CopyRow<2>(plan, rowA, traffic, out);
  return CopyRow<0>(plan, rowA, traffic, out);
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

DIBKIT_AVX2_INLINE WideGroup MakeWideGroup(const WideLanes& lanes, __m256i weights, __m256i a,
                                           __m256i b) {
  WideGroup g;
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

// Judge() of line_settle.cpp for 8 lanes, with doubts for single precision. Gives the lanes that
// are sure to have the ideal value and those sure to lie below it.
DIBKIT_AVX2_INLINE void JudgeWide(const LinePlan& plan, const WideLanes& lanes, const WideGroup& g,
                                  __m256i number, __m256i near, __m256 errorX, __m256i* ideal,
                                  __m256i* below) {
  const __m256i step = _mm256_set1_epi32(0x0001FFFF);
  const __m256i stepA = _mm256_madd_epi16(g.a, step);
  const __m256i stepB = _mm256_madd_epi16(g.b, step);
  const __m256i across =
      _mm256_add_epi32(_mm256_mullo_epi32(stepA, lanes.partsY),
                       _mm256_mullo_epi32(_mm256_sub_epi32(stepB, stepA), lanes.phaseY));
  const __m256 slant = _mm256_mul_ps(_mm256_cvtepi32_ps(across), errorX);
  const __m256 down = _mm256_cvtepi32_ps(g.down);
  const __m256 fall = _mm256_mul_ps(down, lanes.errorY);
  const __m256 sum = _mm256_add_ps(slant, fall);
  const __m256 doubt = _mm256_fmadd_ps(_mm256_add_ps(Size(slant), Size(fall)),
                                       _mm256_set1_ps(0x1p-20F), _mm256_set1_ps(plan.wideDoubt));
  const __m256 whole = _mm256_cvtepi32_ps(number);
  const __m256i steps = _mm256_max_epi32(_mm256_abs_epi32(stepA), _mm256_abs_epi32(stepB));
  const __m256 sizes = _mm256_cvtepi32_ps(_mm256_add_epi32(
      _mm256_add_epi32(steps, steps), _mm256_set1_epi32(static_cast<int>(kNearRounding))));
  const __m256 steep = _mm256_mul_ps(Size(down), lanes.steep);
  const __m256 more = _mm256_fmadd_ps(sizes, _mm256_cvtepi32_ps(lanes.divisor), steep);
  const __m256 rounding = _mm256_fmadd_ps(_mm256_and_ps(more, _mm256_castsi256_ps(near)),
                                          _mm256_set1_ps(1.001F), steep);
  const __m256 up = _mm256_fnmadd_ps(whole, _mm256_set1_ps(0.999F), rounding);
  const __m256 under = _mm256_fmadd_ps(whole, _mm256_set1_ps(2.001F), rounding);
  *ideal = _mm256_castps_si256(_mm256_cmp_ps(_mm256_sub_ps(sum, doubt), up, _CMP_GT_OQ));
  *below = _mm256_castps_si256(_mm256_cmp_ps(_mm256_add_ps(_mm256_add_ps(sum, doubt), under),
                                             _mm256_setzero_ps(), _CMP_LT_OQ));
}

constexpr uint32_t kWideLanes = 8;

// Output bytes of a row that single precision left open, to be judged 8 at a time.
struct OpenQueue {
  static constexpr uint32_t kRoom = 512;
  uint32_t count = 0;
  alignas(32) uint32_t sample[kRoom + kWideLanes];
  alignas(
      32) uint32_t corners[kRoom + kWideLanes];  // the bytes of A left, B left, A right, B right

  bool Full() const { return count > kRoom - kStore; }
};

// For each set of 8 lanes, its members in order.
struct Members {
  uint8_t lanes[256][kWideLanes];
};

constexpr Members MakeMembers() {
  Members members{};
  for (uint32_t set = 0; set < 256; ++set) {
    uint32_t count = 0;
    for (uint32_t lane = 0; lane < kWideLanes; ++lane) {
      if ((set >> lane & 1) != 0) members.lanes[set][count++] = static_cast<uint8_t>(lane);
    }
  }
  return members;
}

constexpr Members kMembers = MakeMembers();

DIBKIT_AVX2_INLINE void StoreWords(uint32_t* to, __m256i words) {
  _mm256_storeu_si256(reinterpret_cast<__m256i*>(to), words);
}

DIBKIT_AVX2_INLINE uint32_t LaneSet(__m256i lanes) {
  return static_cast<uint32_t>(_mm256_movemask_ps(_mm256_castsi256_ps(lanes)));
}

// Queues those of 8 output bytes that are unsure, but for flat ones, which are right as they are.
DIBKIT_AVX2_INLINE void QueueOpen(const LinePlan& plan, __m256i unsure, __m256i sample,
                                  __m256i corners, OpenQueue* queue) {
  const __m256i turned =
      _mm256_or_si256(_mm256_slli_epi32(corners, 8), _mm256_srli_epi32(corners, 24));
  const __m256i used =
      _mm256_cmpgt_epi32(_mm256_set1_epi32(static_cast<int>(plan.samples)), sample);
  const uint32_t open = LaneSet(
      _mm256_andnot_si256(_mm256_cmpeq_epi32(corners, turned), _mm256_and_si256(unsure, used)));
  const __m256i members =
      _mm256_cvtepu8_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(kMembers.lanes[open])));
  StoreWords(queue->sample + queue->count, _mm256_permutevar8x32_epi32(sample, members));
  StoreWords(queue->corners + queue->count, _mm256_permutevar8x32_epi32(corners, members));
  queue->count += static_cast<uint32_t>(__builtin_popcount(open));
}

// Decides 8 queued bytes: integers tell on which side of the near integer they lie; on the integer
// itself the error sum does. Returns the lanes that stay open.
DIBKIT_AVX2_INLINE uint32_t JudgeOpen(const LinePlan& plan, const WideLanes& lanes,
                                      const OpenQueue& queue, uint32_t at, uint8_t* out) {
  const __m256i sample = Load(queue.sample + at);
  const __m256i corners = Load(queue.corners + at);
  const __m256i weights =
      _mm256_i32gather_epi32(reinterpret_cast<const int*>(plan.wideWeights), sample, 4);
  const WideGroup g =
      MakeWideGroup(lanes, weights, _mm256_and_si256(corners, _mm256_set1_epi16(0xFF)),
                    _mm256_srli_epi16(corners, 8));
  const __m256i value = _mm256_srli_epi32(g.fixed, 16);
  const __m256i number = _mm256_add_epi32(_mm256_mullo_epi32(g.sumA, lanes.partsY),
                                          _mm256_mullo_epi32(g.down, lanes.phaseY));
  const __m256i integer = _mm256_mullo_epi32(value, lanes.divisor);
  // Nothing lies below 0.
  const __m256i whole = _mm256_andnot_si256(_mm256_cmpeq_epi32(number, _mm256_setzero_si256()),
                                            _mm256_cmpeq_epi32(number, integer));
  const auto nearEnd = static_cast<int>(plan.nearGroups * plan.shape.Slots());
  __m256i ideal, less;
  JudgeWide(plan, lanes, g, number, _mm256_cmpgt_epi32(_mm256_set1_epi32(nearEnd), sample),
            _mm256_i32gather_ps(plan.wideError, sample, 4), &ideal, &less);
  const __m256i below =
      _mm256_or_si256(_mm256_cmpgt_epi32(integer, number), _mm256_and_si256(whole, less));
  alignas(32) uint32_t values[kWideLanes];
  StoreWords(values, _mm256_add_epi32(value, below));
  for (uint32_t i = 0; i < kWideLanes; ++i) {
    out[queue.sample[at + i]] = static_cast<uint8_t>(values[i]);
  }
  return LaneSet(_mm256_andnot_si256(_mm256_or_si256(ideal, less), whole));
}

// Judges all that is queued. The last 8 are filled up with one of them, which does no harm.
DIBKIT_AVX2 __attribute__((noinline)) void Empty(const RowWork& work, const RowPhase& row,
                                                 const WideLanes& lanes, OpenQueue* queue) {
  if (queue->count == 0) return;
  const uint32_t last = queue->count - 1;
  StoreWords(queue->sample + queue->count,
             _mm256_set1_epi32(static_cast<int>(queue->sample[last])));
  StoreWords(queue->corners + queue->count,
             _mm256_set1_epi32(static_cast<int>(queue->corners[last])));
  for (uint32_t at = 0; at < queue->count; at += kWideLanes) {
    uint32_t open = JudgeOpen(work.plan, lanes, *queue, at, work.out);
    for (; open != 0; open &= open - 1) {
      const uint32_t sample = queue->sample[at + static_cast<uint32_t>(__builtin_ctz(open))];
      SettleSamples(work.plan, row, work.rowA, work.rowB, work.out, sample, 1);
    }
  }
  queue->count = 0;
}

template <int kChunks>
DIBKIT_AVX2_INLINE void WidePass(const RowWork& work, const WideLanes& lanes, uint32_t group,
                                 OpenQueue* queue) {
  const LinePlan& plan = work.plan;
  const uint32_t done = group * kWideGroup;
  WideGroup g[kWideVectors];
  __m256i unsure = _mm256_setzero_si256();
#pragma GCC unroll 4
  for (uint32_t i = 0; i < kWideVectors; ++i) {
    const uint32_t at = group + 2 * i;
    g[i] = MakeWideGroup(lanes, Load(plan.wideWeights + at * 2 * kWideGroup),
                         Pairs<kChunks>(plan, work.rowA, at), Pairs<kChunks>(plan, work.rowB, at));
    unsure = _mm256_or_si256(unsure, g[i].unsure);
  }
  if (_mm256_testz_si256(unsure, unsure) == 0) {
#pragma GCC unroll 4
    for (uint32_t i = 0; i < kWideVectors; ++i) {
      const __m256i sample =
          _mm256_add_epi32(_mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7),
                           _mm256_set1_epi32(static_cast<int>(done + kWideLanes * i)));
      QueueOpen(plan, g[i].unsure, sample, _mm256_or_si256(g[i].a, _mm256_slli_epi32(g[i].b, 8)),
                queue);
    }
  }
  const __m256i low =
      _mm256_packus_epi32(_mm256_srli_epi32(g[0].fixed, 16), _mm256_srli_epi32(g[1].fixed, 16));
  const __m256i high =
      _mm256_packus_epi32(_mm256_srli_epi32(g[2].fixed, 16), _mm256_srli_epi32(g[3].fixed, 16));
  const __m256i order = _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7);
  Store(plan, work.out, done, _mm256_permutevar8x32_epi32(_mm256_packus_epi16(low, high), order));
}

// ---- The wide form with weights of a byte: sums of 16 bits, 16 to a vector ----

struct MixedLanes {
  __m256i weightsY;  // pairs (Qy - q, q)
  __m256 scale;      // 2^16 / (Qx * Qy)
};

struct MixedGroup {
  __m256i a, b;       // pairs of samples
  __m256i low, high;  // WideGroup::fixed of samples 0 to 3 and 8 to 11, and of the others
  __m256i unsureLow, unsureHigh;
};

DIBKIT_AVX2_INLINE MixedLanes MakeMixedLanes(const LinePlan& plan, const RowPhase& row) {
  return {_mm256_set1_epi32(static_cast<int>((plan.partsY - row.phase) | (row.phase << 16))),
          _mm256_set1_ps(static_cast<float>(65536.0 / plan.divisor))};
}

DIBKIT_AVX2_INLINE __m256i MixedValue(const MixedLanes& lanes, __m256i sums) {
  const __m256 number = _mm256_cvtepi32_ps(_mm256_madd_epi16(sums, lanes.weightsY));
  return _mm256_cvtps_epi32(_mm256_fmadd_ps(number, lanes.scale, _mm256_set1_ps(4)));
}

DIBKIT_AVX2_INLINE __m256i NearInteger(__m256i fixed) {
  return _mm256_cmpeq_epi32(_mm256_and_si256(fixed, _mm256_set1_epi32(0xFFF8)),
                            _mm256_setzero_si256());
}

template <int kChunks>
DIBKIT_AVX2_INLINE MixedGroup MakeMixedGroup(const RowWork& work, const MixedLanes& lanes,
                                             uint32_t group) {
  MixedGroup g;
  g.a = Pairs<kChunks>(work.plan, work.rowA, group);
  g.b = Pairs<kChunks>(work.plan, work.rowB, group);
  const __m256i weights = Load(work.plan.weights + group * kGroupBytes);
  const __m256i sumA = _mm256_maddubs_epi16(g.a, weights);
  const __m256i sumB = _mm256_maddubs_epi16(g.b, weights);
  g.low = MixedValue(lanes, _mm256_unpacklo_epi16(sumA, sumB));
  g.high = MixedValue(lanes, _mm256_unpackhi_epi16(sumA, sumB));
  g.unsureLow = NearInteger(g.low);
  g.unsureHigh = NearInteger(g.high);
  return g;
}

DIBKIT_AVX2_INLINE void QueueMixed(const LinePlan& plan, const MixedGroup& g, uint32_t first,
                                   OpenQueue* queue) {
  const __m256i sample = _mm256_add_epi32(_mm256_setr_epi32(0, 1, 2, 3, 8, 9, 10, 11),
                                          _mm256_set1_epi32(static_cast<int>(first)));
  QueueOpen(plan, g.unsureLow, sample, _mm256_unpacklo_epi8(g.a, g.b), queue);
  QueueOpen(plan, g.unsureHigh, _mm256_add_epi32(sample, _mm256_set1_epi32(4)),
            _mm256_unpackhi_epi8(g.a, g.b), queue);
}

DIBKIT_AVX2_INLINE __m256i MixedWords(const MixedGroup& g) {
  return _mm256_packus_epi32(_mm256_srli_epi32(g.low, 16), _mm256_srli_epi32(g.high, 16));
}

template <int kChunks>
DIBKIT_AVX2_INLINE void MixedPass(const RowWork& work, const MixedLanes& lanes, uint32_t group,
                                  OpenQueue* queue) {
  const uint32_t done = group * (kGroupBytes / 2);
  const MixedGroup first = MakeMixedGroup<kChunks>(work, lanes, group);
  const MixedGroup last = MakeMixedGroup<kChunks>(work, lanes, group + 2);
  Store(work.plan, work.out, done,
        InOrder(_mm256_packus_epi16(MixedWords(first), MixedWords(last))));
  const __m256i unsure = _mm256_or_si256(_mm256_or_si256(first.unsureLow, first.unsureHigh),
                                         _mm256_or_si256(last.unsureLow, last.unsureHigh));
  if (_mm256_testz_si256(unsure, unsure) != 0) return;
  QueueMixed(work.plan, first, done, queue);
  QueueMixed(work.plan, last, done + kGroupBytes, queue);
}

template <int kChunks>
DIBKIT_AVX2 void MixedRow(const LinePlan& plan, const RowPhase& row, const uint8_t* rowA,
                          const uint8_t* rowB, const Traffic& traffic, uint8_t* out) {
  RowWork work(plan, rowA, rowB, traffic, out);
  const WideLanes wide = MakeWideLanes(plan, row);
  const MixedLanes lanes = MakeMixedLanes(plan, row);
  OpenQueue queue;
  for (uint32_t group = 0; group < plan.groups;) {
    group = SkipFlat(work, group);
    const uint32_t end = std::min(plan.groups, group + work.passGroups);
    for (; group < end; group += 4) {
      PrefetchPass(work, group / 4);
      MixedPass<kChunks>(work, lanes, group, &queue);
      if (queue.Full()) Empty(work, row, wide, &queue);
    }
  }
  Empty(work, row, wide, &queue);
}

template <int kChunks>
DIBKIT_AVX2 void WideRow(const LinePlan& plan, const RowPhase& row, const uint8_t* rowA,
                         const uint8_t* rowB, const Traffic& traffic, uint8_t* out) {
  RowWork work(plan, rowA, rowB, traffic, out);
  const WideLanes lanes = MakeWideLanes(plan, row);
  OpenQueue queue;
  for (uint32_t group = 0; group < plan.groups;) {
    group = SkipFlat(work, group);
    const uint32_t end = std::min(plan.groups, group + work.passGroups);
    for (; group < end; group += 2 * kWideVectors) {
      PrefetchPass(work, group / (2 * kWideVectors));
      WidePass<kChunks>(work, lanes, group, &queue);
      if (queue.Full()) Empty(work, row, lanes, &queue);
    }
  }
  Empty(work, row, lanes, &queue);
}

DIBKIT_AVX2 void MakeWideLine(const LinePlan& plan, const RowPhase& row, const uint8_t* rowA,
                              const uint8_t* rowB, const Traffic& traffic, uint8_t* out) {
  if (plan.byteWeights) {
    return plan.chunks == 1 ? MixedRow<1>(plan, row, rowA, rowB, traffic, out)
                            : MixedRow<0>(plan, row, rowA, rowB, traffic, out);
  }
  if (plan.chunks == 1) return WideRow<1>(plan, row, rowA, rowB, traffic, out);
  if (plan.chunks == 2) return WideRow<2>(plan, row, rowA, rowB, traffic, out);
  return WideRow<0>(plan, row, rowA, rowB, traffic, out);
}

}  // namespace

const LineKernels kAvx2LineKernels = {
    {16, 2, 4}, {16, 4, 8}, EachRow<MakeCopyLine>, EachRow<MakeNarrowLine>, EachRow<MakeWideLine>};

}  // namespace dibkit::resolution
