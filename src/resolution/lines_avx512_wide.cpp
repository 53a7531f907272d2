// SPDX-License-Identifier: Apache-2.0
#include <bit>

#include "resolution/line_settle.h"
#include "resolution/lines_avx512.h"
#include "resolution/short_form.h"

// The wide form: samples in lanes of 32 bits, a group of 16 to a vector.

#ifdef DIBKIT_X86
namespace dibkit::resolution::avx512 {

namespace {

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

// ---- The short form (see short_form.h): words, 32 to a vector ----

struct ShortShare {
  __m512i a, b;      // pairs of samples
  __m512i top;       // A's weighted sum times Qy, spread, of which 16 bits are enough
  __m512i down;      // V, spread
  __m512i estimate;  // 1 more than A's value, in 64ths, made too small by 2 of them
  __mmask32 uneven;  // lanes whose four samples are not all equal
};

struct ShortNumbers {
  __m512i spread, spreadParts, divisor, rise;
};

// Of a row.
struct ShortPhase {
  __m512i phase, rise;
};

DIBKIT_AVX512_INLINE ShortNumbers MakeShortNumbers(const LinePlan& plan) {
  return {Word(Spread(plan)), Word(Spread(plan) * plan.partsY), Word(SpreadDivisor(plan)),
          Word(SpreadRise(plan, plan.partsY))};
}

DIBKIT_AVX512_INLINE ShortPhase MakeShortPhase(const LinePlan& plan, const RowPhase& row) {
  return {Word(row.phase), Word(SpreadRise(plan, row.phase))};
}

template <int kChunks>
DIBKIT_AVX512_INLINE ShortShare MakeShortShare(const Tables& tables, const ShortNumbers& numbers,
                                               const uint8_t* rowA, const uint8_t* rowB,
                                               size_t group) {
  const __m512i weights = _mm512_load_si512(tables.weights + size_t{tables.alike[group]} * 64);
  const __m512i a = Pairs<kChunks>(tables, rowA, group);
  const __m512i b = Pairs<kChunks>(tables, rowB, group);
  const __m512i sumA = _mm512_maddubs_epi16(a, weights);
  const __m512i sumB = _mm512_maddubs_epi16(b, weights);
  const __m512i spreadA = _mm512_mullo_epi16(sumA, numbers.spread);
  const __m512i estimate =
      _mm512_add_epi16(_mm512_mulhrs_epi16(spreadA, numbers.rise), _mm512_set1_epi16(64 - 2));
  return {a,
          b,
          _mm512_mullo_epi16(sumA, numbers.spreadParts),
          _mm512_sub_epi16(_mm512_mullo_epi16(sumB, numbers.spread), spreadA),
          estimate,
          NotFlat(a, b)};
}

// 32 output bytes as words; `open`: the uneven lanes whose value is whole.
DIBKIT_AVX512_INLINE __m512i ShortValue(const ShortShare& share, const ShortNumbers& numbers,
                                        const ShortPhase& row, __mmask32* open) {
  const __m512i above = _mm512_srai_epi16(
      _mm512_add_epi16(share.estimate, _mm512_mulhrs_epi16(share.down, row.rise)), 6);
  const __m512i number = _mm512_add_epi16(share.top, _mm512_mullo_epi16(share.down, row.phase));
  const __m512i rest = _mm512_sub_epi16(number, _mm512_mullo_epi16(above, numbers.divisor));
  *open = _mm512_mask_testn_epi16_mask(share.uneven, rest, rest);
  return _mm512_add_epi16(above, _mm512_srai_epi16(rest, 15));
}

// The samples of some passes, for the open bytes that are queued later.
struct PassSamples {
  static constexpr uint32_t kPasses = 32;

  uint32_t count = 0;
  uint32_t done[kPasses];
  alignas(64) uint8_t pairs[kPasses][2][128];  // of A and of B

  uint32_t Corners(uint32_t pass, uint32_t lane) const {
    const uint8_t* const a = pairs[pass][0] + 2 * lane;
    const uint8_t* const b = pairs[pass][1] + 2 * lane;
    return a[0] | uint32_t{b[0]} << 8 | uint32_t{a[1]} << 16 | uint32_t{b[1]} << 24;
  }
};

// The passes of a row that have open bytes. Whether a pass has any is as good as random, so they
// are noted without a branch.
struct OpenPasses {
  uint32_t count = 0;
  uint32_t pass[PassSamples::kPasses + 1];
  uint64_t open[PassSamples::kPasses + 1];

  DIBKIT_AVX512_INLINE void Note(uint32_t ofPass, uint64_t lanes) {
    pass[count] = ofPass;
    open[count] = lanes;
    count += lanes != 0 ? 1 : 0;
  }
};

// Queues the open bytes of a pass. Most have one or two, which are queued without a branch.
DIBKIT_AVX512_INLINE void QueueOpenBytes(const PassSamples& samples, uint32_t pass, uint64_t open,
                                         OpenQueue* queue) {
  const auto put = [&](uint64_t lanes) {
    const auto lane = static_cast<uint32_t>(std::countr_zero(lanes));
    queue->sample[queue->count] = samples.done[pass] + lane;
    queue->corners[queue->count] = samples.Corners(pass, lane);
  };
  constexpr uint64_t kNone = uint64_t{1} << 63;
  for (int i = 0; i < 2; ++i) {
    put(open | kNone);
    queue->count += open != 0 ? 1 : 0;
    open &= open - 1;
  }
  for (; open != 0; open &= open - 1) {
    put(open);
    ++queue->count;
  }
}

// What is open in the rows of a batch.
template <uint32_t kMost>
struct OpenRows {
  PassSamples samples;
  OpenPasses passes[kMost];
  WideLanes lanes[kMost];
  OpenQueue queues[kMost];
};

// Queues what is open in the passes so far.
template <uint32_t kMost>
DIBKIT_AVX512 __attribute__((noinline)) void QueuePasses(const LinePlan& plan,
                                                         const RowBatch& batch,
                                                         OpenRows<kMost>* open) {
  const Tables tables(plan);
  for (uint32_t row = 0; row < batch.count; ++row) {
    OpenPasses& passes = open->passes[row];
    for (uint32_t i = 0; i < passes.count; ++i) {
      const uint64_t used = UsedLanes(tables, open->samples.done[passes.pass[i]]);
      QueueOpenBytes(open->samples, passes.pass[i], passes.open[i] & used, &open->queues[row]);
      if (open->queues[row].Full()) {
        Empty(plan, batch, row, open->lanes[row], &open->queues[row]);
      }
    }
    passes.count = 0;
  }
  open->samples.count = 0;
}

DIBKIT_AVX512_INLINE void KeepSamples(const ShortShare* share, uint32_t done,
                                      PassSamples* samples) {
  samples->done[samples->count] = done;
  uint8_t(*const to)[128] = samples->pairs[samples->count];
  _mm512_store_si512(to[0], share[0].a);
  _mm512_store_si512(to[0] + 64, share[1].a);
  _mm512_store_si512(to[1], share[0].b);
  _mm512_store_si512(to[1] + 64, share[1].b);
  ++samples->count;
}

template <int kChunks, bool kOne>
DIBKIT_AVX512 void ShortRows(const LinePlan& plan, const RowBatch& batch) {
  constexpr uint32_t kMost = kOne ? 1 : RowBatch::kMost;
  const uint32_t count = kOne ? 1 : batch.count;
  const Tables tables(plan);
  const ShortNumbers numbers = MakeShortNumbers(plan);
  OpenRows<kMost> open;
  ShortPhase phases[kMost];
  uint8_t* out[kMost];
  for (uint32_t row = 0; row < count; ++row) {
    open.lanes[row] = MakeWideLanes(plan, batch.phases[row]);
    phases[row] = MakeShortPhase(plan, batch.phases[row]);
    out[row] = batch.Out(row);
  }
  const uint8_t* const rowA = batch.rowA;
  const uint8_t* const rowB = batch.rowB;
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
    const ShortShare share[2] = {MakeShortShare<kChunks>(tables, numbers, rowA, rowB, group),
                                 MakeShortShare<kChunks>(tables, numbers, rowA, rowB, group + 1)};
    flat = (share[0].uneven | share[1].uneven) == 0;
    const uint32_t pass = open.samples.count;
    KeepSamples(share, done, &open.samples);
    for (uint32_t row = 0; row < count; ++row) {
      PrefetchOutput(tables, out[row], done);
      __mmask32 lanes[2];
      const __m512i first = ShortValue(share[0], numbers, phases[row], &lanes[0]);
      const __m512i last = ShortValue(share[1], numbers, phases[row], &lanes[1]);
      StorePass(tables, out[row], done, _mm512_packus_epi16(first, last));
      open.passes[row].Note(pass, lanes[0] | uint64_t{lanes[1]} << 32);
    }
    if (open.samples.count == PassSamples::kPasses) QueuePasses(plan, batch, &open);
  }
  QueuePasses(plan, batch, &open);
  for (uint32_t row = 0; row < count; ++row) {
    Empty(plan, batch, row, open.lanes[row], &open.queues[row]);
  }
}

}  // namespace

DIBKIT_AVX512 void MakeWideRows(const LinePlan& plan, const RowBatch& batch) {
  if (!plan.byteWeights) {
    return plan.chunks == 1 ? WideRows<1>(plan, batch) : WideRows<0>(plan, batch);
  }
  if (plan.chunks != 1) return ShortRows<0, false>(plan, batch);
  return batch.count == 1 ? ShortRows<1, true>(plan, batch) : ShortRows<1, false>(plan, batch);
}

}  // namespace dibkit::resolution::avx512

#endif  // DIBKIT_X86
