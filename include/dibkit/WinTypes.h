// SPDX-License-Identifier: Apache-2.0
//
// The published Windows bitmap records and constants. All fields are little-endian in a packed DIB
// and in a bitmap file; dibkit loads and stores them there byte by byte.
//
// A host with Windows headers of its own defines DIBKIT_HOST_TYPES, see GlobalMemory.h.
#ifndef DIBKIT_WIN_TYPES_H
#define DIBKIT_WIN_TYPES_H

#ifndef DIBKIT_HOST_TYPES

#include <cstdint>

// One entry of the colour table behind a 40-byte header.
struct tagRGBQUAD {
  uint8_t rgbBlue;
  uint8_t rgbGreen;
  uint8_t rgbRed;
  uint8_t rgbReserved;
};

// One entry of the colour table behind a 12-byte header.
struct tagRGBTRIPLE {
  uint8_t rgbtBlue;
  uint8_t rgbtGreen;
  uint8_t rgbtRed;
};

// The info header: 40 bytes.
struct BITMAPINFOHEADER {
  uint32_t biSize;          // 40
  int32_t biWidth;          // pixels per row
  int32_t biHeight;         // rows; negative when the top row is stored first
  uint16_t biPlanes;        // 1
  uint16_t biBitCount;      // bits per pixel: 1, 4, 8, 16, 24 or 32
  uint32_t biCompression;   // BI_RGB, BI_RLE8, BI_RLE4 or BI_BITFIELDS
  uint32_t biSizeImage;     // bytes of a compressed stream; 0 is usual otherwise
  int32_t biXPelsPerMeter;  // pixels per metre; 0 when unknown
  int32_t biYPelsPerMeter;
  uint32_t biClrUsed;       // colour-table entries; 0 means the default of the depth
  uint32_t biClrImportant;  // 0 means all
};

// The core header: 12 bytes.
struct BITMAPCOREHEADER {
  uint32_t bcSize;  // 12
  uint16_t bcWidth;
  uint16_t bcHeight;
  uint16_t bcPlanes;
  uint16_t bcBitCount;
};

constexpr uint32_t BI_RGB = 0;
constexpr uint32_t BI_RLE8 = 1;
constexpr uint32_t BI_RLE4 = 2;
constexpr uint32_t BI_BITFIELDS = 3;

#endif  // DIBKIT_HOST_TYPES

// Holds for a host's own types too: the exported classes contain them.
static_assert(sizeof(tagRGBQUAD) == 4 && sizeof(tagRGBTRIPLE) == 3);
static_assert(sizeof(BITMAPINFOHEADER) == 40 && sizeof(BITMAPCOREHEADER) == 12);

#endif  // DIBKIT_WIN_TYPES_H
