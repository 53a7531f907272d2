// SPDX-License-Identifier: Apache-2.0
//
// Rows of one depth made into rows of another: one small function for each pair of depths, in the
// plain form that says what the kernels make.
#ifndef DIBKIT_SRC_DIB_DEPTH_H
#define DIBKIT_SRC_DIB_DEPTH_H

#include <cstddef>
#include <cstdint>
#include <span>

#include "dib/pixels.h"

namespace dibkit {

// What pixel values mean in one image. Each row function reads the members that its name tells; an
// index beyond its table is black.
struct PixelMeaning {
  // A colour table as it stands in a DIB: entries of `entrySize` bytes beginning blue, green, red.
  const unsigned char* colors = nullptr;
  size_t entrySize = 0;
  uint32_t colorCount = 0;

  // The same colours by channel; the three tables are equally long.
  std::span<const uint8_t> reds = {};
  std::span<const uint8_t> greens = {};
  std::span<const uint8_t> blues = {};

  // The same colours as finished 5-5-5 words.
  std::span<const uint16_t> words = {};

  BitField red = {};
  BitField green = {};
  BitField blue = {};
};

// Makes `width` pixels at `to` from those at `from`, which begin at a byte of their own. Writes 1
// to 3 bytes a pixel, no padding.
using PlainRow = void (*)(const unsigned char* from, unsigned char* to, size_t width,
                          const PixelMeaning& meaning);

// To 24 bits: blue, green, red bytes.
template <unsigned kBits>  // 1 or 4
void ChannelTablesTo24(const unsigned char* from, unsigned char* to, size_t width,
                       const PixelMeaning& meaning);
template <unsigned kBits>  // 4 or 8
void ColorTableTo24(const unsigned char* from, unsigned char* to, size_t width,
                    const PixelMeaning& meaning);
// 5-5-5 words; a channel gets its low three bits set unless it is 0.
void WordsTo24(const unsigned char* from, unsigned char* to, size_t width, const PixelMeaning&);
// Channels are only moved into place: 31 of 5 bits gives 248.
template <typename Pixel>  // uint16_t or uint32_t
void BitFieldsTo24(const unsigned char* from, unsigned char* to, size_t width,
                   const PixelMeaning& meaning);
void QuadsTo24(const unsigned char* from, unsigned char* to, size_t width, const PixelMeaning&);

// To 8 bits: the blue bytes of the 4-bit palette's entries, which are the levels of a grey one.
void GrayTableTo8(const unsigned char* from, unsigned char* to, size_t width,
                  const PixelMeaning& meaning);

// To 16 bits: little-endian 5-5-5 words; channels lose their low three bits.
template <unsigned kBits>  // 1, 4 or 8
void WordTableTo16(const unsigned char* from, unsigned char* to, size_t width,
                   const PixelMeaning& meaning);
template <unsigned kBytes>  // 3 or 4
void BytesTo16(const unsigned char* from, unsigned char* to, size_t width, const PixelMeaning&);
// 32-bit pixels. The blue field gets the red channel: hosts rely on it.
void BitFieldsTo16(const unsigned char* from, unsigned char* to, size_t width,
                   const PixelMeaning& meaning);

// Rows to convert and where to put them.
struct DepthJob {
  const unsigned char* from;
  unsigned fromBits;    // bits a pixel
  uint64_t fromStride;  // bytes from row to row
  uint64_t fromBytes;   // what lies from here on, counted from `from`, reads as 0
  unsigned char* to;
  unsigned toBits;  // bits a pixel
  size_t toStride;
  size_t width;  // pixels
  size_t rows;
};

// Makes all rows. Padding bytes of the result are not written.
void ConvertRowsPlainly(const DepthJob& job, PlainRow row, const PixelMeaning& meaning);

}  // namespace dibkit

#endif  // DIBKIT_SRC_DIB_DEPTH_H
