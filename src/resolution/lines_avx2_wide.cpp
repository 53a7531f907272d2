// SPDX-License-Identifier: Apache-2.0
#include <bit>

#include "resolution/line_settle.h"
#include "resolution/lines_avx2.h"
#include "resolution/short_form.h"

// The wide form: samples in lanes of 32 bits, 8 to a vector, and the short form, 16 to a vector.

#ifdef DIBKIT_X86

namespace dibkit::resolution::avx2 {

namespace {

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

}  // namespace

DIBKIT_AVX2 void MakeWideRows(const LinePlan& plan, const RowBatch& batch) {
  return plan.byteWeights ? WideRows<ShortForm>(plan, batch) : WideRows<WideForm>(plan, batch);
}

}  // namespace dibkit::resolution::avx2

#endif  // DIBKIT_X86
