// SPDX-License-Identifier: Apache-2.0
//
// 16 pixels at a time: their slots of the memory are gathered, and those that do not hold their
// colour are queued. Whether a pixel is remembered is as good as random, so nothing branches on it;
// the queue is worked off after a stretch of the row.
#include "quantize/color_map.h"

#ifdef DIBKIT_X86
#include <algorithm>
#include <bit>

#include "common/simd.h"

namespace dibkit::quantize {
namespace {

constexpr size_t kLanes = 16;
constexpr size_t kStretch = 1024;

struct Misses {
  alignas(64) Color colors[kStretch + kLanes];
  alignas(64) uint32_t places[kStretch + kLanes];
  size_t count = 0;
};

DIBKIT_TARGET_AVX512 inline __m512i Lanes() {
  return _mm512_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15);
}

DIBKIT_TARGET_AVX512 inline __m512i Broadcast(uint32_t word) {
  return _mm512_set1_epi32(static_cast<int>(word));
}

// 16 pixels as colours, fewer with a mask of 3 bits for each.
DIBKIT_TARGET_AVX512 inline __m512i LoadColors(const uint8_t* at, __mmask64 bytes) {
  const __m512i spread =
      _mm512_setr_epi32(0x00020100, 0x00050403, 0x00080706, 0x000B0A09, 0x000E0D0C, 0x0011100F,
                        0x00141312, 0x00171615, 0x001A1918, 0x001D1C1B, 0x00201F1E, 0x00232221,
                        0x00262524, 0x00292827, 0x002C2B2A, 0x002F2E2D);
  return _mm512_maskz_permutexvar_epi8(0x7777777777777777, spread,
                                       _mm512_maskz_loadu_epi8(bytes, at));
}

// As ColorMemory::SlotOf.
DIBKIT_TARGET_AVX512 inline __m512i SlotsOf(__m512i colors, __m128i shift) {
  const __m512i lines = _mm512_srl_epi32(
      _mm512_mullo_epi32(_mm512_and_si512(colors, Broadcast(ColorMemory::kLineMask)),
                         Broadcast(ColorMemory::kHashFactor)),
      shift);
  const __m512i within = _mm512_and_si512(_mm512_xor_si512(colors, _mm512_srli_epi32(colors, 6)),
                                          Broadcast(ColorMemory::kLineSlots - 1));
  return _mm512_xor_si512(lines, within);
}

// The squared distances of 16 entries to a colour whose blue and red, and whose green, are given as
// pairs of 16-bit lanes.
DIBKIT_TARGET_AVX512 inline __m512i Distances(__m512i entries, __m512i blueRed, __m512i green) {
  const __m512i low = _mm512_and_si512(entries, Broadcast(0x00FF00FF));
  const __m512i high = _mm512_and_si512(_mm512_srli_epi32(entries, 8), Broadcast(0xFF));
  const __m512i a = _mm512_sub_epi16(low, blueRed);
  const __m512i b = _mm512_sub_epi16(high, green);
  return _mm512_add_epi32(_mm512_madd_epi16(a, a), _mm512_madd_epi16(b, b));
}

DIBKIT_TARGET_AVX512 inline __m512i Keys(__m512i distances, __m512i places) {
  return _mm512_or_si512(_mm512_slli_epi32(distances, kPlaceBits), places);
}

DIBKIT_TARGET_AVX512 inline ColorIndex SearchInOrder(Candidates candidates, Color color) {
  const __m512i blueRed = Broadcast(color & 0x00FF00FF);
  const __m512i green = Broadcast(color >> 8 & 0xFF);
  __m512i places = Lanes();
  __m512i best = Broadcast(UINT32_MAX);
  for (uint32_t i = 0; i < candidates.count; i += kLanes) {
    const __m512i entries = _mm512_loadu_si512(candidates.entries + i);
    best = _mm512_min_epu32(best, Keys(Distances(entries, blueRed, green), places));
    places = _mm512_add_epi32(places, Broadcast(kLanes));
  }
  return candidates.entries[_mm512_reduce_min_epu32(best) & (kMostCandidates - 1)];
}

DIBKIT_TARGET_AVX512 ColorIndex SearchLinearly(Candidates candidates, uint32_t start, Color color) {
  const __m512i blueRed = Broadcast(color & 0x00FF00FF);
  const __m512i green = Broadcast(color >> 8 & 0xFF);
  const __m512i starts = Broadcast(start);
  __m512i places = Lanes();
  __m512i best = Broadcast(UINT32_MAX);
  for (uint32_t i = 0; i < candidates.count; i += kLanes) {
    const __m512i entries = _mm512_loadu_si512(candidates.entries + i);
    const __mmask16 down = _mm512_cmple_epu32_mask(places, starts);
    const __m512i order = _mm512_mask_sub_epi32(places, down, starts, places);
    const __mmask16 there = _mm512_cmplt_epu32_mask(places, Broadcast(candidates.count));
    best =
        _mm512_mask_min_epu32(best, there, best, Keys(Distances(entries, blueRed, green), order));
    places = _mm512_add_epi32(places, Broadcast(kLanes));
  }
  const uint32_t order = _mm512_reduce_min_epu32(best) & (kMostCandidates - 1);
  return candidates.entries[LinearPlace(order, start)];
}

DIBKIT_TARGET_AVX512 inline ColorIndex Search(ColorMemory& memory, Color color) {
  return memory.linear() ? SearchLinearly(memory.All(), memory.StartOf(color), color)
                         : SearchInOrder(memory.CandidatesFor(color), color);
}

DIBKIT_TARGET_AVX512 void MapStretch(const uint8_t* pixels, size_t count, uint8_t* indices,
                                     ColorMemory& memory, Misses& misses) {
  const Color flatColor = LoadColor(pixels);
  const __m512i flat = Broadcast(flatColor);
  const __m128i flatIndex = _mm_set1_epi8(static_cast<char>(memory.IndexOf(flatColor)));
  const __m128i shift = _mm_cvtsi32_si128(static_cast<int>(memory.hashShift()));
  const __m512i colorMask = Broadcast(kColorMask);
  const auto* const slots = reinterpret_cast<const int*>(memory.slots());
  size_t missed = 0;
  for (size_t x = 0; x < count; x += kLanes) {
    const auto left = static_cast<unsigned>(std::min(kLanes, count - x));
    const auto lanes = static_cast<__mmask16>(_bzhi_u32(0xFFFF, left));
    const __m512i colors = LoadColors(pixels + 3 * x, (uint64_t{1} << 3 * left) - 1);
    PrefetchAhead(pixels + 3 * x);
    if (_mm512_mask_cmpneq_epi32_mask(lanes, colors, flat) == 0) {
      _mm_mask_storeu_epi8(indices + x, lanes, flatIndex);
      continue;
    }
    const __m512i found = _mm512_i32gather_epi32(SlotsOf(colors, shift), slots, 4);
    const __mmask16 misses16 =
        _mm512_mask_test_epi32_mask(lanes, _mm512_xor_si512(found, colors), colorMask);
    _mm_mask_storeu_epi8(indices + x, lanes, _mm512_cvtepi32_epi8(_mm512_srli_epi32(found, 24)));
    const __m512i places = _mm512_add_epi32(Lanes(), Broadcast(static_cast<uint32_t>(x)));
    _mm512_storeu_si512(misses.colors + missed, _mm512_maskz_compress_epi32(misses16, colors));
    _mm512_storeu_si512(misses.places + missed, _mm512_maskz_compress_epi32(misses16, places));
    missed += static_cast<size_t>(std::popcount(static_cast<unsigned>(misses16)));
  }
  misses.count = missed;
}

}  // namespace

DIBKIT_TARGET_AVX512 ColorIndex SearchAvx512(ColorMemory& memory, Color color) {
  return Search(memory, color);
}

DIBKIT_TARGET_AVX512 void MapRowAvx512(const uint8_t* pixels, size_t width, uint8_t* indices,
                                       ColorMemory& memory) {
  Misses misses;
  for (size_t x = 0; x < width; x += kStretch) {
    MapStretch(pixels + 3 * x, std::min(kStretch, width - x), indices + x, memory, misses);
    for (size_t i = 0; i < misses.count; ++i) {
      const Color color = misses.colors[i];
      ColorIndex& answer = memory.AnswerTo(color);
      if (!ColorMemory::Answers(answer, color)) {
        answer = ColorMemory::Answer(Search(memory, color), color);
      }
      indices[x + misses.places[i]] = static_cast<uint8_t>(answer >> 24);
    }
  }
}

}  // namespace dibkit::quantize
#endif  // DIBKIT_X86
