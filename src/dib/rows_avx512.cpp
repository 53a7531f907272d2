// SPDX-License-Identifier: Apache-2.0
//
// Masks do the row ends: the last step is the same operation as all others.
#include "dib/row_kernels.h"

#ifdef DIBKIT_X86
#include <algorithm>
#include <array>
#include <cstring>

#include "common/simd.h"
#include "dib/field_move.h"

namespace dibkit {
namespace {

using Bytes64 = std::array<uint8_t, 64>;

// Compiled into the one place that uses it, where whole blocks have a constant count.
#define DIBKIT_BLOCK __attribute__((always_inline)) DIBKIT_TARGET_AVX512

// Calls `block` with the first pixel and the pixel count of each block of a row: kStep pixels,
// fewer in the last.
template <size_t kStep, typename Block>
DIBKIT_BLOCK inline void EachBlock(size_t width, Block block) {
  size_t x = 0;
  for (; x + kStep <= width; x += kStep) block(x, kStep);
  if (x < width) block(x, width - x);
}

DIBKIT_BLOCK inline __m512i Load(const Bytes64& bytes) { return _mm512_loadu_si512(bytes.data()); }

// A mask of the first bytes of a vector, all for 64 and above.
constexpr __mmask64 First(size_t bytes) {
  return bytes < 64 ? (uint64_t{1} << bytes) - 1 : ~uint64_t{0};
}

DIBKIT_TARGET_AVX512 inline __m512i Broadcast(uint32_t word) {
  return _mm512_set1_epi32(static_cast<int>(word));
}

// Byte `part` of target vector `vector` in a row of three-byte pixels belongs to this pixel of the
// 64, and is its blue, green or red.
constexpr size_t PixelOf(size_t vector, size_t part) { return (64 * vector + part) / 3; }
constexpr size_t ChannelOf(size_t vector, size_t part) { return (64 * vector + part) % 3; }

template <typename Make>
constexpr Bytes64 MakeBytes(Make make) {
  Bytes64 bytes = {};
  for (size_t i = 0; i < 64; ++i) bytes[i] = static_cast<uint8_t>(make(i));
  return bytes;
}

// Where the bytes of each target vector come from: blue and green out of two vectors of 64, red out
// of a third.
constexpr Bytes64 BlueGreen(size_t vector) {
  return MakeBytes(
      [vector](size_t i) { return PixelOf(vector, i) | (ChannelOf(vector, i) == 1 ? 64u : 0u); });
}
constexpr Bytes64 Red(size_t vector) {
  return MakeBytes([vector](size_t i) { return PixelOf(vector, i); });
}
constexpr Bytes64 kBlueGreen[3] = {BlueGreen(0), BlueGreen(1), BlueGreen(2)};
constexpr Bytes64 kRed[3] = {Red(0), Red(1), Red(2)};
// Bytes 2, 5, 8 and so on of the row.
constexpr __mmask64 kRedBytes[3] = {0x4924924924924924, 0x2492492492492492, 0x9249249249249249};

// Stores `count` pixels, at most 64, given as a vector for each channel.
DIBKIT_BLOCK inline void StorePlanes(uint8_t* target, size_t count, __m512i blue, __m512i green,
                                     __m512i red) {
  for (size_t v = 0; v < 3; ++v) {
    if (3 * count <= 64 * v) return;
    const __m512i blueGreen = _mm512_permutex2var_epi8(blue, Load(kBlueGreen[v]), green);
    const __m512i out = _mm512_mask_permutexvar_epi8(blueGreen, kRedBytes[v], Load(kRed[v]), red);
    _mm512_mask_storeu_epi8(target + 64 * v, First(3 * count - 64 * v), out);
  }
}

// Stores `count` words, at most 64, given as a vector of low and one of high bytes.
DIBKIT_BLOCK inline void StoreWords(uint8_t* target, size_t count, __m512i low, __m512i high) {
  constexpr Bytes64 kFirst = MakeBytes([](size_t i) { return i / 2 + i % 2 * 64; });
  constexpr Bytes64 kSecond = MakeBytes([](size_t i) { return i / 2 + 32 + i % 2 * 64; });
  _mm512_mask_storeu_epi8(target, First(2 * count),
                          _mm512_permutex2var_epi8(low, Load(kFirst), high));
  if (count <= 32) return;
  _mm512_mask_storeu_epi8(target + 64, First(2 * count - 64),
                          _mm512_permutex2var_epi8(low, Load(kSecond), high));
}

// Stores `count` pixels, at most 16, given as words blue, green, red, any.
DIBKIT_BLOCK inline void StorePixels(uint8_t* target, size_t count, __m512i pixels) {
  constexpr Bytes64 kPack = MakeBytes([](size_t i) { return i < 48 ? i / 3 * 4 + i % 3 : 0; });
  _mm512_mask_storeu_epi8(target, First(3 * count), _mm512_permutexvar_epi8(Load(kPack), pixels));
}

// Loads `count` 24-bit pixels, at most 16, as words blue, green, red, any.
DIBKIT_BLOCK inline __m512i LoadPixels(const uint8_t* source, size_t count) {
  constexpr Bytes64 kSpread = MakeBytes([](size_t i) { return i / 4 * 3 + i % 4; });
  return _mm512_permutexvar_epi8(Load(kSpread), _mm512_maskz_loadu_epi8(First(3 * count), source));
}

DIBKIT_BLOCK inline __m512i LoadWords32(const uint8_t* source, size_t count) {
  return _mm512_maskz_loadu_epi8(First(4 * count), source);
}

DIBKIT_BLOCK inline __m512i LoadWords16(const uint8_t* source, size_t count) {
  return _mm512_cvtepu16_epi32(
      _mm256_maskz_loadu_epi8(static_cast<__mmask32>(First(2 * count)), source));
}

DIBKIT_BLOCK inline void StoreWords16(uint8_t* target, size_t count, __m512i words) {
  _mm256_mask_storeu_epi8(target, static_cast<__mmask32>(First(2 * count)),
                          _mm512_cvtepi32_epi16(words));
}

// The top 5 bits of blue, green and red, put together: 8 times the word as a sum of products.
DIBKIT_BLOCK inline __m512i Narrow(__m512i pixels) {
  const __m512i top = _mm512_and_si512(pixels, Broadcast(0x00F8F8F8));
  const __m512i greenBlue = _mm512_maddubs_epi16(top, Broadcast(0x00012001));
  return _mm512_srli_epi32(_mm512_madd_epi16(greenBlue, Broadcast(0x04000001)), 3);
}

// A channel of 16 bit-field pixels, brought to where it is wanted.
struct FieldLanes {
  DIBKIT_BLOCK explicit FieldLanes(const FieldMove& move)
      : mask(Broadcast(move.mask)), rotate(Broadcast(move.rotate)) {}
  DIBKIT_BLOCK __m512i Of(__m512i pixels) const {
    return _mm512_rolv_epi32(_mm512_and_si512(pixels, mask), rotate);
  }
  __m512i mask;
  __m512i rotate;
};

// Three of them, put together.
struct Fields {
  DIBKIT_BLOCK __m512i Of(__m512i pixels) const {
    return _mm512_or_si512(_mm512_or_si512(a.Of(pixels), b.Of(pixels)), c.Of(pixels));
  }
  FieldLanes a;
  FieldLanes b;
  FieldLanes c;
};

DIBKIT_BLOCK inline Fields FieldsTo24(const RowTables& tables) {
  return {FieldLanes(MoveField(tables.blueField, 8, 0)),
          FieldLanes(MoveField(tables.greenField, 8, 8)),
          FieldLanes(MoveField(tables.redField, 8, 16))};
}

// A table of 256 bytes.
struct ByteTable {
  DIBKIT_TARGET_AVX512 explicit ByteTable(const uint8_t* bytes)
      : quarters{_mm512_load_si512(bytes), _mm512_load_si512(bytes + 64),
                 _mm512_load_si512(bytes + 128), _mm512_load_si512(bytes + 192)} {}
  DIBKIT_TARGET_AVX512 __m512i At(__m512i indices) const {
    const __m512i low = _mm512_permutex2var_epi8(quarters[0], indices, quarters[1]);
    const __m512i high = _mm512_permutex2var_epi8(quarters[2], indices, quarters[3]);
    return _mm512_mask_blend_epi8(_mm512_movepi8_mask(indices), low, high);
  }
  __m512i quarters[4];
};

// The first 16 bytes of a table.
DIBKIT_TARGET_AVX512 inline __m512i ShortTable(const uint8_t* bytes) {
  return _mm512_broadcast_i32x4(_mm_load_si128(reinterpret_cast<const __m128i*>(bytes)));
}

// `count` 4-bit pixels, at most 64, as bytes.
DIBKIT_BLOCK inline __m512i LoadNibbles(const uint8_t* source, size_t count) {
  const __m512i pairs = _mm512_cvtepu8_epi16(
      _mm256_maskz_loadu_epi8(static_cast<__mmask32>(First((count + 1) / 2)), source));
  const __m512i both = _mm512_or_si512(_mm512_srli_epi16(pairs, 4), _mm512_slli_epi16(pairs, 8));
  return _mm512_and_si512(both, Broadcast(0x0F0F0F0F));
}

// `count` 1-bit pixels, at most 64, eight times over.
DIBKIT_BLOCK inline __m512i LoadBits(const uint8_t* source, size_t count) {
  return _mm512_broadcastq_epi64(
      _mm_maskz_loadu_epi8(static_cast<__mmask16>(First((count + 7) / 8)), source));
}

constexpr size_t BitOf(size_t pixel) { return 0x80u >> pixel % 8; }

constexpr Bytes64 BitBytes(size_t vector) {
  return MakeBytes([vector](size_t i) { return PixelOf(vector, i) / 8; });
}
constexpr Bytes64 BitMasks(size_t vector) {
  return MakeBytes([vector](size_t i) { return BitOf(PixelOf(vector, i)); });
}
constexpr Bytes64 kBitBytes[3] = {BitBytes(0), BitBytes(1), BitBytes(2)};
constexpr Bytes64 kBitMasks[3] = {BitMasks(0), BitMasks(1), BitMasks(2)};

constexpr Bytes64 Channels(size_t vector) {
  return MakeBytes([vector](size_t i) { return ChannelOf(vector, i); });
}
constexpr Bytes64 kChannels[3] = {Channels(0), Channels(1), Channels(2)};

// A colour all along target vector `vector`.
DIBKIT_BLOCK inline __m512i ColorBytes(const RowTables& tables, size_t index, size_t vector) {
  uint32_t color;
  std::memcpy(&color, tables.colors[index], sizeof color);
  return _mm512_permutexvar_epi8(Load(kChannels[vector]), Broadcast(color));
}

DIBKIT_TARGET_AVX512 void Bits4To8(const uint8_t* source, uint8_t* target, size_t width,
                                   const RowTables& tables) {
  const __m512i blue = ShortTable(tables.blue);
  EachBlock<64>(width, [&](size_t x, size_t count) DIBKIT_BLOCK {
    const __m512i indices = LoadNibbles(source + x / 2, count);
    _mm512_mask_storeu_epi8(target + x, First(count), _mm512_shuffle_epi8(blue, indices));
  });
}

DIBKIT_TARGET_AVX512 void Bits1To24(const uint8_t* source, uint8_t* target, size_t width,
                                    const RowTables& tables) {
  __m512i clear[3];
  __m512i full[3];
  for (size_t v = 0; v < 3; ++v) {
    clear[v] = ColorBytes(tables, 0, v);
    full[v] = ColorBytes(tables, 1, v);
  }
  EachBlock<64>(width, [&](size_t x, size_t count) DIBKIT_BLOCK {
    const __m512i bits = LoadBits(source + x / 8, count);
    for (size_t v = 0; v < 3; ++v) {
      if (3 * count <= 64 * v) return;
      const __m512i spread = _mm512_shuffle_epi8(bits, Load(kBitBytes[v]));
      const __mmask64 set = _mm512_test_epi8_mask(spread, Load(kBitMasks[v]));
      _mm512_mask_storeu_epi8(target + 3 * x + 64 * v, First(3 * count - 64 * v),
                              _mm512_mask_blend_epi8(set, clear[v], full[v]));
    }
  });
}

DIBKIT_TARGET_AVX512 void Bits4To24(const uint8_t* source, uint8_t* target, size_t width,
                                    const RowTables& tables) {
  const __m512i blue = ShortTable(tables.blue);
  const __m512i green = ShortTable(tables.green);
  const __m512i red = ShortTable(tables.red);
  EachBlock<64>(width, [&](size_t x, size_t count) DIBKIT_BLOCK {
    const __m512i indices = LoadNibbles(source + x / 2, count);
    StorePlanes(target + 3 * x, count, _mm512_shuffle_epi8(blue, indices),
                _mm512_shuffle_epi8(green, indices), _mm512_shuffle_epi8(red, indices));
  });
}

DIBKIT_TARGET_AVX512 void Bits8To24(const uint8_t* source, uint8_t* target, size_t width,
                                    const RowTables& tables) {
  const ByteTable blue(tables.blue);
  const ByteTable green(tables.green);
  const ByteTable red(tables.red);
  EachBlock<64>(width, [&](size_t x, size_t count) DIBKIT_BLOCK {
    const __m512i indices = _mm512_maskz_loadu_epi8(First(count), source + x);
    StorePlanes(target + 3 * x, count, blue.At(indices), green.At(indices), red.At(indices));
  });
}

// 8c is at least 8 unless it is 0, so the smaller of 8c and 7 is what is missing.
DIBKIT_TARGET_AVX512 void Rgb555To24(const uint8_t* source, uint8_t* target, size_t width,
                                     const RowTables&) {
  EachBlock<16>(width, [&](size_t x, size_t count) DIBKIT_BLOCK {
    const __m512i v = LoadWords16(source + 2 * x, count);
    const __m512i blue = _mm512_and_si512(_mm512_slli_epi32(v, 3), Broadcast(0xF8));
    const __m512i green = _mm512_and_si512(_mm512_slli_epi32(v, 6), Broadcast(0xF800));
    const __m512i red = _mm512_and_si512(_mm512_slli_epi32(v, 9), Broadcast(0xF80000));
    const __m512i eights = _mm512_or_si512(_mm512_or_si512(blue, green), red);
    StorePixels(target + 3 * x, count,
                _mm512_or_si512(eights, _mm512_min_epu8(eights, Broadcast(0x07070707))));
  });
}

DIBKIT_TARGET_AVX512 void Fields16To24(const uint8_t* source, uint8_t* target, size_t width,
                                       const RowTables& tables) {
  const Fields fields = FieldsTo24(tables);
  EachBlock<16>(width, [&](size_t x, size_t count) DIBKIT_BLOCK {
    StorePixels(target + 3 * x, count, fields.Of(LoadWords16(source + 2 * x, count)));
  });
}

DIBKIT_TARGET_AVX512 void Rgb32To24(const uint8_t* source, uint8_t* target, size_t width,
                                    const RowTables&) {
  EachBlock<16>(width, [&](size_t x, size_t count) DIBKIT_BLOCK {
    StorePixels(target + 3 * x, count, LoadWords32(source + 4 * x, count));
  });
}

DIBKIT_TARGET_AVX512 void Fields32To24(const uint8_t* source, uint8_t* target, size_t width,
                                       const RowTables& tables) {
  const Fields fields = FieldsTo24(tables);
  EachBlock<16>(width, [&](size_t x, size_t count) DIBKIT_BLOCK {
    StorePixels(target + 3 * x, count, fields.Of(LoadWords32(source + 4 * x, count)));
  });
}

DIBKIT_TARGET_AVX512 void Bits1To16(const uint8_t* source, uint8_t* target, size_t width,
                                    const RowTables& tables) {
  constexpr Bytes64 kByte = MakeBytes([](size_t i) { return i / 16; });
  constexpr Bytes64 kBit = MakeBytes([](size_t i) { return i % 2 == 0 ? BitOf(i / 2) : 0; });
  const auto word = [&tables](size_t index) {
    return static_cast<short>(tables.lowWord[index] | tables.highWord[index] << 8);
  };
  const __m512i clear = _mm512_set1_epi16(word(0));
  const __m512i full = _mm512_set1_epi16(word(1));
  EachBlock<32>(width, [&](size_t x, size_t count) DIBKIT_BLOCK {
    const __m512i spread = _mm512_shuffle_epi8(LoadBits(source + x / 8, count), Load(kByte));
    const __mmask32 set = _mm512_test_epi16_mask(spread, Load(kBit));
    _mm512_mask_storeu_epi8(target + 2 * x, First(2 * count),
                            _mm512_mask_blend_epi16(set, clear, full));
  });
}

DIBKIT_TARGET_AVX512 void Bits4To16(const uint8_t* source, uint8_t* target, size_t width,
                                    const RowTables& tables) {
  const __m512i low = ShortTable(tables.lowWord);
  const __m512i high = ShortTable(tables.highWord);
  EachBlock<64>(width, [&](size_t x, size_t count) DIBKIT_BLOCK {
    const __m512i indices = LoadNibbles(source + x / 2, count);
    StoreWords(target + 2 * x, count, _mm512_shuffle_epi8(low, indices),
               _mm512_shuffle_epi8(high, indices));
  });
}

DIBKIT_TARGET_AVX512 void Bits8To16(const uint8_t* source, uint8_t* target, size_t width,
                                    const RowTables& tables) {
  const ByteTable low(tables.lowWord);
  const ByteTable high(tables.highWord);
  EachBlock<64>(width, [&](size_t x, size_t count) DIBKIT_BLOCK {
    const __m512i indices = _mm512_maskz_loadu_epi8(First(count), source + x);
    StoreWords(target + 2 * x, count, low.At(indices), high.At(indices));
  });
}

DIBKIT_TARGET_AVX512 void Rgb24To16(const uint8_t* source, uint8_t* target, size_t width,
                                    const RowTables&) {
  EachBlock<16>(width, [&](size_t x, size_t count) DIBKIT_BLOCK {
    StoreWords16(target + 2 * x, count, Narrow(LoadPixels(source + 3 * x, count)));
  });
}

DIBKIT_TARGET_AVX512 void Rgb32To16(const uint8_t* source, uint8_t* target, size_t width,
                                    const RowTables&) {
  EachBlock<16>(width, [&](size_t x, size_t count) DIBKIT_BLOCK {
    StoreWords16(target + 2 * x, count, Narrow(LoadWords32(source + 4 * x, count)));
  });
}

DIBKIT_TARGET_AVX512 void Fields32To16(const uint8_t* source, uint8_t* target, size_t width,
                                       const RowTables& tables) {
  const Fields fields = {FieldLanes(MoveField(tables.redField, 5, 0)),
                         FieldLanes(MoveField(tables.greenField, 5, 5)),
                         FieldLanes(MoveField(tables.redField, 5, 10))};
  EachBlock<16>(width, [&](size_t x, size_t count) DIBKIT_BLOCK {
    StoreWords16(target + 2 * x, count, fields.Of(LoadWords32(source + 4 * x, count)));
  });
}

}  // namespace

const RowKernels kAvx512Rows = {Bits4To8,     Bits1To24, Bits4To24,    Bits8To24,   Rgb555To24,
                                Fields16To24, Rgb32To24, Fields32To24, Bits1To16,   Bits4To16,
                                Bits8To16,    Rgb24To16, Rgb32To16,    Fields32To16};

}  // namespace dibkit
#endif  // DIBKIT_X86
