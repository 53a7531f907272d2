// SPDX-License-Identifier: Apache-2.0
//
// Header and colour table of the result.
#include <cstring>
#include <iterator>

#include "Cnv_res_mem.h"
#include "dib/layout.h"
#include "resolution/geometry.h"
#include "resolution/gray_ramp.h"
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

// The sink only reads the bytes.
bool Append(CBufTransfer& sink, const void* bytes, size_t length) {
  return sink.SetData(0, length, const_cast<void*>(bytes), 1) == 1;
}

// The colour table of a result, as its bytes.
struct OutputTable {
  unsigned char bytes[256 * sizeof(tagRGBQUAD)] = {};
  size_t length = 0;

  constexpr void Add(int blue, int green, int red) {
    bytes[length++] = static_cast<unsigned char>(blue);
    bytes[length++] = static_cast<unsigned char>(green);
    bytes[length++] = static_cast<unsigned char>(red);
    bytes[length++] = 0;
  }

  constexpr void AddGrayRamp(int levels, int step) {
    for (int i = 0; i < levels; ++i) Add(i * step, i * step, i * step);
  }

  // 252 colours and two black entries: the table ends 8 bytes before the 256 entries that the
  // header declares, and the rows follow it at once.
  constexpr void AddColorCube() {
    constexpr int kRedLevels[] = {0, 42, 84, 126, 168, 210, 255};
    constexpr int kTopLevel = 255;
    constexpr int kLevelStep = 51;
    for (int blue = 0; blue <= kTopLevel; blue += kLevelStep) {
      for (int green = 0; green <= kTopLevel; green += kLevelStep) {
        for (const int red : kRedLevels) Add(blue, green, red);
      }
    }
    Add(0, 0, 0);
    Add(0, 0, 0);
  }
};

constexpr OutputTable TableFor(unsigned short kind) {
  OutputTable table;
  switch (kind) {
    case KIND_BILEVEL:
      table.AddGrayRamp(2, 255);
      break;
    case KIND_GRAY_4BIT:
      table.AddGrayRamp(16, 16);
      break;
    case KIND_GRAY_8BIT:
      table.AddGrayRamp(256, 1);
      break;
    case KIND_PALETTE_8BIT:
      table.AddColorCube();
      break;
    default:
      break;
  }
  return table;
}

constexpr OutputTable kTables[] = {TableFor(0), TableFor(1), TableFor(2), TableFor(3),
                                   TableFor(4), TableFor(5), TableFor(6)};

// A file gets one transfer an entry, but both entries of a bilevel table at once; in memory nobody
// can tell.
bool AppendTable(CBufTransfer& sink, unsigned short kind) {
  if (kind >= std::size(kTables)) return true;
  const OutputTable& table = kTables[kind];
  const bool oneByOne = IsFile(sink) && kind != KIND_BILEVEL;
  const size_t piece = oneByOne ? sizeof(tagRGBQUAD) : table.length;
  for (size_t at = 0; at < table.length; at += piece) {
    if (!Append(sink, table.bytes + at, piece)) return false;
  }
  return true;
}

}  // namespace

bool dibkit::resolution::IsGrayRamp(const unsigned char* entries) {
  const OutputTable& ramp = kTables[KIND_GRAY_8BIT];
  return std::memcmp(entries, ramp.bytes, sizeof ramp.bytes) == 0;
}

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
