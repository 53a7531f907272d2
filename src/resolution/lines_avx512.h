// SPDX-License-Identifier: Apache-2.0
//
// What the AVX-512 line kernels have in common. They need byte permutations (VBMI); a pass makes a
// cache line of 64 output bytes. docs/arithmetic.md explains the numbers.
#ifndef DIBKIT_SRC_RESOLUTION_LINES_AVX512_H
#define DIBKIT_SRC_RESOLUTION_LINES_AVX512_H

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "common/simd.h"
#include "resolution/line_kernels.h"
#include "resolution/line_tables.h"

#ifdef DIBKIT_X86

#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"  // g++ 12 sees it in its own intrinsics
#endif

#define DIBKIT_AVX512 \
  __attribute__((target("avx512f,avx512bw,avx512vl,avx512dq,avx512vbmi,prfchw,popcnt,bmi2")))
#define DIBKIT_AVX512_INLINE                                                                 \
  __attribute__((target("avx512f,avx512bw,avx512vl,avx512dq,avx512vbmi,prfchw,popcnt,bmi2"), \
                 always_inline)) inline

namespace dibkit::resolution::avx512 {

void MakeNarrowRows(const LinePlan& plan, const RowBatch& batch);
void MakeWideRows(const LinePlan& plan, const RowBatch& batch);

inline constexpr uint32_t kGroup = 32;  // output bytes of a group

DIBKIT_AVX512_INLINE __m512i Word(uint32_t value) {
  return _mm512_set1_epi16(static_cast<short>(value));
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

// Lanes whose four samples are not all equal.
DIBKIT_AVX512_INLINE __mmask32 NotFlat(__m512i a, __m512i b) {
  const __m512i turned =
      _mm512_shuffle_epi8(a, _mm512_set4_epi32(0x0E0F0C0D, 0x0A0B0809, 0x06070405, 0x02030001));
  return _mm512_cmpneq_epi16_mask(a, b) | _mm512_cmpneq_epi16_mask(a, turned);
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

}  // namespace dibkit::resolution::avx512

#endif  // DIBKIT_X86

#endif  // DIBKIT_SRC_RESOLUTION_LINES_AVX512_H
