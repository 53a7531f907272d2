// SPDX-License-Identifier: Apache-2.0
//
// A page has one cell that most of its pixels lie in, the paper. Noise makes the others come at
// random, so nothing branches on them: pixels of the paper's cell are added up in a register, the
// others are packed together in a queue, and the queue is worked off in one go. The register also
// takes the strain off the paper's cell in memory, where each addition would wait for the one
// before.
#include "quantize/flat_cell.h"

#ifdef DIBKIT_X86
#include "common/simd.h"

#include <algorithm>
#include <bit>

namespace dibkit::quantize {
namespace {

constexpr size_t kLanes = 16;
constexpr size_t kSegment = 2048;                  // room in the queue
constexpr size_t kStretch = kFlatBlocks * kLanes;  // as many pixels as sums of low bits can take
constexpr size_t kPapers = 4;
constexpr uint32_t kCellBits = 0x00F8F8F8;
constexpr uint32_t kLowBits = 0x01070707;  // the top byte is 1 in each pixel and counts them

// 16 pixels, fewer with a mask of 3 bits for each: bytes blue, green, red, 1.
DIBKIT_TARGET_AVX512 inline __m512i LoadPixels(const uint8_t* at, __mmask64 bytes) {
  const __m512i spread =
      _mm512_setr_epi32(0x3F020100, 0x3F050403, 0x3F080706, 0x3F0B0A09, 0x3F0E0D0C, 0x3F11100F,
                        0x3F141312, 0x3F171615, 0x3F1A1918, 0x3F1D1C1B, 0x3F201F1E, 0x3F232221,
                        0x3F262524, 0x3F292827, 0x3F2C2B2A, 0x3F2F2E2D);
  const __m512i packed = _mm512_maskz_loadu_epi8(bytes, at);
  return _mm512_or_si512(_mm512_permutexvar_epi8(spread, packed), _mm512_set1_epi32(0x01000000));
}

// The byte offsets of 16 pixels' cells.
DIBKIT_TARGET_AVX512 inline __m512i CellOffsets(__m512i pixels) {
  const __m512i red = _mm512_and_si512(_mm512_srli_epi32(pixels, 15), _mm512_set1_epi32(0x1F0));
  const __m512i green = _mm512_and_si512(_mm512_srli_epi32(pixels, 2), _mm512_set1_epi32(0x3E00));
  const __m512i blue = _mm512_and_si512(_mm512_slli_epi32(pixels, 11), _mm512_set1_epi32(0x7C000));
  return _mm512_or_si512(_mm512_or_si512(red, green), blue);
}

DIBKIT_TARGET_AVX512 inline void AddAt(CellSums* cells, uint32_t offset, uint32_t pixel) {
  auto* const cell = reinterpret_cast<__m128i*>(reinterpret_cast<char*>(cells) + offset);
  const __m128i parts = _mm_cvtepu8_epi32(_mm_cvtsi32_si128(static_cast<int>(pixel)));
  _mm_storeu_si128(cell, _mm_add_epi32(_mm_loadu_si128(cell), parts));
}

// Neighbours often lie in one cell, and an addition waits for the one before in the same cell. So
// pixels from four parts of the queue take turns.
DIBKIT_TARGET_AVX512 void WorkOff(const uint32_t* queue, size_t length, CellSums* cells) {
  alignas(64) uint32_t offsets[kSegment];
  for (size_t at = 0; at < length; at += kLanes) {
    _mm512_store_si512(offsets + at, CellOffsets(_mm512_load_si512(queue + at)));
  }
  const size_t part = length / 4;
  for (size_t at = 0; at < part; ++at) {
    AddAt(cells, offsets[at], queue[at]);
    AddAt(cells, offsets[part + at], queue[part + at]);
    AddAt(cells, offsets[2 * part + at], queue[2 * part + at]);
    AddAt(cells, offsets[3 * part + at], queue[3 * part + at]);
  }
  for (size_t at = 4 * part; at < length; ++at) AddAt(cells, offsets[at], queue[at]);
}

// `low`: in each of 16 lanes, sums of the low bits of blue, green and red and a count, a byte each,
// of pixels of `color`'s cell. Returns the count.
DIBKIT_TARGET_AVX512 uint32_t AddLanes(uint32_t color, __m512i low, CellSums* cells) {
  const __m512i byComponent = _mm512_shuffle_epi8(
      low,
      _mm512_broadcast_i32x4(_mm_setr_epi8(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15)));
  const __m512i zero = _mm512_setzero_si512();
  const __m512i blueRed =
      _mm512_sad_epu8(_mm512_and_si512(byComponent, _mm512_set1_epi64(0xFFFFFFFF)), zero);
  const __m512i greenCount = _mm512_sad_epu8(_mm512_srli_epi64(byComponent, 32), zero);
  const __m512i four = _mm512_or_si512(blueRed, _mm512_slli_epi64(greenCount, 32));
  const __m256i two =
      _mm256_add_epi32(_mm512_castsi512_si256(four), _mm512_extracti64x4_epi64(four, 1));
  const __m128i lowSums =
      _mm_add_epi32(_mm256_castsi256_si128(two), _mm256_extracti128_si256(two, 1));
  const __m128i cellBits =
      _mm_cvtepu8_epi32(_mm_cvtsi32_si128(static_cast<int>(color & kCellBits)));
  const __m128i highSums = _mm_mullo_epi32(cellBits, _mm_shuffle_epi32(lowSums, 0xFF));
  auto* const cell = reinterpret_cast<__m128i*>(
      cells + ((color >> 19 & 0x1F) | (color >> 6 & 0x3E0) | (color << 7 & 0x7C00)));
  const __m128i sums = _mm_add_epi32(lowSums, highSums);
  _mm_storeu_si128(cell, _mm_add_epi32(_mm_loadu_si128(cell), sums));
  return static_cast<uint32_t>(_mm_extract_epi32(lowSums, 3));
}

// The cells whose pixels are added up in registers, each named by one of its colours.
struct Papers {
  uint32_t colors[kPapers];
  uint32_t counts[kPapers];  // how many pixels they had the last time
};

// Adds up the pixels of the papers' cells and queues the others; returns how many.
DIBKIT_TARGET_AVX512 size_t AddPapers(const uint8_t* pixels, size_t count, Papers& papers,
                                      uint32_t* queue, CellSums* cells) {
  const __m512i cellBits = _mm512_set1_epi32(static_cast<int>(kCellBits));
  const __m512i lowBits = _mm512_set1_epi32(static_cast<int>(kLowBits));
  __m512i paper[kPapers];
  __m512i low[kPapers];
  for (size_t i = 0; i < kPapers; ++i) {
    paper[i] = _mm512_set1_epi32(static_cast<int>(papers.colors[i] & kCellBits));
    low[i] = _mm512_setzero_si512();
  }
  size_t queued = 0;
  for (size_t x = 0; x < count; x += kLanes) {
    const auto left = static_cast<unsigned>(std::min(kLanes, count - x));
    auto others = static_cast<__mmask16>(_bzhi_u32(0xFFFF, left));
    const __m512i v = LoadPixels(pixels + 3 * x, (uint64_t{1} << 3 * left) - 1);
    PrefetchAhead(pixels + 3 * x);
    const __m512i cell = _mm512_and_si512(v, cellBits);
    const __m512i lows = _mm512_and_si512(v, lowBits);
    // A paper that is named twice finds its pixels gone the second time. No byte of the sums
    // carries into the next, so whole lanes can be added.
    for (size_t i = 0; i < kPapers; ++i) {
      const __mmask16 flat = _mm512_mask_cmpeq_epi32_mask(others, cell, paper[i]);
      low[i] = _mm512_mask_add_epi32(low[i], flat, low[i], lows);
      others = static_cast<__mmask16>(others & ~flat);
      if (i == 0 && others == 0) break;
    }
    _mm512_storeu_si512(queue + queued, _mm512_maskz_compress_epi32(others, v));
    queued += static_cast<size_t>(std::popcount(static_cast<unsigned>(others)));
  }
  for (size_t i = 0; i < kPapers; ++i) papers.counts[i] = AddLanes(papers.colors[i], low[i], cells);
  return queued;
}

// When the weakest paper has far fewer pixels than wait in the queue, one of these takes its place:
// the more of them a cell has, the likelier it is to be drawn.
void ReplaceWeakest(Papers& papers, const uint32_t* queue, size_t queued) {
  size_t weakest = 0;
  for (size_t i = 1; i < kPapers; ++i) {
    if (papers.counts[i] < papers.counts[weakest]) weakest = i;
  }
  if (papers.counts[weakest] * size_t{8} < queued) papers.colors[weakest] = queue[queued / 2];
}

}  // namespace

DIBKIT_TARGET_AVX512 void AddToCellsAvx512(const uint8_t* rows, size_t stride, size_t width,
                                           size_t height, CellSums* cells) {
  alignas(64) uint32_t queue[kSegment + kLanes];
  Papers papers = {};
  size_t queued = 0;
  for (size_t y = 0; y < height; ++y) {
    const uint8_t* const row = rows + y * stride;
    for (size_t x = 0; x < width; x += kStretch) {
      const size_t length = std::min(kStretch, width - x);
      const size_t others = AddPapers(row + 3 * x, length, papers, queue + queued, cells);
      ReplaceWeakest(papers, queue + queued, others);
      queued += others;
      if (queued + kStretch > kSegment) {
        WorkOff(queue, queued, cells);
        queued = 0;
      }
    }
  }
  WorkOff(queue, queued, cells);
}

}  // namespace dibkit::quantize
#endif  // DIBKIT_X86
