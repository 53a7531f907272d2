// SPDX-License-Identifier: Apache-2.0
//
// What the AVX2 line kernels have in common. They need FMA; a group is 8 samples (4 in the wide
// form) and two groups make a vector, a pass makes half a cache line of 32 output bytes. The same
// arithmetic as that of the AVX-512 kernels, with masks in vectors of words. docs/arithmetic.md
// explains the numbers.
#ifndef DIBKIT_SRC_RESOLUTION_LINES_AVX2_H
#define DIBKIT_SRC_RESOLUTION_LINES_AVX2_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "common/simd.h"
#include "resolution/line_kernels.h"
#include "resolution/line_tables.h"

#ifdef DIBKIT_X86

#define DIBKIT_AVX2 __attribute__((target("avx2,fma,prfchw,popcnt")))
#define DIBKIT_AVX2_INLINE __attribute__((target("avx2,fma,prfchw,popcnt"), always_inline)) inline

namespace dibkit::resolution::avx2 {

void MakeNarrowRows(const LinePlan& plan, const RowBatch& batch);
void MakeWideRows(const LinePlan& plan, const RowBatch& batch);

inline constexpr uint32_t kGroupBytes = 16;
inline constexpr uint32_t kStore = 32;  // output bytes made at a time
inline constexpr uint32_t kSeek = 8;    // passes between two looks for a flat run

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

inline constexpr Repeated kRepeated = MakeRepeated();

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
DIBKIT_AVX2 __attribute__((noinline)) inline uint32_t SkipFlat(RowWork& work, uint32_t group) {
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

// Lanes whose four samples are all equal.
DIBKIT_AVX2_INLINE __m256i Flat(__m256i a, __m256i b) {
  const __m256i swapped = _mm256_broadcastsi128_si256(
      _mm_setr_epi8(1, 0, 3, 2, 5, 4, 7, 6, 9, 8, 11, 10, 13, 12, 15, 14));
  return _mm256_and_si256(_mm256_cmpeq_epi16(a, b),
                          _mm256_cmpeq_epi16(a, _mm256_shuffle_epi8(a, swapped)));
}

// Words of two vectors as bytes in their order.
DIBKIT_AVX2_INLINE __m256i InOrder(__m256i packed) {
  return _mm256_permute4x64_epi64(packed, 0xD8);
}

}  // namespace dibkit::resolution::avx2

#endif  // DIBKIT_X86

#endif  // DIBKIT_SRC_RESOLUTION_LINES_AVX2_H
