// SPDX-License-Identifier: Apache-2.0
//
// The quantiser's life: construction, the whole run, the result image.
#include "NiGoRo2.h"

#include <cstddef>

#include "AutoClass.h"
#include "DIBHelp.h"
#include "dib/layout.h"
#include "quantize/pixels.h"

using namespace dibkit;
using namespace dibkit::quantize;

namespace {

// The masks of a bit-field source are the three words behind the header copy; BitFieldReader
// computes them from these fields.
static_assert(offsetof(CNiGoRo2, m_wMaxColors) == offsetof(CNiGoRo2, m_bih) + 40);
static_assert(offsetof(CNiGoRo2, m_ColorTrans) == offsetof(CNiGoRo2, m_bih) + 44);
static_assert(offsetof(CColorTrans2, lDenom) == 4);

// Palette modes whose palette and search the host has prepared itself.
bool SkipsPalette(int32_t paletteMode) {
  return paletteMode == 666 || paletteMode == 884 || paletteMode == 775;
}

bool WantsLinearSearch(int32_t width, int32_t height, uint32_t colors) {
  constexpr int32_t kSmallImage = 16384;
  constexpr uint32_t kSmallPalette = 64;
  const uint32_t pixels = static_cast<uint32_t>(width) * static_cast<uint32_t>(height);
  return static_cast<int32_t>(pixels) <= kSmallImage || colors <= kSmallPalette;
}

void PreparePalette(CNiGoRo2& quantizer, int32_t width, int32_t height, unsigned char* result) {
  tagRGBQUAD* table = reinterpret_cast<tagRGBQUAD*>(result + kInfoHeaderSize);
  if (WantsLinearSearch(width, height, quantizer.m_lColorNum)) {
    quantizer.BuildPalette(table);
    quantizer.m_wLinearSearch = 1;
  } else {
    quantizer.BuildSearchCube(table);
    quantizer.m_wLinearSearch = 0;
  }
}

void MapPixels(CNiGoRo2& quantizer, int32_t width, int32_t height, unsigned char* out) {
  unsigned char* source = quantizer.m_pBits;
  switch (FormatOf(quantizer.m_bih)) {
    case PixelFormat::k555:
      quantizer.QuantizeBM16(reinterpret_cast<unsigned short*>(source), width, height, out,
                             nullptr);
      break;
    case PixelFormat::kBgr:
      quantizer.QuantizeBM24(source, width, height, out, nullptr);
      break;
    case PixelFormat::kBitField16:
      quantizer.QuantizeBF16(reinterpret_cast<unsigned short*>(source), width, height, out,
                             nullptr);
      break;
    case PixelFormat::kBitField32:
      quantizer.QuantizeBF32(reinterpret_cast<unsigned long*>(source), width, height, out, nullptr);
      break;
    case PixelFormat::kUnknown:
      break;
  }
}

}  // namespace

CNiGoRo2::CNiGoRo2(unsigned char* dib, unsigned short maxColors, unsigned short depth, int)
    : m_pTree(nullptr),
      m_wDepth(depth),
      m_pBits(DIBBits(dib)),
      m_bih(LoadHeader(dib)),
      m_wMaxColors(maxColors),
      m_ColorTrans(),
      m_pDefaultColors(nullptr),
      m_lColorNum(0),
      m_lDefaultColorNum(0),
      m_iPaletteMode(0),
      m_wLinearSearch(0) {
  InitSearchCube();
}

CNiGoRo2::~CNiGoRo2() {
  delete[] m_pTree;
  delete[] m_pDefaultColors;
  DeleteSearchCube();
}

tagHANDLE* CNiGoRo2::QuantizeBitmap(int, int) {
  if (m_pTree == nullptr && m_wDepth != 0) {
    if (InitOctree() == 0) return nullptr;
    InsertDefaultColors();
    FillTree();
    ReduceColors();
    unsigned long index = 0;
    CreateColorTableRec(0, index);
  }
  return Quantize();
}

tagHANDLE* CNiGoRo2::Quantize() {
  // The header copy is read as the accessors read it, core layout included.
  unsigned char header[kInfoHeaderSize];
  StoreHeader(header, m_bih);
  const int32_t width = DIBWidth(header);
  const int32_t height = DIBHeight(header);
  CHandle result(CreateDIB(static_cast<uint32_t>(width), static_cast<uint32_t>(height), 8));
  unsigned char* dib = result;
  if (dib == nullptr) return nullptr;

  if (!SkipsPalette(m_iPaletteMode)) {
    PreparePalette(*this, width, height, dib);
  }
  MapPixels(*this, width, height, DIBBits(dib));
  result.UnLock();
  return result.GetHandle();
}
