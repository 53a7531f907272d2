// SPDX-License-Identifier: Apache-2.0
//
// Making the colour table and the two search structures.
#include <algorithm>

#include "NiGoRo2.h"
#include "quantize/palette.h"
#include "quantize/search_cell.h"
#include "quantize/search_cube.h"

using namespace dibkit;
using namespace dibkit::quantize;

namespace {

void WriteTable(CNiGoRo2& quantizer, tagRGBQUAD* table) {
  const int count = EntryCount(quantizer);
  for (int i = 0; i < count; ++i) {
    table[i] = quantizer.m_ColorTrans[i].rgb;
    quantizer.m_ColorTrans[i].lIndex = static_cast<uint32_t>(i);
  }
}

template <typename Visit>
void ForEachCell(Visit visit) {
  for (int r = 0; r < 8; ++r) {
    for (int g = 0; g < 8; ++g) {
      for (int b = 0; b < 8; ++b) visit(r, g, b);
    }
  }
}

}  // namespace

void CNiGoRo2::BuildPalette(tagRGBQUAD* table) {
  Qsort(m_ColorTrans, EntryCount(*this), CompareDenom);
  WriteTable(*this, table);
  Qsort(m_ColorTrans, EntryCount(*this), CompareBlue);
}

void CNiGoRo2::BuildSearchCube(tagRGBQUAD* table) {
  WriteTable(*this, table);
  // Without colours every cell still gets an entry to find.
  const int count = std::max(EntryCount(*this), 1);
  FillSearchCube(m_ColorTrans, static_cast<uint32_t>(count), m_SearchCube,
                 KernelsFor(BestCpuLevel()));
}

void CNiGoRo2::AddList(int r, int g, int b, CColorTrans2 entry) {
  Append(m_SearchCube[r][g][b], entry);
}

void CNiGoRo2::InitSearchCube() {
  ForEachCell([this](int r, int g, int b) { m_SearchCube[r][g][b] = {0, nullptr}; });
}

void CNiGoRo2::DeleteSearchCube() {
  ForEachCell([this](int r, int g, int b) { Release(m_SearchCube[r][g][b]); });
}
