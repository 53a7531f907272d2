// SPDX-License-Identifier: Apache-2.0
//
// Nearest-colour searches and the mapping of pixels.
#include <cstddef>

#include "NiGoRo2.h"
#include "quantize/color_map.h"
#include "quantize/distance.h"
#include "quantize/palette.h"
#include "quantize/pixels.h"

using namespace dibkit;
using namespace dibkit::quantize;

namespace {

// The best entry so far. Only a strictly smaller distance replaces it.
struct Nearest {
  uint32_t distance;
  int entry;
};

// Looks at one entry of the blue-sorted palette. False when no entry farther out in blue can win.
bool Consider(const CColorTrans2* entries, int i, const Rgb& color, Nearest& best) {
  const tagRGBQUAD& rgb = entries[i].rgb;
  const uint32_t blue = Square(rgb.rgbBlue - color.blue);
  if (blue > best.distance) return false;
  const uint32_t blueGreen = blue + Square(rgb.rgbGreen - color.green);
  if (blueGreen < best.distance) {
    const uint32_t full = blueGreen + Square(rgb.rgbRed - color.red);
    if (full < best.distance) best = {full, i};
  }
  return true;
}

// The first entry whose blue is not below `blue`, or the last one.
int StartIndex(const CColorTrans2* entries, int count, uint8_t blue) {
  if (count - 1 <= 0 || blue <= entries[0].rgb.rgbBlue) return 0;
  int i = 1;
  while (i < count - 1 && entries[i].rgb.rgbBlue < blue) ++i;
  return i;
}

template <typename Reader>
void MapRows(CNiGoRo2& quantizer, const unsigned char* src, size_t sourceStride, int w, int h,
             unsigned char* dst, const Reader& read) {
  if (w <= 0) return;
  const CNiGoRo2::Search search = quantizer.m_wLinearSearch != 0 ? &CNiGoRo2::GetNearestColorIndexL
                                                                 : &CNiGoRo2::GetNearestColorIndexC;
  const size_t targetStride = static_cast<size_t>(RowStride(8, static_cast<uint32_t>(w)));
  for (int y = 0; y < h; ++y, src += sourceStride, dst += targetStride) {
    const unsigned char* pixel = src;
    for (int x = 0; x < w; ++x, pixel += Reader::kPixelBytes) {
      const Rgb color = read(pixel);
      dst[x] = (quantizer.*search)(color.red, color.green, color.blue);
    }
  }
}

// Maps with a memory of the colours that were met. False, with nothing written, for an image or a
// palette that is left to the plain searches.
bool MapRemembering(const CNiGoRo2& quantizer, const MapJob& job) {
  const QuantizeKernels& kernels = KernelsFor(BestCpuLevel());
  return quantizer.m_wLinearSearch != 0
             ? MapLinearly(job, quantizer.m_ColorTrans,
                           static_cast<uint32_t>(EntryCount(quantizer)), kernels)
             : MapByCube(job, quantizer.m_SearchCube, kernels);
}

size_t PaddedStride(unsigned bitCount, int w) {
  return static_cast<size_t>(RowStride(bitCount, static_cast<uint32_t>(w)));
}

}  // namespace

unsigned char CNiGoRo2::GetNearestColorIndexC(unsigned char r, unsigned char g, unsigned char b) {
  const CSearchCell& cell = m_SearchCube[r / 32][g / 32][b / 32];
  if (cell.lCount <= 0) return 0;
  const CColorTrans2* best = cell.pList;
  const auto blue = [b](const CColorTrans2& e) { return Square(e.rgb.rgbBlue - b); };
  const auto green = [g](const CColorTrans2& e) { return Square(e.rgb.rgbGreen - g); };
  const auto red = [r](const CColorTrans2& e) { return Square(e.rgb.rgbRed - r); };
  uint32_t bestDistance = blue(*best) + green(*best) + red(*best);
  for (const CColorTrans2* e = cell.pList + 1; e < cell.pList + cell.lCount; ++e) {
    uint32_t distance = blue(*e);
    if (distance >= bestDistance) continue;
    distance += green(*e);
    if (distance >= bestDistance) continue;
    distance += red(*e);
    if (distance >= bestDistance) continue;
    bestDistance = distance;
    best = e;
  }
  return static_cast<unsigned char>(best->lIndex);
}

unsigned char CNiGoRo2::GetNearestColorIndexL(unsigned char r, unsigned char g, unsigned char b) {
  const int count = EntryCount(*this);
  const int start = StartIndex(m_ColorTrans, count, b);
  const Rgb color{r, g, b};
  Nearest best{0xFFFFFFFF, 0};
  for (int i = start; i >= 0 && Consider(m_ColorTrans, i, color, best); --i) {
  }
  for (int i = start + 1; i < count && Consider(m_ColorTrans, i, color, best); ++i) {
  }
  return static_cast<unsigned char>(m_ColorTrans[best.entry].lIndex);
}

void CNiGoRo2::QuantizeBM16(unsigned short* src, int w, int h, unsigned char* dst, Search) {
  MapRows(*this, reinterpret_cast<const unsigned char*>(src), PaddedStride(16, w), w, h, dst,
          Reader555{});
}

void CNiGoRo2::QuantizeBM24(unsigned char* src, int w, int h, unsigned char* dst, Search) {
  if (w <= 0 || h <= 0) return;
  const MapJob job{.source = src,
                   .sourceStride = PaddedStride(24, w),
                   .target = dst,
                   .targetStride = PaddedStride(8, w),
                   .width = static_cast<uint32_t>(w),
                   .height = static_cast<uint32_t>(h)};
  if (!MapRemembering(*this, job)) {
    MapRows(*this, src, job.sourceStride, w, h, dst, ReaderBgr{});
  }
}

void CNiGoRo2::QuantizeBF16(unsigned short* src, int w, int h, unsigned char* dst, Search) {
  MapRows(*this, reinterpret_cast<const unsigned char*>(src), PaddedStride(16, w), w, h, dst,
          ReaderBitField16(*this));
}

void CNiGoRo2::QuantizeBF32(unsigned long* src, int w, int h, unsigned char* dst, Search) {
  MapRows(*this, reinterpret_cast<const unsigned char*>(src), PaddedStride(32, w), w, h, dst,
          ReaderBitField32(*this));
}
