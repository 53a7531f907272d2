// SPDX-License-Identifier: Apache-2.0
//
// The source formats of the quantiser: which one a header means, and how a pixel is read. Filling
// the tree and mapping the pixels both read through these.
#ifndef DIBKIT_SRC_QUANTIZE_PIXELS_H
#define DIBKIT_SRC_QUANTIZE_PIXELS_H

#include <cstddef>
#include <cstdint>

#include "DIBHelp.h"
#include "NiGoRo2.h"
#include "dib/layout.h"

namespace dibkit::quantize {

struct Rgb {
  uint8_t red;
  uint8_t green;
  uint8_t blue;
};

enum class PixelFormat { kUnknown, k555, kBgr, kBitField16, kBitField32 };

inline PixelFormat FormatOf(const BITMAPINFOHEADER& header) {
  const bool hasBitFields = header.biCompression == BI_BITFIELDS;
  switch (header.biBitCount) {
    case 16:
      return hasBitFields ? PixelFormat::kBitField16 : PixelFormat::k555;
    case 24:
      return hasBitFields ? PixelFormat::kUnknown : PixelFormat::kBgr;
    case 32:
      return hasBitFields ? PixelFormat::kBitField32 : PixelFormat::kUnknown;
    default:
      return PixelFormat::kUnknown;
  }
}

struct Reader555 {
  static constexpr size_t kPixelBytes = 2;
  Rgb operator()(const unsigned char* at) const {
    const unsigned p = Load16(at);
    return {static_cast<uint8_t>(p >> 7 & 0xF8), static_cast<uint8_t>(p >> 2 & 0xF8),
            static_cast<uint8_t>(p << 3)};
  }
};

struct ReaderBgr {
  static constexpr size_t kPixelBytes = 3;
  Rgb operator()(const unsigned char* at) const { return {at[2], at[1], at[0]}; }
};

// One channel of a bit-field pixel.
class ChannelReader {
 public:
  explicit ChannelReader(uint32_t mask) : mask_(mask) { GetShifts(mask, left_, right_); }
  uint8_t operator()(uint32_t pixel) const { return Channel(pixel, mask_, left_, right_); }

 private:
  uint32_t mask_;
  unsigned short left_ = 0;
  unsigned short right_ = 0;
};

// A bit-field source is read with masks that are not its own: the three words that follow the
// header copy in the quantiser, which are its colour limit and its first palette entry. Before the
// palette is made the green and blue masks are therefore 0. Hosts rely on the outcome.
template <typename Word>
class BitFieldReader {
 public:
  static constexpr size_t kPixelBytes = sizeof(Word);

  explicit BitFieldReader(const CNiGoRo2& quantizer)
      : red_(quantizer.m_wMaxColors),
        green_(EntryWord(quantizer.m_ColorTrans[0].rgb)),
        blue_(quantizer.m_ColorTrans[0].lDenom) {}

  Rgb operator()(const unsigned char* at) const {
    const uint32_t pixel = LoadLittle<Word>(at);
    return {red_(pixel), green_(pixel), blue_(pixel)};
  }

 private:
  static uint32_t EntryWord(const tagRGBQUAD& entry) {
    return entry.rgbBlue | uint32_t{entry.rgbGreen} << 8 | uint32_t{entry.rgbRed} << 16 |
           uint32_t{entry.rgbReserved} << 24;
  }

  ChannelReader red_;
  ChannelReader green_;
  ChannelReader blue_;
};

using ReaderBitField16 = BitFieldReader<uint16_t>;
using ReaderBitField32 = BitFieldReader<uint32_t>;

}  // namespace dibkit::quantize

#endif  // DIBKIT_SRC_QUANTIZE_PIXELS_H
