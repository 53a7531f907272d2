// SPDX-License-Identifier: Apache-2.0
#include "dib/depth.h"

#include <algorithm>
#include <cstring>

namespace dibkit {

template <unsigned kBits>
void ChannelTablesTo24(const unsigned char* from, unsigned char* to, size_t width,
                       const PixelMeaning& meaning) {
  for (size_t x = 0; x < width; ++x, to += 3) {
    const uint8_t index = IndexAt<kBits>(from, x);
    if (index < meaning.reds.size()) {
      StoreTriple(to, meaning.blues[index], meaning.greens[index], meaning.reds[index]);
    } else {
      StoreTriple(to, 0, 0, 0);
    }
  }
}

template <unsigned kBits>
void ColorTableTo24(const unsigned char* from, unsigned char* to, size_t width,
                    const PixelMeaning& meaning) {
  for (size_t x = 0; x < width; ++x, to += 3) {
    const uint8_t index = IndexAt<kBits>(from, x);
    if (index < meaning.colorCount) {
      const unsigned char* color = meaning.colors + index * meaning.entrySize;
      StoreTriple(to, color[0], color[1], color[2]);
    } else {
      StoreTriple(to, 0, 0, 0);
    }
  }
}

void GrayTableTo8(const unsigned char* from, unsigned char* to, size_t width,
                  const PixelMeaning& meaning) {
  for (size_t x = 0; x < width; ++x) {
    const uint8_t index = IndexAt<4>(from, x);
    to[x] = index < meaning.colorCount ? meaning.colors[index * meaning.entrySize] : uint8_t{0};
  }
}

void WordsTo24(const unsigned char* from, unsigned char* to, size_t width, const PixelMeaning&) {
  for (size_t x = 0; x < width; ++x, to += 3) {
    const unsigned word = Load16(from + 2 * x);
    StoreTriple(to, Widen5(word & 31), Widen5(word >> 5 & 31), Widen5(word >> 10 & 31));
  }
}

template <typename Pixel>
void BitFieldsTo24(const unsigned char* from, unsigned char* to, size_t width,
                   const PixelMeaning& meaning) {
  for (size_t x = 0; x < width; ++x, to += 3) {
    const uint32_t pixel = LoadLittle<Pixel>(from + sizeof(Pixel) * x);
    StoreTriple(to, meaning.blue.Of(pixel), meaning.green.Of(pixel), meaning.red.Of(pixel));
  }
}

void QuadsTo24(const unsigned char* from, unsigned char* to, size_t width, const PixelMeaning&) {
  for (size_t x = 0; x < width; ++x, from += 4, to += 3) {
    StoreTriple(to, from[0], from[1], from[2]);
  }
}

template <unsigned kBits>
void WordTableTo16(const unsigned char* from, unsigned char* to, size_t width,
                   const PixelMeaning& meaning) {
  for (size_t x = 0; x < width; ++x, to += 2) {
    const uint8_t index = IndexAt<kBits>(from, x);
    Store16(to, index < meaning.words.size() ? meaning.words[index] : uint16_t{0});
  }
}

template <unsigned kBytes>
void BytesTo16(const unsigned char* from, unsigned char* to, size_t width, const PixelMeaning&) {
  for (size_t x = 0; x < width; ++x, from += kBytes, to += 2) {
    Store16(to, Word555(from[2], from[1], from[0]));
  }
}

void BitFieldsTo16(const unsigned char* from, unsigned char* to, size_t width,
                   const PixelMeaning& meaning) {
  for (size_t x = 0; x < width; ++x, to += 2) {
    const uint32_t pixel = Load32(from + 4 * x);
    const uint8_t red = meaning.red.Of(pixel);
    Store16(to, Word555(red, meaning.green.Of(pixel), red));
  }
}

template void ChannelTablesTo24<1>(const unsigned char*, unsigned char*, size_t,
                                   const PixelMeaning&);
template void ChannelTablesTo24<4>(const unsigned char*, unsigned char*, size_t,
                                   const PixelMeaning&);
template void ColorTableTo24<4>(const unsigned char*, unsigned char*, size_t, const PixelMeaning&);
template void ColorTableTo24<8>(const unsigned char*, unsigned char*, size_t, const PixelMeaning&);
template void BitFieldsTo24<uint16_t>(const unsigned char*, unsigned char*, size_t,
                                      const PixelMeaning&);
template void BitFieldsTo24<uint32_t>(const unsigned char*, unsigned char*, size_t,
                                      const PixelMeaning&);
template void WordTableTo16<1>(const unsigned char*, unsigned char*, size_t, const PixelMeaning&);
template void WordTableTo16<4>(const unsigned char*, unsigned char*, size_t, const PixelMeaning&);
template void WordTableTo16<8>(const unsigned char*, unsigned char*, size_t, const PixelMeaning&);
template void BytesTo16<3>(const unsigned char*, unsigned char*, size_t, const PixelMeaning&);
template void BytesTo16<4>(const unsigned char*, unsigned char*, size_t, const PixelMeaning&);

namespace {

// A row whose bytes end early is made in pieces of so many pixels, each from a copy padded with 0.
constexpr size_t kPiece = 32;

void ConvertCutRow(const DepthJob& job, uint64_t offset, unsigned char* to, PlainRow row,
                   const PixelMeaning& meaning) {
  unsigned char piece[kPiece * 32 / 8];
  const size_t pieceBytes = kPiece / 8 * job.fromBits;
  for (size_t x = 0; x < job.width; x += kPiece) {
    std::memset(piece, 0, sizeof piece);
    if (offset < job.fromBytes) {
      const uint64_t present = std::min<uint64_t>(job.fromBytes - offset, pieceBytes);
      std::memcpy(piece, job.from + offset, static_cast<size_t>(present));
    }
    row(piece, to, std::min(kPiece, job.width - x), meaning);
    offset += pieceBytes;
    to += kPiece / 8 * job.toBits;
  }
}

}  // namespace

void ConvertRowsPlainly(const DepthJob& job, PlainRow row, const PixelMeaning& meaning) {
  const uint64_t rowBytes = (uint64_t{job.fromBits} * job.width + 7) / 8;
  for (size_t y = 0; y < job.rows; ++y) {
    const uint64_t offset = job.fromStride * y;
    unsigned char* to = job.to + job.toStride * y;
    if (offset + rowBytes <= job.fromBytes) {
      row(job.from + offset, to, job.width, meaning);
    } else {
      ConvertCutRow(job, offset, to, row, meaning);
    }
  }
}

}  // namespace dibkit
