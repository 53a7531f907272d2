// SPDX-License-Identifier: Apache-2.0
#include "ImgConverter.h"

#include <cstddef>
#include <new>

#include "dib/layout.h"

using namespace dibkit;

namespace {

// On i386 hosts rely on the sizes and on where the fields stand.
static_assert(sizeof(CImgRect) == 8);
static_assert(sizeof(CImgParameter) == 18);
#if defined(__i386__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Winvalid-offsetof"
static_assert(offsetof(CFullColorImage, m_pBuffer) == 4);
static_assert(offsetof(CFullColorImage, m_dwSize) == 8);
static_assert(offsetof(CFullColorImage, m_wTop) == 12);
static_assert(offsetof(CFullColorImage, m_wLineBytes) == 28);
static_assert(sizeof(CFullColorImage) == 32 && sizeof(CGray256Image) == 32);
static_assert(sizeof(CImgConverter) == 16);
#pragma GCC diagnostic pop
#endif

size_t RowOffset(const CImgParameter& image, unsigned y) { return size_t{image.m_wLineBytes} * y; }

// Calls `draw` for every pixel of `rect`. The counters are as wide as the bounds: a bound of 65535
// is never passed.
template <typename DrawPixel>
void Walk(const CImgRect& rect, DrawPixel draw) {
  for (uint16_t y = rect.m_wTop; y <= rect.m_wBottom; ++y) {
    for (uint16_t x = rect.m_wLeft; x <= rect.m_wRight; ++x) {
      draw(x, y);
    }
  }
}

tagRGBQUAD LoadTriple(const unsigned char* row, unsigned x) {
  const unsigned char* pixel = row + size_t{3} * x;
  return {pixel[0], pixel[1], pixel[2], 0};
}

void StoreTriple(const CColorImage& image, unsigned x, unsigned y, tagRGBQUAD colour) {
  unsigned char* pixel = image.m_pBuffer + RowOffset(image, y) + size_t{3} * x;
  pixel[0] = colour.rgbBlue;
  pixel[1] = colour.rgbGreen;
  pixel[2] = colour.rgbRed;
}

void DrawRect(CColorImage& image, const CImgRect& rect, tagRGBQUAD colour) {
  Walk(rect, [&](uint16_t x, uint16_t y) { image.Draw(x, y, colour); });
}

void DrawRect(CGrayImage& image, const CImgRect& rect, unsigned char level) {
  Walk(rect, [&](uint16_t x, uint16_t y) { image.Draw(x, y, level); });
}

}  // namespace

CImgRect::CImgRect() : CImgRect(0, 0, 0, 0) {}

CImgRect::CImgRect(uint16_t top, uint16_t bottom, uint16_t left, uint16_t right)
    : m_wTop(top), m_wBottom(bottom), m_wLeft(left), m_wRight(right) {}

CImgParameter::CImgParameter()
    : m_wParameter0(0), m_wParameter1(0), m_wParameter2(0), m_wParameter3(0), m_wLineBytes(0) {}

void CImgParameter::SetRect(const CImgRect& rect) { static_cast<CImgRect&>(*this) = rect; }

void CImgParameter::SetLineBytes(uint16_t bytes) { m_wLineBytes = bytes; }

CImgBuffer::CImgBuffer(unsigned char* buffer, uint32_t size) : m_pBuffer(buffer), m_dwSize(size) {}

CGrayImage::CGrayImage(unsigned char* buffer, uint32_t size) : CImgBuffer(buffer, size) {}

CColorImage::CColorImage(unsigned char* buffer, uint32_t size) : CImgBuffer(buffer, size) {}

CGray16Image::CGray16Image(unsigned char* buffer, uint32_t size) : CGrayImage(buffer, size) {}

CGray256Image::CGray256Image(unsigned char* buffer, uint32_t size) : CGrayImage(buffer, size) {}

CFullColorImage::CFullColorImage(unsigned char* buffer, uint32_t size)
    : CColorImage(buffer, size) {}

CColor16Image::CColor16Image(unsigned char* buffer, uint32_t size) : CColorImage(buffer, size) {}

CColor256Image::CColor256Image(unsigned char* buffer, uint32_t size) : CColorImage(buffer, size) {}

unsigned char CGray16Image::GetGrayScale(unsigned char*, unsigned short) { return 0; }

unsigned char CGray16Image::GetGrayScale(unsigned short, unsigned short) { return 0; }

void CGray16Image::Draw(unsigned short, unsigned short, unsigned char) {}

void CGray16Image::Draw(CImgRect rect, unsigned char level) { DrawRect(*this, rect, level); }

unsigned char CGray256Image::GetGrayScale(unsigned char* row, unsigned short x) { return row[x]; }

unsigned char CGray256Image::GetGrayScale(unsigned short x, unsigned short y) {
  return m_pBuffer[RowOffset(*this, y) + x];
}

void CGray256Image::Draw(unsigned short x, unsigned short y, unsigned char level) {
  m_pBuffer[RowOffset(*this, y) + x] = level;
}

void CGray256Image::Draw(CImgRect rect, unsigned char level) { DrawRect(*this, rect, level); }

tagRGBQUAD CFullColorImage::GetRGBQUAD(unsigned char* row, unsigned short x) {
  return LoadTriple(row, x);
}

// y counts bytes here, not rows.
tagRGBQUAD CFullColorImage::GetRGBQUAD(unsigned short x, unsigned short y) {
  return GetRGBQUAD(m_pBuffer + y, x);
}

void CFullColorImage::Draw(unsigned short x, unsigned short y, tagRGBQUAD colour) {
  StoreTriple(*this, x, y, colour);
}

void CFullColorImage::Draw(CImgRect rect, tagRGBQUAD colour) { DrawRect(*this, rect, colour); }

tagRGBQUAD CColor16Image::GetRGBQUAD(unsigned char* row, unsigned short x) {
  return LoadTriple(row, x);
}

tagRGBQUAD CColor16Image::GetRGBQUAD(unsigned short x, unsigned short y) {
  return GetRGBQUAD(m_pBuffer + y, x);
}

void CColor16Image::Draw(unsigned short x, unsigned short y, tagRGBQUAD colour) {
  StoreTriple(*this, x, y, colour);
}

void CColor16Image::Draw(CImgRect rect, tagRGBQUAD colour) { DrawRect(*this, rect, colour); }

tagRGBQUAD CColor256Image::GetRGBQUAD(unsigned char* row, unsigned short x) {
  return LoadTriple(row, x);
}

tagRGBQUAD CColor256Image::GetRGBQUAD(unsigned short x, unsigned short y) {
  return GetRGBQUAD(m_pBuffer + y, x);
}

void CColor256Image::Draw(unsigned short x, unsigned short y, tagRGBQUAD colour) {
  StoreTriple(*this, x, y, colour);
}

void CColor256Image::Draw(CImgRect rect, tagRGBQUAD colour) { DrawRect(*this, rect, colour); }

namespace {

// The header may stand at any address, inside a packed DIB.
const unsigned char* BytesOf(const BITMAPINFOHEADER* header) {
  return reinterpret_cast<const unsigned char*>(header);
}

// A row in bytes, rounded up to a multiple of 4, in 32-bit arithmetic that wraps around and divides
// toward zero, cut to 16 bits.
uint16_t LineBytes(uint32_t width, uint32_t bitsPerPixel) {
  const int32_t bits = static_cast<int32_t>(width * bitsPerPixel + 7);
  return static_cast<uint16_t>((bits / 8 + 3) & ~3);
}

uint32_t ImageSize(const BITMAPINFOHEADER* header, uint32_t bitsPerPixel, uint32_t fixedSize) {
  const unsigned char* fields = BytesOf(header);
  return LineBytes(Load32(fields + kBiWidth), bitsPerPixel) * Load32(fields + kBiHeight) +
         fixedSize;
}

uint16_t BitCount(const BITMAPINFOHEADER* header) { return Load16(BytesOf(header) + kBiBitCount); }

// Makes an image object over the source and lets it go, as what it was made: the work ends there.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdelete-non-virtual-dtor"
template <typename Image>
void MakeObject(const CImgConverter& converter) {
  const uint32_t size = GlobalSize(converter.m_hSource);
  const Image* image = new (std::nothrow) Image(converter.m_pBits, size);
  delete image;
}
#pragma GCC diagnostic pop

}  // namespace

CImgConverter::CImgConverter() : CImgConverter(nullptr, nullptr, nullptr, nullptr) {}

CImgConverter::CImgConverter(tagHANDLE* source, BITMAPINFOHEADER* header, tagRGBQUAD* colors,
                             unsigned char* bits)
    : m_hSource(source), m_pHeader(header), m_pColors(colors), m_pBits(bits) {}

uint32_t CImgConverter::GetGray256ImageSize() {
  return ImageSize(m_pHeader, 8, kInfoHeaderSize + 256 * sizeof(tagRGBQUAD));
}

uint32_t CImgConverter::GetFullColorImageSize() {
  return ImageSize(m_pHeader, 24, kInfoHeaderSize);
}

int CImgConverter::CheckColorMap(int& grey) {
  const uint16_t bitCount = BitCount(m_pHeader);
  if (bitCount != 4 && bitCount != 8) return 0;
  grey = 1;
  for (const tagRGBQUAD* entry = m_pColors; entry != m_pColors + (1U << bitCount); ++entry) {
    if (entry->rgbBlue != entry->rgbGreen || entry->rgbBlue != entry->rgbRed) {
      grey = 0;
      break;
    }
  }
  return 1;
}

int CImgConverter::MakeGray256Image(tagHANDLE*& out) {
  out = GlobalAlloc(GHND, GetGray256ImageSize());
  if (out == nullptr) return 0;
  int grey = 0;
  switch (BitCount(m_pHeader)) {
    case 4:
      CheckColorMap(grey);
      grey != 0 ? MakeObject<CGray16Image>(*this) : MakeObject<CColor16Image>(*this);
      break;
    case 8:
      CheckColorMap(grey);
      grey != 0 ? MakeObject<CGray256Image>(*this) : MakeObject<CColor256Image>(*this);
      break;
    case 24:
      MakeObject<CFullColorImage>(*this);
      break;
    default:
      break;
  }
  return 0;
}

int CImgConverter::MakeFullColorImage(tagHANDLE*& out) {
  out = GlobalAlloc(GHND, GetFullColorImageSize());
  if (out == nullptr) return 0;
  int grey = 0;
  CheckColorMap(grey);
  return 0;
}
