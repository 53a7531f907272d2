// SPDX-License-Identifier: Apache-2.0
#include "quantize/color_map.h"

#ifdef DIBKIT_X86
#include "common/simd.h"

namespace dibkit::quantize {
namespace {

constexpr uint32_t kLanes = 8;

DIBKIT_TARGET_AVX2 inline __m256i Lanes() { return _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7); }

DIBKIT_TARGET_AVX2 inline __m256i Broadcast(uint32_t word) {
  return _mm256_set1_epi32(static_cast<int>(word));
}

// The squared distances of 8 entries to a colour whose blue and red, and whose green, are given as
// pairs of 16-bit lanes.
DIBKIT_TARGET_AVX2 inline __m256i Distances(const ColorIndex* at, __m256i blueRed, __m256i green) {
  const __m256i entries = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(at));
  const __m256i low = _mm256_and_si256(entries, Broadcast(0x00FF00FF));
  const __m256i high = _mm256_and_si256(_mm256_srli_epi32(entries, 8), Broadcast(0xFF));
  const __m256i a = _mm256_sub_epi16(low, blueRed);
  const __m256i b = _mm256_sub_epi16(high, green);
  return _mm256_add_epi32(_mm256_madd_epi16(a, a), _mm256_madd_epi16(b, b));
}

DIBKIT_TARGET_AVX2 inline __m256i Keys(__m256i distances, __m256i places) {
  return _mm256_or_si256(_mm256_slli_epi32(distances, kPlaceBits), places);
}

DIBKIT_TARGET_AVX2 inline uint32_t Least(__m256i keys) {
  __m128i least = _mm_min_epu32(_mm256_castsi256_si128(keys), _mm256_extracti128_si256(keys, 1));
  least = _mm_min_epu32(least, _mm_shuffle_epi32(least, 0x4E));
  least = _mm_min_epu32(least, _mm_shuffle_epi32(least, 0xB1));
  return static_cast<uint32_t>(_mm_cvtsi128_si32(least));
}

DIBKIT_TARGET_AVX2 ColorIndex SearchInOrder(Candidates candidates, Color color) {
  const __m256i blueRed = Broadcast(color & 0x00FF00FF);
  const __m256i green = Broadcast(color >> 8 & 0xFF);
  __m256i places = Lanes();
  __m256i best = Broadcast(UINT32_MAX);
  for (uint32_t i = 0; i < candidates.count; i += kLanes) {
    const __m256i distances = Distances(candidates.entries + i, blueRed, green);
    best = _mm256_min_epu32(best, Keys(distances, places));
    places = _mm256_add_epi32(places, Broadcast(kLanes));
  }
  return candidates.entries[Least(best) & (kMostCandidates - 1)];
}

DIBKIT_TARGET_AVX2 ColorIndex SearchLinearly(Candidates candidates, uint32_t start, Color color) {
  const __m256i blueRed = Broadcast(color & 0x00FF00FF);
  const __m256i green = Broadcast(color >> 8 & 0xFF);
  const __m256i starts = Broadcast(start);
  const __m256i count = Broadcast(candidates.count);
  __m256i places = Lanes();
  __m256i best = Broadcast(UINT32_MAX);
  for (uint32_t i = 0; i < candidates.count; i += kLanes) {
    const __m256i up = _mm256_cmpgt_epi32(places, starts);
    const __m256i order = _mm256_blendv_epi8(_mm256_sub_epi32(starts, places), places, up);
    const __m256i distances = Distances(candidates.entries + i, blueRed, green);
    const __m256i there = _mm256_cmpgt_epi32(count, places);
    const __m256i keys = Keys(distances, order);
    best = _mm256_min_epu32(best, _mm256_or_si256(keys, _mm256_xor_si256(there, Broadcast(~0u))));
    places = _mm256_add_epi32(places, Broadcast(kLanes));
  }
  return candidates.entries[LinearPlace(Least(best) & (kMostCandidates - 1), start)];
}

}  // namespace

DIBKIT_TARGET_AVX2 ColorIndex SearchAvx2(ColorMemory& memory, Color color) {
  return memory.linear() ? SearchLinearly(memory.All(), memory.StartOf(color), color)
                         : SearchInOrder(memory.CandidatesFor(color), color);
}

}  // namespace dibkit::quantize
#endif  // DIBKIT_X86
