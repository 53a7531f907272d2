// SPDX-License-Identifier: Apache-2.0
//
// 8 pixels at a time: their slots of the memory are gathered. Those that do not hold their colour
// are looked up one by one.
#include "quantize/color_map.h"

#ifdef DIBKIT_X86
#include <bit>

#include "common/simd.h"

namespace dibkit::quantize {
namespace {

constexpr size_t kLanes = 8;
constexpr size_t kPixelsRead = 10;  // that LoadColors reads bytes of

DIBKIT_TARGET_AVX2 inline __m256i Broadcast(uint32_t word) {
  return _mm256_set1_epi32(static_cast<int>(word));
}

// 8 pixels as colours.
DIBKIT_TARGET_AVX2 inline __m256i LoadColors(const uint8_t* at) {
  constexpr char kZero = -128;
  const __m256i spread =
      _mm256_setr_epi8(0, 1, 2, kZero, 3, 4, 5, kZero, 6, 7, 8, kZero, 9, 10, 11, kZero,  //
                       0, 1, 2, kZero, 3, 4, 5, kZero, 6, 7, 8, kZero, 9, 10, 11, kZero);
  const __m128i low = _mm_loadu_si128(reinterpret_cast<const __m128i*>(at));
  const __m128i high = _mm_loadu_si128(reinterpret_cast<const __m128i*>(at + 12));
  return _mm256_shuffle_epi8(_mm256_inserti128_si256(_mm256_castsi128_si256(low), high, 1), spread);
}

// As ColorMemory::SlotOf.
DIBKIT_TARGET_AVX2 inline __m256i SlotsOf(__m256i colors, __m128i shift) {
  const __m256i lines = _mm256_srl_epi32(
      _mm256_mullo_epi32(_mm256_and_si256(colors, Broadcast(ColorMemory::kLineMask)),
                         Broadcast(ColorMemory::kHashFactor)),
      shift);
  const __m256i within = _mm256_and_si256(_mm256_xor_si256(colors, _mm256_srli_epi32(colors, 6)),
                                          Broadcast(ColorMemory::kLineSlots - 1));
  return _mm256_xor_si256(lines, within);
}

// The top bytes of 8 words.
DIBKIT_TARGET_AVX2 inline __m128i TopBytes(__m256i words) {
  const __m256i order = _mm256_set1_epi32(0x0F0B0703);
  const __m256i fours = _mm256_shuffle_epi8(words, order);
  return _mm_unpacklo_epi32(_mm256_castsi256_si128(fours), _mm256_extracti128_si256(fours, 1));
}

DIBKIT_TARGET_AVX2 inline unsigned EqualLanes(__m256i a, __m256i b) {
  return static_cast<unsigned>(_mm256_movemask_ps(_mm256_castsi256_ps(_mm256_cmpeq_epi32(a, b))));
}

DIBKIT_TARGET_AVX2 void MapEight(__m256i colors, __m128i shift, uint8_t* indices,
                                 ColorMemory& memory) {
  const auto* const slots = reinterpret_cast<const int*>(memory.slots());
  const __m256i found = _mm256_i32gather_epi32(slots, SlotsOf(colors, shift), 4);
  _mm_storel_epi64(reinterpret_cast<__m128i*>(indices), TopBytes(found));
  unsigned missed = EqualLanes(_mm256_and_si256(found, Broadcast(kColorMask)), colors) ^ 0xFFu;
  if (missed == 0) return;
  alignas(32) Color each[kLanes];
  _mm256_store_si256(reinterpret_cast<__m256i*>(each), colors);
  for (; missed != 0; missed &= missed - 1) {
    const auto lane = static_cast<size_t>(std::countr_zero(missed));
    indices[lane] = memory.IndexOf(each[lane]);
  }
}

}  // namespace

DIBKIT_TARGET_AVX2 void MapRowAvx2(const uint8_t* pixels, size_t width, uint8_t* indices,
                                   ColorMemory& memory) {
  const __m128i shift = _mm_cvtsi32_si128(static_cast<int>(memory.hashShift()));
  const Color first = LoadColor(pixels);
  const __m256i flat = Broadcast(first);
  const __m128i flatIndex = _mm_set1_epi8(static_cast<char>(memory.IndexOf(first)));
  size_t x = 0;
  for (; x + kPixelsRead <= width; x += kLanes) {
    PrefetchAhead(pixels + 3 * x);
    const __m256i colors = LoadColors(pixels + 3 * x);
    if (EqualLanes(colors, flat) == 0xFF) {
      _mm_storel_epi64(reinterpret_cast<__m128i*>(indices + x), flatIndex);
    } else {
      MapEight(colors, shift, indices + x, memory);
    }
  }
  for (; x < width; ++x) indices[x] = memory.IndexOf(LoadColor(pixels + 3 * x));
}

}  // namespace dibkit::quantize
#endif  // DIBKIT_X86
