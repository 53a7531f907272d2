// SPDX-License-Identifier: Apache-2.0
#include "dib/rows_portable.h"

#include <cstring>

namespace dibkit {
namespace {

// Four bytes go out at once, the fourth to be overwritten by the next pixel; the last pixel has no
// next one.
template <typename IndexAt>
void PutColors(uint8_t* target, size_t width, const RowTables& tables, IndexAt indexAt) {
  if (width == 0) return;
  size_t x = 0;
  for (; x + 1 < width; ++x) std::memcpy(target + 3 * x, tables.colors[indexAt(x)], 4);
  std::memcpy(target + 3 * x, tables.colors[indexAt(x)], 3);
}

template <typename IndexAt>
void PutWords(uint8_t* target, size_t width, const RowTables& tables, IndexAt indexAt) {
  for (size_t x = 0; x < width; ++x) {
    const size_t index = indexAt(x);
    target[2 * x] = tables.lowWord[index];
    target[2 * x + 1] = tables.highWord[index];
  }
}

}  // namespace

namespace portable {

void Bits4To8(const uint8_t* source, uint8_t* target, size_t width, const RowTables& tables) {
  for (size_t x = 0; x < width; ++x) target[x] = tables.blue[IndexAt<4>(source, x)];
}

void Bits1To24(const uint8_t* source, uint8_t* target, size_t width, const RowTables& tables) {
  PutColors(target, width, tables, [source](size_t x) { return IndexAt<1>(source, x); });
}

void Bits4To24(const uint8_t* source, uint8_t* target, size_t width, const RowTables& tables) {
  PutColors(target, width, tables, [source](size_t x) { return IndexAt<4>(source, x); });
}

void Bits8To24(const uint8_t* source, uint8_t* target, size_t width, const RowTables& tables) {
  PutColors(target, width, tables, [source](size_t x) { return IndexAt<8>(source, x); });
}

void Rgb555To24(const uint8_t* source, uint8_t* target, size_t width, const RowTables&) {
  for (size_t x = 0; x < width; ++x, target += 3) {
    const unsigned pixel = Load16(source + 2 * x);
    StoreTriple(target, Widen5(pixel & 31), Widen5(pixel >> 5 & 31), Widen5(pixel >> 10 & 31));
  }
}

void Fields16To24(const uint8_t* source, uint8_t* target, size_t width, const RowTables& tables) {
  for (size_t x = 0; x < width; ++x, target += 3) {
    const uint32_t pixel = Load16(source + 2 * x);
    StoreTriple(target, tables.blueField.Of(pixel), tables.greenField.Of(pixel),
                tables.redField.Of(pixel));
  }
}

void Rgb32To24(const uint8_t* source, uint8_t* target, size_t width, const RowTables&) {
  if (width == 0) return;
  size_t x = 0;
  for (; x + 1 < width; ++x) std::memcpy(target + 3 * x, source + 4 * x, 4);
  std::memcpy(target + 3 * x, source + 4 * x, 3);
}

void Fields32To24(const uint8_t* source, uint8_t* target, size_t width, const RowTables& tables) {
  for (size_t x = 0; x < width; ++x, target += 3) {
    const uint32_t pixel = Load32(source + 4 * x);
    StoreTriple(target, tables.blueField.Of(pixel), tables.greenField.Of(pixel),
                tables.redField.Of(pixel));
  }
}

void Bits1To16(const uint8_t* source, uint8_t* target, size_t width, const RowTables& tables) {
  PutWords(target, width, tables, [source](size_t x) { return IndexAt<1>(source, x); });
}

void Bits4To16(const uint8_t* source, uint8_t* target, size_t width, const RowTables& tables) {
  PutWords(target, width, tables, [source](size_t x) { return IndexAt<4>(source, x); });
}

void Bits8To16(const uint8_t* source, uint8_t* target, size_t width, const RowTables& tables) {
  PutWords(target, width, tables, [source](size_t x) { return IndexAt<8>(source, x); });
}

void Rgb24To16(const uint8_t* source, uint8_t* target, size_t width, const RowTables&) {
  for (size_t x = 0; x < width; ++x) {
    Store16(target + 2 * x, Word555(source[3 * x + 2], source[3 * x + 1], source[3 * x]));
  }
}

void Rgb32To16(const uint8_t* source, uint8_t* target, size_t width, const RowTables&) {
  for (size_t x = 0; x < width; ++x) {
    Store16(target + 2 * x, Word555(source[4 * x + 2], source[4 * x + 1], source[4 * x]));
  }
}

void Fields32To16(const uint8_t* source, uint8_t* target, size_t width, const RowTables& tables) {
  for (size_t x = 0; x < width; ++x) {
    const uint32_t pixel = Load32(source + 4 * x);
    const uint8_t red = tables.redField.Of(pixel);
    Store16(target + 2 * x, Word555(red, tables.greenField.Of(pixel), red));
  }
}

}  // namespace portable

const RowKernels kPortableRows = {
    portable::Bits4To8,   portable::Bits1To24,    portable::Bits4To24, portable::Bits8To24,
    portable::Rgb555To24, portable::Fields16To24, portable::Rgb32To24, portable::Fields32To24,
    portable::Bits1To16,  portable::Bits4To16,    portable::Bits8To16, portable::Rgb24To16,
    portable::Rgb32To16,  portable::Fields32To16};

}  // namespace dibkit
