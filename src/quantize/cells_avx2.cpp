// SPDX-License-Identifier: Apache-2.0
//
// As the portable form: blocks that lie in one cell are added up all bytes at once. In the other
// blocks the cells are found 8 pixels at a time and each pixel is one addition of four sums.
#include "quantize/flat_cell.h"

#ifdef DIBKIT_X86
#include "common/simd.h"

namespace dibkit::quantize {
namespace {

constexpr size_t kBlock = 32;  // pixels in three vectors

DIBKIT_TARGET_AVX2 inline __m256i Load(const uint8_t* at) {
  return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(at));
}

DIBKIT_TARGET_AVX2 inline void AddAt(CellSums* cells, uint32_t offset, uint32_t pixel) {
  auto* const cell = reinterpret_cast<__m128i*>(reinterpret_cast<char*>(cells) + offset);
  const __m128i parts = _mm_cvtepu8_epi32(_mm_cvtsi32_si128(static_cast<int>(pixel)));
  _mm_storeu_si128(cell, _mm_add_epi32(_mm_loadu_si128(cell), parts));
}

// 8 pixels of `at`, of which 28 bytes from `at` - `back` on are read.
template <int kBack>
DIBKIT_TARGET_AVX2 inline void AddEight(const uint8_t* at, CellSums* cells) {
  constexpr char kZero = -128;
  const auto place = [](int byte) { return static_cast<char>(byte + kBack); };
  const __m256i spread =
      _mm256_setr_epi8(place(0), place(1), place(2), kZero, place(3), place(4), place(5), kZero,
                       place(6), place(7), place(8), kZero, place(9), place(10), place(11), kZero,
                       place(0), place(1), place(2), kZero, place(3), place(4), place(5), kZero,
                       place(6), place(7), place(8), kZero, place(9), place(10), place(11), kZero);
  const auto* const first = reinterpret_cast<const __m128i*>(at - kBack);
  const auto* const second = reinterpret_cast<const __m128i*>(at - kBack + 12);
  const __m256i packed = _mm256_inserti128_si256(_mm256_castsi128_si256(_mm_loadu_si128(first)),
                                                 _mm_loadu_si128(second), 1);
  const __m256i pixels =
      _mm256_or_si256(_mm256_shuffle_epi8(packed, spread), _mm256_set1_epi32(0x01000000));
  const __m256i red = _mm256_and_si256(_mm256_srli_epi32(pixels, 15), _mm256_set1_epi32(0x1F0));
  const __m256i green = _mm256_and_si256(_mm256_srli_epi32(pixels, 2), _mm256_set1_epi32(0x3E00));
  const __m256i blue = _mm256_and_si256(_mm256_slli_epi32(pixels, 11), _mm256_set1_epi32(0x7C000));
  alignas(32) uint32_t offsets[8];
  alignas(32) uint32_t values[8];
  _mm256_store_si256(reinterpret_cast<__m256i*>(offsets),
                     _mm256_or_si256(_mm256_or_si256(red, green), blue));
  _mm256_store_si256(reinterpret_cast<__m256i*>(values), pixels);
  for (size_t i = 0; i < 8; ++i) AddAt(cells, offsets[i], values[i]);
}

// How many blocks from `pixels` on, of at most `limit`, lie in one cell; `sums` takes their low
// bits.
DIBKIT_TARGET_AVX2 inline size_t FlatBlocks(const uint8_t* pixels, size_t limit, __m256i sums[3]) {
  const CellPattern<uint64_t, 12> pattern(pixels);
  const auto* const words = reinterpret_cast<const uint8_t*>(pattern.words);
  const __m256i cell[3] = {Load(words), Load(words + 32), Load(words + 64)};
  const __m256i cellBits = _mm256_set1_epi8(static_cast<char>(0xF8));
  const __m256i lowBits = _mm256_set1_epi8(7);
  size_t blocks = 0;
  for (; blocks < limit; ++blocks, pixels += 3 * kBlock) {
    PrefetchAhead(pixels);
    PrefetchAhead(pixels + 64);
    const __m256i v0 = Load(pixels);
    const __m256i v1 = Load(pixels + 32);
    const __m256i v2 = Load(pixels + 64);
    const __m256i other = _mm256_or_si256(
        _mm256_or_si256(_mm256_xor_si256(v0, cell[0]), _mm256_xor_si256(v1, cell[1])),
        _mm256_xor_si256(v2, cell[2]));
    if (_mm256_testz_si256(other, cellBits) == 0) break;
    sums[0] = _mm256_add_epi8(sums[0], _mm256_and_si256(v0, lowBits));
    sums[1] = _mm256_add_epi8(sums[1], _mm256_and_si256(v1, lowBits));
    sums[2] = _mm256_add_epi8(sums[2], _mm256_and_si256(v2, lowBits));
  }
  return blocks;
}

DIBKIT_TARGET_AVX2 void AddRow(const uint8_t* pixels, size_t count, CellSums* cells) {
  size_t x = 0;
  while (x + kBlock <= count) {
    const uint8_t* const first = pixels + 3 * x;
    const size_t limit = (count - x) / kBlock < kFlatBlocks ? (count - x) / kBlock : kFlatBlocks;
    __m256i sums[3] = {};
    const size_t blocks = FlatBlocks(first, limit, sums);
    if (blocks != 0) {
      uint8_t bytes[sizeof sums];
      std::memcpy(bytes, sums, sizeof sums);
      AddFlat(first, bytes, sizeof bytes, blocks * kBlock, cells);
      x += blocks * kBlock;
      continue;
    }
    AddEight<0>(first, cells);
    AddEight<0>(first + 24, cells);
    AddEight<0>(first + 48, cells);
    AddEight<4>(first + 72, cells);  // ends with the block: 16 bytes from 8 on reach byte 24
    x += kBlock;
  }
  for (; x < count; ++x) AddPixel(pixels + 3 * x, cells);
}

}  // namespace

DIBKIT_TARGET_AVX2 void AddToCellsAvx2(const uint8_t* rows, size_t stride, size_t width,
                                       size_t height, CellSums* cells) {
  for (size_t y = 0; y < height; ++y) AddRow(rows + y * stride, width, cells);
}

}  // namespace dibkit::quantize
#endif  // DIBKIT_X86
