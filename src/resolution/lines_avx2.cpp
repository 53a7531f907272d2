// SPDX-License-Identifier: Apache-2.0

#include <algorithm>
#include <bit>
#include <cstring>

#include "common/simd.h"
#include "resolution/line_kernels.h"
#include "resolution/line_settle.h"
#include "resolution/short_form.h"

// AVX2 with FMA. The same arithmetic as lines_avx512.cpp, with masks in vectors of words, but for
// sums of 16 bits in the wide form, which have exact remainders here (ShortForm); a group is 8
// samples (4 in the wide form), two groups make a vector. docs/arithmetic.md explains the numbers.

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

// Those of the plan's tables and counts that a pass looks at: in a local of a row's own they stay
// in registers, for no store of output bytes can change them.
struct Tables {
  const uint32_t* offsets;
  const uint8_t* index;
  const int8_t* weights;
  const int16_t* wideWeights;
  const int16_t* xError;
  uint32_t chunks, groups, nearGroups, samples;

  explicit Tables(const LinePlan& plan)
      : offsets(plan.offsets),
        index(plan.index),
        weights(plan.weights),
        wideWeights(plan.wideWeights),
        xError(plan.xError),
        chunks(plan.chunks),
        groups(plan.groups),
        nearGroups(plan.nearGroups),
        samples(plan.samples) {}
};

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
DIBKIT_AVX2_INLINE __m256i Pairs(const Tables& tables, const uint8_t* row, size_t group) {
  const uint32_t chunks = kChunks != 0 ? kChunks : tables.chunks;
  const uint32_t* offsets = tables.offsets + group * chunks;
  const uint8_t* index = tables.index + group * chunks * kGroupBytes;
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
DIBKIT_AVX2_INLINE void Store(const Tables& tables, uint8_t* out, uint32_t done, __m256i bytes) {
  const uint32_t left = tables.samples - done;
  if (left >= kStore) [[likely]] {
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + done), bytes);
    return;
  }
  alignas(32) uint8_t staged[kStore];
  _mm256_store_si256(reinterpret_cast<__m256i*>(staged), bytes);
  for (uint32_t i = 0; i < left; ++i) out[done + i] = staged[i];
}

DIBKIT_AVX2_INLINE uint32_t UsedLanes(const Tables& tables, uint32_t done) {
  const uint32_t left = tables.samples - done;
  return left >= kStore ? ~uint32_t{0} : (uint32_t{1} << left) - 1;
}

// The traffic, dealt out to every fourth pass: to look for some takes as long as to carry it.
struct RowTraffic {
  static constexpr uint32_t kEvery = 4 * kStore;  // output bytes

  PassTraffic shares;

  RowTraffic(const Traffic& all, const LinePlan& plan)
      : shares(all, (plan.groups / plan.shape.together + 3) / 4) {}

  DIBKIT_AVX2_INLINE void Carry(uint32_t done) {
    if (done % kEvery != 0) return;
    for (size_t n = std::min(shares.fetchStep, shares.fetchLines); n != 0; --n) {
      _mm_prefetch(reinterpret_cast<const char*>(shares.fetch), _MM_HINT_T0);
      shares.fetch += kCacheLine;
      --shares.fetchLines;
    }
    LineRun& run = shares.carry;
    for (size_t n = std::min(shares.carryStep, run.lines); n != 0; --n) {
      auto* const to = reinterpret_cast<__m256i*>(run.to);
      _mm256_stream_si256(to, Load(run.from));
      _mm256_stream_si256(to + 1, Load(run.from + 32));
      run.from += kCacheLine;
      run.to += kCacheLine;
      --run.lines;
    }
  }
};

// Asks for the output's cache line a little ahead, for writing.
DIBKIT_AVX2_INLINE void PrefetchOutput(uint32_t samples, const uint8_t* out, uint32_t done) {
  constexpr uint32_t kLead = 768;
  if (done % 64 == 0 && samples - done > kLead) __builtin_prefetch(out + done + kLead, 1, 3);
}

// Whether the 32 bytes from `at` on are those of the other row and of the next pixel.
DIBKIT_AVX2_INLINE bool Calm(const LinePlan& plan, const uint8_t* rowA, const uint8_t* rowB,
                             size_t at) {
  const __m256i here = Load(rowA + at);
  const __m256i other = _mm256_or_si256(_mm256_xor_si256(here, Load(rowB + at)),
                                        _mm256_xor_si256(here, Load(rowA + at + plan.channels)));
  return _mm256_testz_si256(other, other) != 0;
}

// What rows between the same two source rows are made of, and how far along their traffic is.
struct RowWork {
  const LinePlan& plan;
  const uint8_t* rowA;
  const uint8_t* rowB;
  uint8_t* out;
  size_t outStride;
  uint32_t count;
  RowTraffic traffic;
  uint32_t together;    // groups of a pass, which makes 32 output bytes of each row
  uint32_t passGroups;  // groups between two searches for flat runs

  RowWork(const LinePlan& p, const RowBatch& batch)
      : plan(p),
        rowA(batch.rowA),
        rowB(batch.rowB),
        out(batch.out),
        outStride(batch.outStride),
        count(batch.count),
        traffic(batch.traffic, p),
        together(p.shape.together),
        passGroups(kSeek * p.shape.together) {}
};

// Stores 32 output bytes of a flat pass: the pixel at the pass's first source byte, repeated.
DIBKIT_AVX2_INLINE void StoreFlat(const RowWork& work, uint32_t begin, uint32_t done) {
  const uint32_t turn = work.plan.channels == 1 ? 3 : (done + 2 * begin) % 3;
  const __m256i pixel = _mm256_broadcastsi128_si256(
      _mm_loadu_si128(reinterpret_cast<const __m128i*>(work.rowA + begin)));
  const __m256i bytes = _mm256_shuffle_epi8(pixel, Load(kRepeated.places[turn]));
  for (uint32_t row = 0; row < work.count; ++row) {
    uint8_t* const out = work.out + row * work.outStride;
    PrefetchOutput(work.plan.samples, out, done);
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + done), bytes);
  }
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
    const uint32_t done = group / work.together * kStore;
    work.traffic.Carry(done);
    StoreFlat(work, begin, done);
  }
  return group;
}

// ---- The narrow form: 16 samples in lanes of 16 bits ----

// What is known of a row's numbers before its samples are.
enum class NarrowKind {
  kSmooth,     // ErrorForm::kSmooth
  kTop,        // of those, where IsHalves() holds: rows whose phase is 0
  kMiddle,     // and rows in the middle between two
  kGrid,       // ErrorForm::kGrid
  kGridLevel,  // of those, rows whose fraction is 0: only A counts
};

constexpr bool IsSmooth(NarrowKind kind) {
  return kind != NarrowKind::kGrid && kind != NarrowKind::kGridLevel;
}

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

// Of the lanes without a remainder, those whose sum does not decide (see lines_avx512.cpp). What
// the last rounding forgives exceeds half the number by half the divisor, so half of it and 1 may
// be counted, for there are three parts or more. Thereby flat lanes, black ones too, are decided.
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

// Lanes whose four samples are all equal.
DIBKIT_AVX2_INLINE __m256i Flat(__m256i a, __m256i b) {
  const __m256i swapped = _mm256_broadcastsi128_si256(
      _mm_setr_epi8(1, 0, 3, 2, 5, 4, 7, 6, 9, 8, 11, 10, 13, 12, 15, 14));
  return _mm256_and_si256(_mm256_cmpeq_epi16(a, b),
                          _mm256_cmpeq_epi16(a, _mm256_shuffle_epi8(a, swapped)));
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

// Words of two vectors as bytes in their order.
DIBKIT_AVX2_INLINE __m256i InOrder(__m256i packed) {
  return _mm256_permute4x64_epi64(packed, 0xD8);
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

DIBKIT_AVX2 void MakeNarrowRows(const LinePlan& plan, const RowBatch& batch) {
  if (plan.errors != ErrorForm::kExact) return EachRow<NarrowLine>(plan, batch);
  if (plan.chunks != 1) return ExactRows<0>(plan, batch);
  return Doubles(plan, batch) ? DoubleRows<1>(plan, batch) : ExactRows<1>(plan, batch);
}

template <int kChunks>
DIBKIT_AVX2 void CopyRow(const LinePlan& plan, const uint8_t* rowA, const Traffic& traffic,
                         uint8_t* out) {
  const Tables tables(plan);
  const __m256i low = _mm256_set1_epi16(0xFF);
  RowTraffic beside(traffic, plan);
  for (uint32_t group = 0; group < tables.groups; group += 4) {
    const uint32_t done = group * (kGroupBytes / 2);
    beside.Carry(done);
    PrefetchOutput(tables.samples, out, done);
    const __m256i first = _mm256_and_si256(low, Pairs<kChunks>(tables, rowA, group));
    const __m256i second = _mm256_and_si256(low, Pairs<kChunks>(tables, rowA, group + 2));
    Store(tables, out, done, InOrder(_mm256_packus_epi16(first, second)));
  }
}

DIBKIT_AVX2 void CopyLine(const LinePlan& plan, const RowPhase& /*row*/, const uint8_t* rowA,
                          const uint8_t* /*rowB*/, const Traffic& traffic, uint8_t* out) {
  if (plan.chunks == 1) return CopyRow<1>(plan, rowA, traffic, out);
  if (plan.chunks == 2) return CopyRow<2>(plan, rowA, traffic, out);
  return CopyRow<0>(plan, rowA, traffic, out);
}

// ---- The wide form: 8 samples in lanes of 32 bits ----

constexpr uint32_t kWideGroup = 4;  // samples of a group

struct WideLanes {
  __m256 scaleA, scaleV;  // 2^16 / Qx and 2^16 * q / (Qx * Qy)
  __m256i partsY, phaseY, divisor;
  __m256 errorY;
  __m256 steep;
};

struct WideGroup {
  __m256i a, b;  // pairs of samples, as words
  __m256i sumA, down;
  __m256i fixed;  // the value with 16 bits behind the point, raised by 4 of its last places
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
  static constexpr uint32_t kRoom = 256;
  uint32_t count = 0;
  alignas(32) uint32_t sample[kRoom + kWideLanes];
  alignas(32) uint32_t corners[kRoom + kWideLanes];  // bytes: A left, A right, B left, B right

  bool Full() const { return count >= kRoom - kStore; }
};

DIBKIT_AVX2_INLINE void StoreWords(uint32_t* to, __m256i words) {
  _mm256_storeu_si256(reinterpret_cast<__m256i*>(to), words);
}

DIBKIT_AVX2_INLINE uint32_t LaneSet(__m256i lanes) {
  return static_cast<uint32_t>(_mm256_movemask_ps(_mm256_castsi256_ps(lanes)));
}

// Decides 8 queued bytes: integers tell on which side of the near integer they lie; on the integer
// itself the error sum does. Returns the lanes that stay open.
DIBKIT_AVX2_INLINE uint32_t JudgeOpen(const LinePlan& plan, const WideLanes& lanes,
                                      const OpenQueue& queue, uint32_t at, uint8_t* out) {
  const __m256i sample = Load(queue.sample + at);
  const __m256i corners = Load(queue.corners + at);
  const __m256i weights =
      _mm256_i32gather_epi32(reinterpret_cast<const int*>(plan.wideWeights), sample, 4);
  const __m256i a = _mm256_broadcastsi128_si256(
      _mm_setr_epi8(0, -1, 1, -1, 4, -1, 5, -1, 8, -1, 9, -1, 12, -1, 13, -1));
  const WideGroup g = MakeWideGroup(lanes, weights, _mm256_shuffle_epi8(corners, a),
                                    _mm256_shuffle_epi8(_mm256_srli_epi32(corners, 16), a));
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

// Judges all that is queued of a row. The last 8 are filled up with one of them, which does no
// harm.
DIBKIT_AVX2 __attribute__((noinline)) void Empty(const LinePlan& plan, const RowBatch& batch,
                                                 uint32_t row, const WideLanes& lanes,
                                                 OpenQueue* queue) {
  if (queue->count == 0) return;
  uint8_t* const out = batch.Out(row);
  const uint32_t last = queue->count - 1;
  StoreWords(queue->sample + queue->count,
             _mm256_set1_epi32(static_cast<int>(queue->sample[last])));
  StoreWords(queue->corners + queue->count,
             _mm256_set1_epi32(static_cast<int>(queue->corners[last])));
  for (uint32_t at = 0; at < queue->count; at += kWideLanes) {
    uint32_t open = JudgeOpen(plan, lanes, *queue, at, out);
    for (; open != 0; open &= open - 1) {
      const uint32_t sample = queue->sample[at + static_cast<uint32_t>(__builtin_ctz(open))];
      SettleSamples(plan, batch.phases[row], batch.rowA, batch.rowB, out, sample, 1);
    }
  }
  queue->count = 0;
}

// The 32 output bytes of a pass, of one row, and which of them are open (bit i: byte i): too near
// to an integer, and not flat, for then they are right as they are.
struct PassBytes {
  __m256i bytes;
  uint32_t open;
};

// The samples of passes, for the open bytes of all rows that are made from them. An open byte is
// looked up again only when the samples of many passes are there: hardly a vector has two, and to
// branch for each vector that has one costs more than to make it.
struct PassSamples {
  static constexpr uint32_t kPasses = 32;
  uint32_t count = 0;
  uint32_t done[kPasses];  // the passes' first output bytes
  alignas(32) uint8_t bytes[kPasses][4 * kStore];
};

// Of a row, the passes that have open bytes.
struct OpenPasses {
  uint32_t count = 0;
  uint32_t pass[PassSamples::kPasses + 1];
  uint32_t open[PassSamples::kPasses + 1];

  void Note(uint32_t at, uint32_t set) {
    pass[count] = at;
    open[count] = set;
    count += set != 0 ? 1 : 0;
  }
};

DIBKIT_AVX2_INLINE void StoreBytes(uint8_t* to, __m256i bytes) {
  _mm256_store_si256(reinterpret_cast<__m256i*>(to), bytes);
}

template <typename T>
T ReadAt(const uint8_t* bytes) {
  T value;
  std::memcpy(&value, bytes, sizeof value);
  return value;
}

// The corners of an output byte, of pairs of bytes: those of row A before those of row B.
inline uint32_t CornersOfPairs(const uint8_t* samples, uint32_t i) {
  return ReadAt<uint16_t>(samples + 2 * i) | uint32_t{ReadAt<uint16_t>(samples + 2 * (kStore + i))}
                                                 << 16;
}

// ---- Sums of 32 bits ----

// The part of a pass that all rows between the same two source rows share, 8 bytes to an element.
struct WideShare {
  __m256i flat[4];  // lanes whose samples are all equal
  __m256 top[4];    // A's value with 16 bits behind the point, raised by 4 of its last places
  __m256 down[4];   // V
};

DIBKIT_AVX2_INLINE void PutWide(__m256 scaleA, __m256i sumA, __m256i sumB, uint32_t i,
                                WideShare* share) {
  share->top[i] = _mm256_fmadd_ps(_mm256_cvtepi32_ps(sumA), scaleA, _mm256_set1_ps(4));
  share->down[i] = _mm256_cvtepi32_ps(_mm256_sub_epi32(sumB, sumA));
}

DIBKIT_AVX2_INLINE __m256 ScaleA(const LinePlan& plan) {
  return _mm256_set1_ps(static_cast<float>(65536.0 / plan.partsX));
}

// A pass of one row; `order` has the places of four bytes each after packing.
DIBKIT_AVX2_INLINE PassBytes MakeWidePass(const WideShare& share, __m256 scaleV, __m256i order) {
  __m256i value[4], open[4];
#pragma GCC unroll 4
  for (uint32_t i = 0; i < 4; ++i) {
    const __m256i fixed = _mm256_cvtps_epi32(_mm256_fmadd_ps(share.down[i], scaleV, share.top[i]));
    open[i] = _mm256_cmpeq_epi32(_mm256_and_si256(fixed, _mm256_set1_epi32(0xFFF8)), share.flat[i]);
    value[i] = _mm256_srli_epi32(fixed, 16);
  }
  const __m256i bytes = _mm256_packus_epi16(_mm256_packus_epi32(value[0], value[1]),
                                            _mm256_packus_epi32(value[2], value[3]));
  const __m256i lanes = _mm256_packs_epi16(_mm256_packs_epi32(open[0], open[1]),
                                           _mm256_packs_epi32(open[2], open[3]));
  return {_mm256_permutevar8x32_epi32(bytes, order),
          static_cast<uint32_t>(_mm256_movemask_epi8(_mm256_permutevar8x32_epi32(lanes, order)))};
}

// With weights of 16 bits.
template <int kChunks>
struct WideForm {
  static constexpr uint32_t kSlots = kWideGroup;
  using Row = __m256;  // WideLanes::scaleV
  using Share = WideShare;

  __m256 scaleA;

  DIBKIT_AVX2_INLINE explicit WideForm(const LinePlan& plan) : scaleA(ScaleA(plan)) {}

  DIBKIT_AVX2_INLINE Row ForRow(const RowPhase& /*row*/, const WideLanes& lanes) const {
    return lanes.scaleV;
  }

  DIBKIT_AVX2_INLINE void Read(const Tables& tables, const RowWork& work, uint32_t group,
                               uint8_t* samples, Share* share) const {
    const __m256i swapped = _mm256_broadcastsi128_si256(
        _mm_setr_epi8(1, 2, 3, 0, 5, 6, 7, 4, 9, 10, 11, 8, 13, 14, 15, 12));
#pragma GCC unroll 4
    for (uint32_t i = 0; i < 4; ++i) {
      const size_t at = group + 2 * i;
      const __m256i weights = Load(tables.wideWeights + at * 2 * kWideGroup);
      const __m256i a = Pairs<kChunks>(tables, work.rowA, at);
      const __m256i b = Pairs<kChunks>(tables, work.rowB, at);
      const __m256i corners = _mm256_or_si256(a, _mm256_slli_epi32(b, 8));
      StoreBytes(samples + 32 * i, corners);
      share->flat[i] = _mm256_cmpeq_epi32(corners, _mm256_shuffle_epi8(corners, swapped));
      PutWide(scaleA, _mm256_madd_epi16(a, weights), _mm256_madd_epi16(b, weights), i, share);
    }
  }

  DIBKIT_AVX2_INLINE PassBytes Make(const Share& share, Row scaleV) const {
    return MakeWidePass(share, scaleV, _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7));
  }

  static uint32_t Corners(const uint8_t* samples, uint32_t i) {
    const uint32_t turned = ReadAt<uint32_t>(samples + 4 * i);  // A left, B left, A right, B right
    return (turned & 0xFF0000FF) | (turned & 0xFF00) << 8 | (turned >> 8 & 0xFF00);
  }
};

// With weights of 8 bits.
// ---- The short form (see short_form.h) ----

struct ShortShare {
  __m256i top[2];       // A's weighted sum times Qy, spread, of which 16 bits are enough
  __m256i down[2];      // V, spread
  __m256i estimate[2];  // 1 more than A's value, in 64ths, made too small by 2 of them
  __m256i whole[2];     // the remainder of open lanes: 0, but none where all samples are equal
};

template <int kChunks>
struct ShortForm {
  static constexpr uint32_t kSlots = kGroupBytes / 2;
  struct Row {
    __m256i phase, rise;
  };
  using Share = ShortShare;

  const LinePlan& plan;
  __m256i spread, spreadParts, divisor, rise;

  DIBKIT_AVX2_INLINE explicit ShortForm(const LinePlan& ofPlan)
      : plan(ofPlan),
        spread(Word(Spread(plan))),
        spreadParts(Word(Spread(plan) * plan.partsY)),
        divisor(Word(SpreadDivisor(plan))),
        rise(Word(SpreadRise(plan, plan.partsY))) {}

  DIBKIT_AVX2_INLINE Row ForRow(const RowPhase& row, const WideLanes& /*lanes*/) const {
    return {Word(row.phase), Word(SpreadRise(plan, row.phase))};
  }

  DIBKIT_AVX2_INLINE void Read(const Tables& tables, const RowWork& work, uint32_t group,
                               uint8_t* samples, Share* share) const {
#pragma GCC unroll 2
    for (uint32_t i = 0; i < 2; ++i) {
      const size_t at = group + 2 * i;
      const __m256i weights = Load(tables.weights + at * kGroupBytes);
      const __m256i a = Pairs<kChunks>(tables, work.rowA, at);
      const __m256i b = Pairs<kChunks>(tables, work.rowB, at);
      const __m256i sumA = _mm256_maddubs_epi16(a, weights);
      const __m256i sumB = _mm256_maddubs_epi16(b, weights);
      const __m256i spreadA = _mm256_mullo_epi16(sumA, spread);
      StoreBytes(samples + 32 * i, a);
      StoreBytes(samples + 32 * (2 + i), b);
      share->top[i] = _mm256_mullo_epi16(sumA, spreadParts);
      share->down[i] = _mm256_sub_epi16(_mm256_mullo_epi16(sumB, spread), spreadA);
      share->estimate[i] =
          _mm256_add_epi16(_mm256_mulhrs_epi16(spreadA, rise), _mm256_set1_epi16(64 - 2));
      share->whole[i] = _mm256_slli_epi16(Flat(a, b), 15);
    }
  }

  DIBKIT_AVX2_INLINE PassBytes Make(const Share& share, const Row& row) const {
    __m256i value[2], open[2];
#pragma GCC unroll 2
    for (uint32_t i = 0; i < 2; ++i) {
      const __m256i above = _mm256_srai_epi16(
          _mm256_add_epi16(share.estimate[i], _mm256_mulhrs_epi16(share.down[i], row.rise)), 6);
      const __m256i number =
          _mm256_add_epi16(share.top[i], _mm256_mullo_epi16(share.down[i], row.phase));
      const __m256i rest = _mm256_sub_epi16(number, _mm256_mullo_epi16(above, divisor));
      open[i] = _mm256_cmpeq_epi16(rest, share.whole[i]);
      value[i] = _mm256_add_epi16(above, _mm256_srai_epi16(rest, 15));
    }
    return {
        InOrder(_mm256_packus_epi16(value[0], value[1])),
        static_cast<uint32_t>(_mm256_movemask_epi8(InOrder(_mm256_packs_epi16(open[0], open[1]))))};
  }

  static uint32_t Corners(const uint8_t* samples, uint32_t i) { return CornersOfPairs(samples, i); }
};

// What is open in the rows of a batch.
template <uint32_t kMost>
struct OpenRows {
  PassSamples samples;
  OpenPasses passes[kMost];
  WideLanes lanes[kMost];
  OpenQueue queues[kMost];
};

// Queues the open bytes of a pass. Most have one or two, which are queued without a branch.
template <class Form>
inline void QueueOpen(const PassSamples& samples, uint32_t pass, uint32_t open, OpenQueue* queue) {
  const auto put = [&](uint32_t set) {
    const auto i = static_cast<uint32_t>(__builtin_ctz(set));
    queue->sample[queue->count] = samples.done[pass] + i;
    queue->corners[queue->count] = Form::Corners(samples.bytes[pass], i);
  };
  constexpr uint32_t kNone = uint32_t{1} << 31;
  put(open | kNone);
  queue->count += open != 0 ? 1 : 0;
  open &= open - 1;
  put(open | kNone);
  queue->count += open != 0 ? 1 : 0;
  for (open &= open - 1; open != 0; open &= open - 1) {
    put(open);
    ++queue->count;
  }
}

// Queues what is open in the passes so far.
template <class Form, uint32_t kMost>
DIBKIT_AVX2 __attribute__((noinline)) void QueuePasses(const LinePlan& plan, const RowBatch& batch,
                                                       OpenRows<kMost>* open) {
  const Tables tables(plan);
  for (uint32_t row = 0; row < batch.count; ++row) {
    OpenPasses& passes = open->passes[row];
    OpenQueue* const queue = &open->queues[row];
    for (uint32_t i = 0; i < passes.count; ++i) {
      const uint32_t pass = passes.pass[i];
      const uint32_t used = UsedLanes(tables, open->samples.done[pass]);
      QueueOpen<Form>(open->samples, pass, passes.open[i] & used, queue);
      if (queue->Full()) Empty(plan, batch, row, open->lanes[row], queue);
    }
    passes.count = 0;
  }
  open->samples.count = 0;
}

// The rows of a batch; kOne: it is one row.
template <class Form, bool kOne>
DIBKIT_AVX2 void QueuedRows(const LinePlan& plan, const RowBatch& batch) {
  constexpr uint32_t kMost = kOne ? 1 : RowBatch::kMost;
  constexpr uint32_t kTogether = kStore / Form::kSlots;
  const uint32_t count = kOne ? 1 : batch.count;
  const Tables tables(plan);
  const Form form(plan);
  RowWork work(plan, batch);
  typename Form::Row rows[kMost];
  uint8_t* out[kMost];
  OpenRows<kMost> open;
  for (uint32_t row = 0; row < count; ++row) {
    open.lanes[row] = MakeWideLanes(plan, batch.phases[row]);
    rows[row] = form.ForRow(batch.phases[row], open.lanes[row]);
    out[row] = batch.Out(row);
  }
  for (uint32_t group = 0; group < tables.groups;) {
    group = SkipFlat(work, group);
    const uint32_t end = std::min(tables.groups, group + work.passGroups);
    for (; group < end; group += kTogether) {
      const uint32_t done = group * Form::kSlots;
      work.traffic.Carry(done);
      const uint32_t pass = open.samples.count++;
      open.samples.done[pass] = done;
      typename Form::Share share;
      form.Read(tables, work, group, open.samples.bytes[pass], &share);
      for (uint32_t row = 0; row < count; ++row) {
        PrefetchOutput(tables.samples, out[row], done);
        const PassBytes made = form.Make(share, rows[row]);
        Store(tables, out[row], done, made.bytes);
        open.passes[row].Note(pass, made.open);
      }
    }
    if (open.samples.count > PassSamples::kPasses - kSeek) QueuePasses<Form>(plan, batch, &open);
  }
  QueuePasses<Form>(plan, batch, &open);
  for (uint32_t row = 0; row < count; ++row) {
    Empty(plan, batch, row, open.lanes[row], &open.queues[row]);
  }
}

template <template <int> class Form>
DIBKIT_AVX2 void WideRows(const LinePlan& plan, const RowBatch& batch) {
  if (plan.chunks != 1) return QueuedRows<Form<0>, false>(plan, batch);
  if (batch.count == 1) return QueuedRows<Form<1>, true>(plan, batch);
  return QueuedRows<Form<1>, false>(plan, batch);
}

DIBKIT_AVX2 void MakeWideRows(const LinePlan& plan, const RowBatch& batch) {
  return plan.byteWeights ? WideRows<ShortForm>(plan, batch) : WideRows<WideForm>(plan, batch);
}

}  // namespace

const LineKernels kAvx2LineKernels = {
    {16, 2, 4}, {16, 4, 8}, EachRow<CopyLine>, MakeNarrowRows, MakeWideRows};

}  // namespace dibkit::resolution
