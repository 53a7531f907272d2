// SPDX-License-Identifier: Apache-2.0
//
// Pixel access to a raw buffer (the image classes), and CImgConverter, which classifies an image
// that the host has taken apart and hands out blocks for copies of it.
//
// Nothing here owns a buffer, throws or locks; an object belongs to one thread. Coordinates and row
// lengths are not checked: the addressed bytes must lie in the host's buffer.
#ifndef DIBKIT_IMG_CONVERTER_H
#define DIBKIT_IMG_CONVERTER_H

#include <cstdint>

#include "Export.h"
#include "GlobalMemory.h"
#include "WinTypes.h"

// A range of rows and a range of columns, both bounds inclusive.
class DIBKIT_API CImgRect {
 public:
  // All four bounds 0: the one pixel at the origin.
  CImgRect();
  CImgRect(uint16_t top, uint16_t bottom, uint16_t left, uint16_t right);

  uint16_t m_wTop;     // first row
  uint16_t m_wBottom;  // last row
  uint16_t m_wLeft;    // first column
  uint16_t m_wRight;   // last column
};

// An image's rectangle and the layout of its rows.
class DIBKIT_API CImgParameter : public CImgRect {
 public:
  // Every field 0.
  CImgParameter();

  // The image's own rectangle. No drawing operation looks at it.
  void SetRect(const CImgRect& rect);

  // Bytes from row to row, 0 to 65535. 0, as after construction, makes every row the first one.
  void SetLineBytes(uint16_t bytes);

  uint16_t m_wParameter0;  // the host's own: nothing in the library reads these four
  uint16_t m_wParameter1;
  uint16_t m_wParameter2;
  uint16_t m_wParameter3;
  uint16_t m_wLineBytes;  // bytes from row to row
};

// Where the pixels are.
class DIBKIT_API CImgBuffer {
 public:
  // `size` bytes of pixel rows at `buffer`, which stays the host's.
  CImgBuffer(unsigned char* buffer, uint32_t size);

  unsigned char* m_pBuffer;  // first byte of the first row; not owned
  uint32_t m_dwSize;         // bytes; no pixel operation reads it
};

// Hosts count on four entries in the table of virtual operations, so there is no virtual
// destructor: objects are deleted as what they are.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

// Grey levels, 0 to 255. Columns and rows count from 0, rows in buffer order.
class DIBKIT_API CGrayImage : public CImgBuffer, public CImgParameter {
 public:
  // `size` bytes of pixel rows at `buffer`; the rectangle and the row length start as 0.
  CGrayImage(unsigned char* buffer, uint32_t size);

  // The level at column x of the row that starts at `row`.
  virtual unsigned char GetGrayScale(unsigned char* row, unsigned short x) = 0;
  // The level at column x of row y.
  virtual unsigned char GetGrayScale(unsigned short x, unsigned short y) = 0;
  virtual void Draw(unsigned short x, unsigned short y, unsigned char level) = 0;
  // Draws every pixel of `rect` with the operation above. Nothing when the bottom is above the top
  // or the right left of the left. A bottom or right of 65535 never ends: the counters are 16-bit.
  virtual void Draw(CImgRect rect, unsigned char level) = 0;
};

// Colours. Columns and rows count from 0, rows in buffer order.
class DIBKIT_API CColorImage : public CImgBuffer, public CImgParameter {
 public:
  // `size` bytes of pixel rows at `buffer`; the rectangle and the row length start as 0.
  CColorImage(unsigned char* buffer, uint32_t size);

  // The colour at column x of the row that starts at `row`; its reserved byte is 0.
  virtual tagRGBQUAD GetRGBQUAD(unsigned char* row, unsigned short x) = 0;
  // The colour at column x of the row that starts y bytes (not y rows) behind the buffer's start:
  // the row length is not applied, and hosts rely on it.
  virtual tagRGBQUAD GetRGBQUAD(unsigned short x, unsigned short y) = 0;
  // Writes the colour at column x of row y, here with the row length; the reserved byte is dropped.
  virtual void Draw(unsigned short x, unsigned short y, tagRGBQUAD colour) = 0;
  // Draws every pixel of `rect` with the operation above. Nothing when the bottom is above the top
  // or the right left of the left. A bottom or right of 65535 never ends: the counters are 16-bit.
  virtual void Draw(CImgRect rect, tagRGBQUAD colour) = 0;
};

// A placeholder: reads 0 everywhere, touches no byte, draws nothing.
class DIBKIT_API CGray16Image : public CGrayImage {
 public:
  CGray16Image(unsigned char* buffer, uint32_t size);

  unsigned char GetGrayScale(unsigned char* row, unsigned short x) override;
  unsigned char GetGrayScale(unsigned short x, unsigned short y) override;
  void Draw(unsigned short x, unsigned short y, unsigned char level) override;
  void Draw(CImgRect rect, unsigned char level) override;
};

// One byte a pixel.
class DIBKIT_API CGray256Image : public CGrayImage {
 public:
  CGray256Image(unsigned char* buffer, uint32_t size);

  unsigned char GetGrayScale(unsigned char* row, unsigned short x) override;
  unsigned char GetGrayScale(unsigned short x, unsigned short y) override;
  void Draw(unsigned short x, unsigned short y, unsigned char level) override;
  void Draw(CImgRect rect, unsigned char level) override;
};

// Three bytes a pixel: blue, green, red.
class DIBKIT_API CFullColorImage : public CColorImage {
 public:
  CFullColorImage(unsigned char* buffer, uint32_t size);

  tagRGBQUAD GetRGBQUAD(unsigned char* row, unsigned short x) override;
  tagRGBQUAD GetRGBQUAD(unsigned short x, unsigned short y) override;
  void Draw(unsigned short x, unsigned short y, tagRGBQUAD colour) override;
  void Draw(CImgRect rect, tagRGBQUAD colour) override;
};

// Three bytes a pixel too, without any palette.
class DIBKIT_API CColor16Image : public CColorImage {
 public:
  CColor16Image(unsigned char* buffer, uint32_t size);

  tagRGBQUAD GetRGBQUAD(unsigned char* row, unsigned short x) override;
  tagRGBQUAD GetRGBQUAD(unsigned short x, unsigned short y) override;
  void Draw(unsigned short x, unsigned short y, tagRGBQUAD colour) override;
  void Draw(CImgRect rect, tagRGBQUAD colour) override;
};

// Three bytes a pixel too, without any palette.
class DIBKIT_API CColor256Image : public CColorImage {
 public:
  CColor256Image(unsigned char* buffer, uint32_t size);

  tagRGBQUAD GetRGBQUAD(unsigned char* row, unsigned short x) override;
  tagRGBQUAD GetRGBQUAD(unsigned short x, unsigned short y) override;
  void Draw(unsigned short x, unsigned short y, tagRGBQUAD colour) override;
  void Draw(CImgRect rect, tagRGBQUAD colour) override;
};

#pragma GCC diagnostic pop

// Answers questions about one packed DIB, and hands out empty blocks for copies of it. It converts
// no pixels. The host gives the four fields, through the constructor or by hand; what they point to
// must live as long as the object is used.
class DIBKIT_API CImgConverter {
 public:
  // All four fields null; they must be set before any other member is called.
  CImgConverter();
  CImgConverter(tagHANDLE* source, BITMAPINFOHEADER* header, tagRGBQUAD* colors,
                unsigned char* bits);

  // Bytes of an 8-bit grey copy (1064 for header and table) or of a 24-bit copy (40 for the
  // header): the row length times biHeight, modulo 2^32. The row length is the width in bytes
  // rounded up to a multiple of 4 and kept in 16 bits.
  uint32_t GetGray256ImageSize();
  uint32_t GetFullColorImageSize();

  // At 4 and 8 bits: sets `grey` to 1 when blue, green and red are equal in all 16 or 256 entries
  // of the colour table (biClrUsed is not read), else to 0; returns 1. At any other depth returns 0
  // and leaves `grey` alone.
  int CheckColorMap(int& grey);

  // Set `out` to a new block of the size above, unlocked and all zero, which the caller frees with
  // GlobalFree, or to null when there is no memory. Always return 0. No pixels are converted: hosts
  // fill the block themselves.
  int MakeGray256Image(tagHANDLE*& out);
  int MakeFullColorImage(tagHANDLE*& out);

  tagHANDLE* m_hSource;         // the source; only its block size is asked for
  BITMAPINFOHEADER* m_pHeader;  // its header, fields little-endian, at any address
  tagRGBQUAD* m_pColors;        // its colour table
  unsigned char* m_pBits;       // its pixel rows
};

#endif  // DIBKIT_IMG_CONVERTER_H
