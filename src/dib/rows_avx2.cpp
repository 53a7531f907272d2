// SPDX-License-Identifier: Apache-2.0
//
// 8 pixels at a time; what is left of a row goes to the portable form.
#include "dib/rows_portable.h"

#ifdef DIBKIT_X86
#include <algorithm>
#include <cstring>

#include "common/simd.h"
#include "dib/field_move.h"

namespace dibkit {
namespace {

DIBKIT_TARGET_AVX2 inline __m256i Broadcast(uint32_t word) {
  return _mm256_set1_epi32(static_cast<int>(word));
}

DIBKIT_TARGET_AVX2 inline __m128i Load128(const uint8_t* at) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(at));
}

DIBKIT_TARGET_AVX2 inline __m256i Load256(const uint8_t* at) {
  return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(at));
}

// Stores 8 pixels, given as words blue, green, red, any, in 24 bytes.
DIBKIT_TARGET_AVX2 inline void StorePixels(uint8_t* target, __m256i pixels) {
  const __m256i pack = _mm256_broadcastsi128_si256(
      _mm_setr_epi8(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1));
  const __m256i halves = _mm256_shuffle_epi8(pixels, pack);
  const __m256i packed =
      _mm256_permutevar8x32_epi32(halves, _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 3, 7));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(target), _mm256_castsi256_si128(packed));
  _mm_storel_epi64(reinterpret_cast<__m128i*>(target + 16), _mm256_extracti128_si256(packed, 1));
}

// Loads 8 pixels of 24 bytes as words blue, green, red, 0.
DIBKIT_TARGET_AVX2 inline __m256i LoadPixels(const uint8_t* source) {
  const __m256i both =
      _mm256_inserti128_si256(_mm256_castsi128_si256(Load128(source)), Load128(source + 8), 1);
  return _mm256_shuffle_epi8(
      both, _mm256_setr_epi8(0, 1, 2, -1, 3, 4, 5, -1, 6, 7, 8, -1, 9, 10, 11, -1, 4, 5, 6, -1, 7,
                             8, 9, -1, 10, 11, 12, -1, 13, 14, 15, -1));
}

DIBKIT_TARGET_AVX2 inline __m256i LoadWords16(const uint8_t* source) {
  return _mm256_cvtepu16_epi32(Load128(source));
}

// Stores the low halves of 8 words that fit them.
DIBKIT_TARGET_AVX2 inline void StoreWords16(uint8_t* target, __m256i words) {
  const __m128i packed =
      _mm_packus_epi32(_mm256_castsi256_si128(words), _mm256_extracti128_si256(words, 1));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(target), packed);
}

// The top 5 bits of blue, green and red, put together: 8 times the word as a sum of products.
DIBKIT_TARGET_AVX2 inline __m256i Narrow(__m256i pixels) {
  const __m256i top = _mm256_and_si256(pixels, Broadcast(0x00F8F8F8));
  const __m256i greenBlue = _mm256_maddubs_epi16(top, Broadcast(0x00012001));
  return _mm256_srli_epi32(_mm256_madd_epi16(greenBlue, Broadcast(0x04000001)), 3);
}

// A channel of 8 bit-field pixels, brought to where it is wanted.
struct FieldLanes {
  DIBKIT_TARGET_AVX2 explicit FieldLanes(const FieldMove& move)
      : mask(Broadcast(move.mask)),
        left(Broadcast(move.rotate)),
        right(Broadcast(32 - move.rotate)) {}
  // A shift by 32 leaves 0.
  DIBKIT_TARGET_AVX2 __m256i Of(__m256i pixels) const {
    const __m256i bits = _mm256_and_si256(pixels, mask);
    return _mm256_or_si256(_mm256_sllv_epi32(bits, left), _mm256_srlv_epi32(bits, right));
  }
  __m256i mask;
  __m256i left;
  __m256i right;
};

// Three of them, put together.
struct Fields {
  DIBKIT_TARGET_AVX2 __m256i Of(__m256i pixels) const {
    return _mm256_or_si256(_mm256_or_si256(a.Of(pixels), b.Of(pixels)), c.Of(pixels));
  }
  FieldLanes a;
  FieldLanes b;
  FieldLanes c;
};

DIBKIT_TARGET_AVX2 inline Fields FieldsTo24(const RowTables& tables) {
  return {FieldLanes(MoveField(tables.blueField, 8, 0)),
          FieldLanes(MoveField(tables.greenField, 8, 8)),
          FieldLanes(MoveField(tables.redField, 8, 16))};
}

// 16 4-bit pixels as bytes.
DIBKIT_TARGET_AVX2 inline __m128i LoadNibbles(const uint8_t* source) {
  const __m128i pairs =
      _mm_cvtepu8_epi16(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(source)));
  const __m128i both = _mm_or_si128(_mm_srli_epi16(pairs, 4), _mm_slli_epi16(pairs, 8));
  return _mm_and_si128(both, _mm_set1_epi8(0x0F));
}

DIBKIT_TARGET_AVX2 inline __m128i ShortTable(const uint8_t* bytes) {
  return _mm_load_si128(reinterpret_cast<const __m128i*>(bytes));
}

// The 8 pixels of a byte: all ones in the lanes of those that are set.
DIBKIT_TARGET_AVX2 inline __m256i BitLanes(uint8_t byte) {
  const __m256i bits = _mm256_setr_epi32(0x80, 0x40, 0x20, 0x10, 8, 4, 2, 1);
  return _mm256_cmpeq_epi32(_mm256_and_si256(Broadcast(byte), bits), bits);
}

DIBKIT_TARGET_AVX2 inline __m256i ColorLanes(const RowTables& tables, size_t index) {
  uint32_t color;
  std::memcpy(&color, tables.colors[index], sizeof color);
  return Broadcast(color);
}

DIBKIT_TARGET_AVX2 void Bits4To8(const uint8_t* source, uint8_t* target, size_t width,
                                 const RowTables& tables) {
  const __m128i blue = ShortTable(tables.blue);
  const size_t whole = width / 16 * 16;
  for (size_t x = 0; x < whole; x += 16) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(target + x),
                     _mm_shuffle_epi8(blue, LoadNibbles(source + x / 2)));
  }
  portable::Bits4To8(source + whole / 2, target + whole, width - whole, tables);
}

DIBKIT_TARGET_AVX2 void Bits1To24(const uint8_t* source, uint8_t* target, size_t width,
                                  const RowTables& tables) {
  const __m256i clear = ColorLanes(tables, 0);
  const __m256i full = ColorLanes(tables, 1);
  const size_t whole = width / 8 * 8;
  for (size_t x = 0; x < whole; x += 8) {
    StorePixels(target + 3 * x, _mm256_blendv_epi8(clear, full, BitLanes(source[x / 8])));
  }
  portable::Bits1To24(source + whole / 8, target + 3 * whole, width - whole, tables);
}

DIBKIT_TARGET_AVX2 void Bits4To24(const uint8_t* source, uint8_t* target, size_t width,
                                  const RowTables& tables) {
  const __m128i blue = ShortTable(tables.blue);
  const __m128i green = ShortTable(tables.green);
  const __m128i red = ShortTable(tables.red);
  const size_t whole = width / 16 * 16;
  for (size_t x = 0; x < whole; x += 16) {
    const __m128i indices = LoadNibbles(source + x / 2);
    const __m128i b = _mm_shuffle_epi8(blue, indices);
    const __m128i g = _mm_shuffle_epi8(green, indices);
    const __m256i r = _mm256_cvtepu8_epi16(_mm_shuffle_epi8(red, indices));
    const __m256i bg = _mm256_inserti128_si256(_mm256_castsi128_si256(_mm_unpacklo_epi8(b, g)),
                                               _mm_unpackhi_epi8(b, g), 1);
    const __m256i evenFours = _mm256_unpacklo_epi16(bg, r);
    const __m256i oddFours = _mm256_unpackhi_epi16(bg, r);
    StorePixels(target + 3 * x, _mm256_permute2x128_si256(evenFours, oddFours, 0x20));
    StorePixels(target + 3 * x + 24, _mm256_permute2x128_si256(evenFours, oddFours, 0x31));
  }
  portable::Bits4To24(source + whole / 2, target + 3 * whole, width - whole, tables);
}

// 8c is at least 8 unless it is 0, so the smaller of 8c and 7 is what is missing.
DIBKIT_TARGET_AVX2 void Rgb555To24(const uint8_t* source, uint8_t* target, size_t width,
                                   const RowTables& tables) {
  const size_t whole = width / 8 * 8;
  for (size_t x = 0; x < whole; x += 8) {
    const __m256i v = LoadWords16(source + 2 * x);
    const __m256i blue = _mm256_and_si256(_mm256_slli_epi32(v, 3), Broadcast(0xF8));
    const __m256i green = _mm256_and_si256(_mm256_slli_epi32(v, 6), Broadcast(0xF800));
    const __m256i red = _mm256_and_si256(_mm256_slli_epi32(v, 9), Broadcast(0xF80000));
    const __m256i eights = _mm256_or_si256(_mm256_or_si256(blue, green), red);
    StorePixels(target + 3 * x,
                _mm256_or_si256(eights, _mm256_min_epu8(eights, Broadcast(0x07070707))));
  }
  portable::Rgb555To24(source + 2 * whole, target + 3 * whole, width - whole, tables);
}

DIBKIT_TARGET_AVX2 void Fields16To24(const uint8_t* source, uint8_t* target, size_t width,
                                     const RowTables& tables) {
  const Fields fields = FieldsTo24(tables);
  const size_t whole = width / 8 * 8;
  for (size_t x = 0; x < whole; x += 8) {
    StorePixels(target + 3 * x, fields.Of(LoadWords16(source + 2 * x)));
  }
  portable::Fields16To24(source + 2 * whole, target + 3 * whole, width - whole, tables);
}

DIBKIT_TARGET_AVX2 void Rgb32To24(const uint8_t* source, uint8_t* target, size_t width,
                                  const RowTables& tables) {
  const size_t whole = width / 8 * 8;
  for (size_t x = 0; x < whole; x += 8) StorePixels(target + 3 * x, Load256(source + 4 * x));
  portable::Rgb32To24(source + 4 * whole, target + 3 * whole, width - whole, tables);
}

DIBKIT_TARGET_AVX2 void Fields32To24(const uint8_t* source, uint8_t* target, size_t width,
                                     const RowTables& tables) {
  const Fields fields = FieldsTo24(tables);
  const size_t whole = width / 8 * 8;
  for (size_t x = 0; x < whole; x += 8) {
    StorePixels(target + 3 * x, fields.Of(Load256(source + 4 * x)));
  }
  portable::Fields32To24(source + 4 * whole, target + 3 * whole, width - whole, tables);
}

DIBKIT_TARGET_AVX2 void Bits1To16(const uint8_t* source, uint8_t* target, size_t width,
                                  const RowTables& tables) {
  const auto word = [&tables](size_t index) {
    return static_cast<uint32_t>(tables.lowWord[index] | tables.highWord[index] << 8);
  };
  const __m256i clear = Broadcast(word(0));
  const __m256i full = Broadcast(word(1));
  const size_t whole = width / 8 * 8;
  for (size_t x = 0; x < whole; x += 8) {
    StoreWords16(target + 2 * x, _mm256_blendv_epi8(clear, full, BitLanes(source[x / 8])));
  }
  portable::Bits1To16(source + whole / 8, target + 2 * whole, width - whole, tables);
}

DIBKIT_TARGET_AVX2 void Bits4To16(const uint8_t* source, uint8_t* target, size_t width,
                                  const RowTables& tables) {
  const __m128i low = ShortTable(tables.lowWord);
  const __m128i high = ShortTable(tables.highWord);
  const size_t whole = width / 16 * 16;
  for (size_t x = 0; x < whole; x += 16) {
    const __m128i indices = LoadNibbles(source + x / 2);
    const __m128i l = _mm_shuffle_epi8(low, indices);
    const __m128i h = _mm_shuffle_epi8(high, indices);
    auto* const out = reinterpret_cast<__m128i*>(target + 2 * x);
    _mm_storeu_si128(out, _mm_unpacklo_epi8(l, h));
    _mm_storeu_si128(out + 1, _mm_unpackhi_epi8(l, h));
  }
  portable::Bits4To16(source + whole / 2, target + 2 * whole, width - whole, tables);
}

DIBKIT_TARGET_AVX2 void Rgb24To16(const uint8_t* source, uint8_t* target, size_t width,
                                  const RowTables& tables) {
  const size_t whole = width / 8 * 8;
  for (size_t x = 0; x < whole; x += 8) {
    StoreWords16(target + 2 * x, Narrow(LoadPixels(source + 3 * x)));
  }
  portable::Rgb24To16(source + 3 * whole, target + 2 * whole, width - whole, tables);
}

DIBKIT_TARGET_AVX2 void Rgb32To16(const uint8_t* source, uint8_t* target, size_t width,
                                  const RowTables& tables) {
  const size_t whole = width / 8 * 8;
  for (size_t x = 0; x < whole; x += 8) {
    StoreWords16(target + 2 * x, Narrow(Load256(source + 4 * x)));
  }
  portable::Rgb32To16(source + 4 * whole, target + 2 * whole, width - whole, tables);
}

DIBKIT_TARGET_AVX2 void Fields32To16(const uint8_t* source, uint8_t* target, size_t width,
                                     const RowTables& tables) {
  const Fields fields = {FieldLanes(MoveField(tables.redField, 5, 0)),
                         FieldLanes(MoveField(tables.greenField, 5, 5)),
                         FieldLanes(MoveField(tables.redField, 5, 10))};
  const size_t whole = width / 8 * 8;
  for (size_t x = 0; x < whole; x += 8) {
    StoreWords16(target + 2 * x, fields.Of(Load256(source + 4 * x)));
  }
  portable::Fields32To16(source + 4 * whole, target + 2 * whole, width - whole, tables);
}

}  // namespace

// A palette of 256 does not fit vectors of 32 bytes; the portable form looks it up as fast.
const RowKernels kAvx2Rows = {Bits4To8,   Bits1To24,    Bits4To24,           portable::Bits8To24,
                              Rgb555To24, Fields16To24, Rgb32To24,           Fields32To24,
                              Bits1To16,  Bits4To16,    portable::Bits8To16, Rgb24To16,
                              Rgb32To16,  Fields32To16};

}  // namespace dibkit
#endif  // DIBKIT_X86
