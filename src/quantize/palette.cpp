// SPDX-License-Identifier: Apache-2.0
//
// Making the colour table and the two search structures.
#include <algorithm>
#include <cstdlib>

#include "NiGoRo2.h"
#include "quantize/distance.h"
#include "quantize/palette.h"
#include "quantize/search_cell.h"

using namespace dibkit;
using namespace dibkit::quantize;

namespace {

constexpr int kCellWidth = 32;

// One axis of a search cell. The last centre is 239 and its half-width 15, so the value 255 lies
// outside the far bound; hosts rely on the lists that follow from it.
struct Axis {
  int centre;
  int halfWidth;
};

Axis AxisOf(int cell) {
  return cell == 7 ? Axis{239, 15} : Axis{16 + kCellWidth * cell, kCellWidth / 2};
}

struct CellBox {
  Axis red;
  Axis green;
  Axis blue;
};

int FarReach(const Axis& axis, int component) {
  return std::abs(axis.centre - component) + axis.halfWidth;
}

int NearReach(const Axis& axis, int component) {
  return std::max(0, std::abs(axis.centre - component) - axis.halfWidth);
}

// No colour of the cell is farther from `color` than this.
uint32_t FarBound(const CellBox& box, const tagRGBQUAD& color) {
  return Square(FarReach(box.red, color.rgbRed)) + Square(FarReach(box.green, color.rgbGreen)) +
         Square(FarReach(box.blue, color.rgbBlue));
}

// No colour of the cell is nearer to `color` than this.
uint32_t NearBound(const CellBox& box, const tagRGBQUAD& color) {
  return Square(NearReach(box.red, color.rgbRed)) + Square(NearReach(box.green, color.rgbGreen)) +
         Square(NearReach(box.blue, color.rgbBlue));
}

tagRGBQUAD CentreOf(const CellBox& box) {
  return {.rgbBlue = static_cast<uint8_t>(box.blue.centre),
          .rgbGreen = static_cast<uint8_t>(box.green.centre),
          .rgbRed = static_cast<uint8_t>(box.red.centre),
          .rgbReserved = 0};
}

void WriteTable(CNiGoRo2& quantizer, tagRGBQUAD* table) {
  const int count = EntryCount(quantizer);
  for (int i = 0; i < count; ++i) {
    table[i] = quantizer.m_ColorTrans[i].rgb;
    quantizer.m_ColorTrans[i].lIndex = static_cast<uint32_t>(i);
  }
}

// Sorts the palette around the cell and appends every entry that may be nearest to one of its
// colours.
void FillCell(CNiGoRo2& quantizer, int r, int g, int b) {
  const CellBox box{AxisOf(r), AxisOf(g), AxisOf(b)};
  CColorTrans2* entries = quantizer.m_ColorTrans;
  const int count = EntryCount(quantizer);
  Qsort(entries, CentreOf(box), count, CompareColor);
  quantizer.AddList(r, g, b, entries[0]);
  const uint32_t farBound = FarBound(box, entries[0].rgb);
  for (int i = 1; i < count && farBound >= NearBound(box, entries[i].rgb); ++i) {
    quantizer.AddList(r, g, b, entries[i]);
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
  ForEachCell([this](int r, int g, int b) { FillCell(*this, r, g, b); });
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
