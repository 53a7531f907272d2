// SPDX-License-Identifier: Apache-2.0
//
// The fixed palette of 256 colours and the search cube over it.
#include <algorithm>
#include <array>
#include <cstring>

#include "AutoClass.h"
#include "NiGoRo2.h"
#include "quantize/distance.h"
#include "quantize/search_cell.h"

using namespace dibkit;
using dibkit::quantize::Square;

// The one object that the library constructs when it is loaded.
CHandle STATIC_COLOR(nullptr);

CSearchCell STATIC_CUBE[16][16][16];

int CNiGoRo2::m_iStcColorNum = 0;

namespace {

#if defined(__i386__)
static_assert(sizeof(STATIC_CUBE) == 32768);
#endif

constexpr int kStaticColors = 256;
constexpr int kCellsPerAxis = 16;

struct StaticColor {
  uint8_t red;
  uint8_t green;
  uint8_t blue;
};

constexpr std::array<uint8_t, 7> kRedGreenSteps = {0, 32, 80, 130, 170, 220, 255};
constexpr std::array<uint8_t, 5> kBlueSteps = {0, 64, 144, 208, 255};

// What follows the grid of steps in the palette.
constexpr StaticColor kExtraColors[] = {
    {0, 128, 128}, {128, 0, 128},   {0, 192, 192},   {192, 0, 192},   {32, 32, 32},    {64, 64, 64},
    {96, 96, 96},  {128, 128, 128}, {160, 160, 160}, {192, 192, 192}, {224, 224, 224},
};

// Red varies slowest, blue fastest.
constexpr std::array<StaticColor, kStaticColors> MakePalette() {
  std::array<StaticColor, kStaticColors> palette{};
  size_t next = 0;
  for (const uint8_t red : kRedGreenSteps) {
    for (const uint8_t green : kRedGreenSteps) {
      for (const uint8_t blue : kBlueSteps) palette[next++] = {red, green, blue};
    }
  }
  for (const StaticColor& color : kExtraColors) palette[next++] = color;
  return palette;
}

constexpr std::array<StaticColor, kStaticColors> kPalette = MakePalette();

// One cell's extent on one axis; both edges belong to it.
struct Extent {
  int low;
  int high;
  int centre;

  // From a value to the edge that lies farther, seen from the centre.
  int Far(int value) const { return centre <= value ? value - low : high - value; }
  // From a value to the nearer edge; 0 inside.
  int Near(int value) const { return value < low ? low - value : std::max(value - high, 0); }
};

Extent ExtentOf(int cell) {
  const int low = cell * 16;
  const int high = cell == kCellsPerAxis - 1 ? 255 : low + 16;
  return {low, high, (low + high) / 2};
}

struct CellExtent {
  Extent red;
  Extent green;
  Extent blue;

  tagRGBQUAD Centre() const {
    return {static_cast<uint8_t>(blue.centre), static_cast<uint8_t>(green.centre),
            static_cast<uint8_t>(red.centre), 0};
  }
  uint32_t FarBound(tagRGBQUAD color) const {
    return Square(red.Far(color.rgbRed)) + Square(green.Far(color.rgbGreen)) +
           Square(blue.Far(color.rgbBlue));
  }
  uint32_t NearBound(tagRGBQUAD color) const {
    return Square(red.Near(color.rgbRed)) + Square(green.Near(color.rgbGreen)) +
           Square(blue.Near(color.rgbBlue));
  }
};

using Candidates = std::array<CColorTrans2, kStaticColors>;

Candidates ReadPalette(const unsigned char* triples) {
  Candidates colors{};
  for (uint32_t i = 0; i < kStaticColors; ++i, triples += 3) {
    colors[i].rgb = {triples[2], triples[1], triples[0], 0};
    colors[i].lIndex = i;
  }
  return colors;
}

// Sorts `colors` for the cell and lists those up to the first that is farther from all of the cell
// than the nearest colour.
void FillCell(int r, int g, int b, Candidates& colors) {
  const CellExtent cell{ExtentOf(r), ExtentOf(g), ExtentOf(b)};
  Qsort(colors.data(), cell.Centre(), kStaticColors, CompareColor);
  const uint32_t farBound = cell.FarBound(colors[0].rgb);
  CNiGoRo2::AddStaticList(r, g, b, colors[0]);
  for (size_t i = 1; i < colors.size() && farBound >= cell.NearBound(colors[i].rgb); ++i) {
    CNiGoRo2::AddStaticList(r, g, b, colors[i]);
  }
}

}  // namespace

void CNiGoRo2::SetStaticColors() {
  m_iStcColorNum = kStaticColors;
  if (STATIC_COLOR.IsEmpty()) STATIC_COLOR.SetHandle(GlobalAlloc(GHND, kStaticColors * 3));
  if (STATIC_COLOR.Lock() == nullptr) return;
  int at = 0;
  for (const StaticColor& color : kPalette) {
    STATIC_COLOR[at++] = color.red;
    STATIC_COLOR[at++] = color.green;
    STATIC_COLOR[at++] = color.blue;
  }
}

void CNiGoRo2::CreateStaticSearchCube() {
  InitStaticSearchCube();
  SetStaticColors();
  const unsigned char* triples = STATIC_COLOR;
  if (triples == nullptr) return;
  // Each cell starts from the order that the cell before left: it decides ties.
  Candidates colors = ReadPalette(triples);
  for (int r = 0; r < kCellsPerAxis; ++r) {
    for (int g = 0; g < kCellsPerAxis; ++g) {
      for (int b = 0; b < kCellsPerAxis; ++b) FillCell(r, g, b, colors);
    }
  }
}

void CNiGoRo2::AddStaticList(int r, int g, int b, CColorTrans2 entry) {
  Append(STATIC_CUBE[r][g][b], entry);
}

void CNiGoRo2::InitStaticSearchCube() { std::memset(STATIC_CUBE, 0, sizeof STATIC_CUBE); }

void CNiGoRo2::DeleteStaticSearchCube() {
  for (auto& plane : STATIC_CUBE) {
    for (auto& line : plane) {
      for (CSearchCell& cell : line) Release(cell);
    }
  }
}
