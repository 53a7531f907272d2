// SPDX-License-Identifier: Apache-2.0
//
// The same order as the portable form leaves, by other means.
//
// A long stretch is parted as Qsort does it, 16 elements at a time. Those below the pivot go to the
// front in their order, and each is swapped with what is there. Where that place is one of the 16
// itself, its element may have been swapped before, so the way back to where it came from is
// followed.
//
// A short stretch is sorted in a register. Where no two distances are equal there is only one
// sorted order; where two are, the swaps are done one by one.
#include "common/simd.h"
#include "quantize/kernels.h"

#ifdef DIBKIT_X86
#include <algorithm>
#include <bit>
#include <utility>

namespace dibkit::quantize {
namespace {

constexpr size_t kLanes = 16;

// One step of a sorting network: each lane meets the lane that `partner` names; the lanes in
// `keepsLarger` keep the larger of the two.
DIBKIT_TARGET_AVX512 inline __m512i Meet(__m512i v, __m512i partner, __mmask16 keepsLarger) {
  const __m512i other = _mm512_permutexvar_epi32(partner, v);
  return _mm512_mask_max_epu32(_mm512_min_epu32(v, other), keepsLarger, v, other);
}

// Lane i meets lane i ^ 1, 2, 4 or 8.
template <int kDistance>
DIBKIT_TARGET_AVX512 inline __m512i Near(__m512i v, __mmask16 keepsLarger) {
  const __m512i lane = _mm512_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15);
  return Meet(v, _mm512_xor_si512(lane, _mm512_set1_epi32(kDistance)), keepsLarger);
}

// The bitonic network for 16 elements.
DIBKIT_TARGET_AVX512 inline __m512i Sorted(__m512i v) {
  v = Near<1>(v, 0x6666);
  v = Near<2>(v, 0x3C3C);
  v = Near<1>(v, 0x5A5A);
  v = Near<4>(v, 0x0FF0);
  v = Near<2>(v, 0x33CC);
  v = Near<1>(v, 0x55AA);
  v = Near<8>(v, 0xFF00);
  v = Near<4>(v, 0xF0F0);
  v = Near<2>(v, 0xCCCC);
  return Near<1>(v, 0xAAAA);
}

// Sorts 1 to 16 keys. False, with the keys as they were, when two distances are equal.
DIBKIT_TARGET_AVX512 inline bool SortShort(SortKey* keys, size_t n) {
  const auto lanes = static_cast<__mmask16>(_bzhi_u32(0xFFFF, static_cast<unsigned>(n)));
  const __m512i sorted = Sorted(_mm512_mask_loadu_epi32(_mm512_set1_epi32(-1), lanes, keys));
  const __m512i next = _mm512_alignr_epi32(sorted, sorted, 1);
  const __m512i differing = _mm512_xor_si512(sorted, next);
  const __mmask16 equal = _mm512_testn_epi32_mask(
      differing, _mm512_set1_epi32(static_cast<int>(~0u << kSortPlaceBits)));
  if ((equal & (lanes >> 1)) != 0) return false;
  _mm512_mask_storeu_epi32(keys, lanes, sorted);
  return true;
}

// Where the elements come from that 16 swaps leave in the lanes of a block: lanes 0 to 15 of the
// front, or lanes of the block, which count from 16. `gap` is how far the front is behind the
// block.
DIBKIT_TARGET_AVX512 inline __m512i Origins(__mmask16 less, size_t gap) {
  const __m512i lane = _mm512_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15);
  const __m512i sixteen = _mm512_set1_epi32(16);
  // The element of rank r among those below the pivot meets place r of the front.
  const __m512i rank = _mm512_maskz_expand_epi32(less, lane);
  const __m512i gaps = _mm512_set1_epi32(static_cast<int>(gap));
  const __mmask16 within = _mm512_mask_cmpge_epi32_mask(less, rank, gaps);
  __m512i origin = _mm512_mask_mov_epi32(_mm512_add_epi32(lane, sixteen), less, rank);
  origin = _mm512_mask_add_epi32(origin, within, _mm512_sub_epi32(rank, gaps), sixteen);
  // Each round doubles the swaps gone back by.
  for (__mmask16 open = within; open != 0;) {
    const __m512i before = origin;
    origin = _mm512_mask_permutexvar_epi32(origin, open, origin, origin);
    open = _mm512_mask_cmpneq_epi32_mask(open, origin, before);
    open = _mm512_mask_cmpge_epi32_mask(open, origin, sixteen);
  }
  return origin;
}

// Parts keys[1] to keys[n - 1] by the pivot in keys[0]; returns how many are below it.
DIBKIT_TARGET_AVX512 inline size_t Part(SortKey* keys, size_t n) {
  const SortKey bound = keys[0] >> kSortPlaceBits << kSortPlaceBits;
  const __m512i bounds = _mm512_set1_epi32(static_cast<int>(bound));
  size_t last = 0;
  for (size_t i = 1; i < n; i += kLanes) {
    const auto lanes =
        static_cast<__mmask16>(_bzhi_u32(0xFFFF, static_cast<unsigned>(std::min(n - i, kLanes))));
    const __m512i block = _mm512_maskz_loadu_epi32(lanes, keys + i);
    const __mmask16 less = _mm512_mask_cmplt_epu32_mask(lanes, block, bounds);
    const auto count = static_cast<unsigned>(std::popcount(static_cast<unsigned>(less)));
    SortKey* const front = keys + last + 1;
    const size_t gap = i - last - 1;
    last += count;
    if (count == 0 || (gap == 0 && less == lanes)) continue;
    const auto places = static_cast<__mmask16>(_bzhi_u32(0xFFFF, count));
    const __m512i displaced = _mm512_maskz_loadu_epi32(places, front);
    _mm512_mask_storeu_epi32(keys + i, lanes,
                             _mm512_permutex2var_epi32(displaced, Origins(less, gap), block));
    _mm512_mask_storeu_epi32(front, places, _mm512_maskz_compress_epi32(less, block));
  }
  return last;
}

}  // namespace

DIBKIT_TARGET_AVX512 void SortKeysAvx512(SortKey* keys, size_t n) {
  while (n > 1) {
    if (n <= kLanes) {
      if (!SortShort(keys, n)) SortKeysPortable(keys, n);
      return;
    }
    std::swap(keys[0], keys[n / 2]);
    const size_t last = Part(keys, n);
    std::swap(keys[0], keys[last]);
    SortKeysAvx512(keys, last);
    keys += last + 1;
    n -= last + 1;
  }
}

}  // namespace dibkit::quantize
#endif  // DIBKIT_X86
