// SPDX-License-Identifier: Apache-2.0
//
// Header and colour table of the result.
#include <cstring>

#include "Cnv_res_mem.h"
#include "dib/layout.h"
#include "resolution/geometry.h"
#include "resolution/sinks.h"

using namespace dibkit;
using namespace dibkit::resolution;

namespace {

// Colours that the header declares, and the offset of the rows in a file.
struct TableLayout {
  uint32_t colors;
  uint32_t bitsOffset;
};

TableLayout LayoutFor(uint16_t bitCount) {
  switch (bitCount) {
    case 1:
      return {2, 62};
    case 4:
      return {16, 118};
    case 8:
      return {256, 1078};
    default:
      return {0, 54};
  }
}

bool Append(CBufTransfer& sink, void* bytes, size_t length) {
  return sink.SetData(0, length, bytes, 1) == 1;
}

bool AppendColor(CBufTransfer& sink, int blue, int green, int red) {
  unsigned char entry[4] = {static_cast<unsigned char>(blue), static_cast<unsigned char>(green),
                            static_cast<unsigned char>(red), 0};
  return Append(sink, entry, sizeof entry);
}

bool AppendGrayRamp(CBufTransfer& sink, int levels, int step) {
  for (int i = 0; i < levels; ++i) {
    if (!AppendColor(sink, i * step, i * step, i * step)) return false;
  }
  return true;
}

bool AppendBlackAndWhite(CBufTransfer& sink) {
  unsigned char entries[8] = {0, 0, 0, 0, 255, 255, 255, 0};
  return Append(sink, entries, sizeof entries);
}

// 252 colours and two black entries: the table ends 8 bytes before the 256 entries that the header
// declares, and the rows follow it at once.
bool AppendColorCube(CBufTransfer& sink) {
  constexpr int kRedLevels[] = {0, 42, 84, 126, 168, 210, 255};
  constexpr int kTopLevel = 255;
  constexpr int kLevelStep = 51;
  for (int blue = 0; blue <= kTopLevel; blue += kLevelStep) {
    for (int green = 0; green <= kTopLevel; green += kLevelStep) {
      for (const int red : kRedLevels) {
        if (!AppendColor(sink, blue, green, red)) return false;
      }
    }
  }
  return AppendColor(sink, 0, 0, 0) && AppendColor(sink, 0, 0, 0);
}

bool AppendTable(CBufTransfer& sink, unsigned short kind) {
  switch (kind) {
    case KIND_BILEVEL:
      return AppendBlackAndWhite(sink);
    case KIND_GRAY_4BIT:
      return AppendGrayRamp(sink, 16, 16);
    case KIND_GRAY_8BIT:
      return AppendGrayRamp(sink, 256, 1);
    case KIND_PALETTE_8BIT:
      return AppendColorCube(sink);
    default:
      return true;
  }
}

}  // namespace

int CLinearTransformMem::CreateOutputData() {
  unsigned char headers[kFileHeaderSize + kInfoHeaderSize];
  const bool toFile = IsFile(*m_pDestination);
  SetOutputBitmapInfoHeader(headers, toFile ? 1 : 0);
  if (!Append(*m_pDestination, headers, toFile ? sizeof headers : kInfoHeaderSize) ||
      !AppendTable(*m_pDestination, m_wOutputKind)) {
    return CNV_HEADER_NOT_WRITTEN;
  }
  m_wOutputBitsOffset = static_cast<unsigned short>(m_pDestination->m_dwPosition);
  return CNV_OK;
}

void CLinearTransformMem::SetOutputBitmapInfoHeader(void* buffer, int withFileHeader) {
  const TableLayout layout = LayoutFor(m_wOutputBitCount);
  unsigned char* header = static_cast<unsigned char*>(buffer);
  if (withFileHeader == 1) {
    const uint32_t imageSize = m_wOutputHeight * static_cast<uint32_t>(m_dwOutputRowBytes);
    std::memset(header, 0, kFileHeaderSize);
    header[0] = 'B';
    header[1] = 'M';
    // Adds the number of colours instead of the bytes of the table.
    Store32(header + 2, layout.colors + imageSize % 65536 + kFileHeaderSize + kInfoHeaderSize);
    Store32(header + 10, layout.bitsOffset);
    header += kFileHeaderSize;
  }
  StoreHeader(header, {.biSize = kInfoHeaderSize,
                       .biWidth = m_wOutputWidth,
                       .biHeight = m_wOutputHeight,
                       .biPlanes = 1,
                       .biBitCount = m_wOutputBitCount,
                       .biCompression = BI_RGB,
                       .biSizeImage = 0,
                       .biXPelsPerMeter = static_cast<int32_t>(PelsPerMeter(m_wOutputResolutionX)),
                       .biYPelsPerMeter = static_cast<int32_t>(PelsPerMeter(m_wOutputResolutionY)),
                       .biClrUsed = layout.colors,
                       .biClrImportant = layout.colors});
}
