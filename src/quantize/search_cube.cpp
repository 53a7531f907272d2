// SPDX-License-Identifier: Apache-2.0
//
// The sorts decide ties by the whole history of swaps, so they are done swap for swap; but what is
// moved is one word, distance above place, and not a record. The squares that distances and bounds
// are made of depend on one axis each and are the same for 64 cells: they are computed once.
#include "quantize/search_cube.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <new>

#include "quantize/distance.h"
#include "quantize/search_cell.h"

namespace dibkit::quantize {
namespace {

constexpr uint32_t kPlaceMask = (1u << kSortPlaceBits) - 1;

using Squares = std::array<uint32_t, kMaxPalette>;

// One axis, for each of its 8 cell positions and each place of the palette.
struct Axis {
  Squares toCentre[8];    // squared distance to the cell's centre
  Squares toNearSide[8];  // squared distance to the nearest point of the cell
  Squares toFarSide[8];   // squared distance to the farthest
};

struct Axes {
  Axis red;
  Axis green;
  Axis blue;
};

// The last cell ends at 254: hosts rely on the lists that come of it.
int Centre(int position) { return position == 7 ? 239 : 16 + 32 * position; }
int HalfWidth(int position) { return position == 7 ? 15 : 16; }

void FillAxis(Axis& axis, const CColorTrans2* palette, uint32_t count, uint8_t tagRGBQUAD::*part) {
  for (int position = 0; position < 8; ++position) {
    const int centre = Centre(position);
    const int half = HalfWidth(position);
    const auto at = static_cast<size_t>(position);
    for (uint32_t place = 0; place < count; ++place) {
      const int apart = std::abs(centre - palette[place].rgb.*part);
      axis.toCentre[at][place] = Square(apart);
      axis.toNearSide[at][place] = Square(std::max(0, apart - half));
      axis.toFarSide[at][place] = Square(apart + half);
    }
  }
}

// How many entries, from the first in sorted order on, can be nearest to a colour of the cell.
uint32_t CountCandidates(const Axes& axes, size_t r, size_t g, size_t b, const SortKey* keys,
                         uint32_t count) {
  const uint32_t first = keys[0] & kPlaceMask;
  const uint32_t farBound =
      axes.red.toFarSide[r][first] + axes.green.toFarSide[g][first] + axes.blue.toFarSide[b][first];
  uint32_t candidates = 1;
  for (; candidates < count; ++candidates) {
    const uint32_t place = keys[candidates] & kPlaceMask;
    const uint32_t nearBound = axes.red.toNearSide[r][place] + axes.green.toNearSide[g][place] +
                               axes.blue.toNearSide[b][place];
    if (farBound < nearBound) break;
  }
  return candidates;
}

size_t Capacity(size_t count) {
  constexpr size_t kStep = kSearchCellStep;
  return (count + kStep - 1) / kStep * kStep;
}

// Makes room for `more` entries at once, which entry by entry would take several blocks.
void Reserve(CSearchCell& cell, uint32_t more) {
  const auto count = static_cast<size_t>(cell.lCount);
  if (Capacity(count + more) == Capacity(count)) return;
  CColorTrans2* const grown = new (std::nothrow) CColorTrans2[Capacity(count + more)];
  if (grown == nullptr) return;
  std::copy_n(cell.pList, count, grown);
  delete[] cell.pList;
  cell.pList = grown;
}

void AppendAll(CSearchCell& cell, const CColorTrans2* palette, const SortKey* keys,
               uint32_t count) {
  const auto before = static_cast<size_t>(cell.lCount);
  const CColorTrans2* const list = cell.pList;
  Reserve(cell, count);
  const bool roomy = cell.pList != list || Capacity(before + count) == Capacity(before);
  if (!roomy) {
    for (uint32_t i = 0; i < count; ++i) Append(cell, palette[keys[i] & kPlaceMask]);
    return;
  }
  CColorTrans2* const end = cell.pList + before;
  for (uint32_t i = 0; i < count; ++i) end[i] = palette[keys[i] & kPlaceMask];
  cell.lCount += static_cast<int32_t>(count);
}

void Reorder(CColorTrans2* palette, const SortKey* keys, uint32_t count) {
  CColorTrans2 sorted[kMaxPalette];
  for (uint32_t i = 0; i < count; ++i) sorted[i] = palette[keys[i] & kPlaceMask];
  std::copy_n(sorted, count, palette);
}

}  // namespace

void FillSearchCube(CColorTrans2* palette, uint32_t count, CSearchCell (&cells)[8][8][8],
                    const QuantizeKernels& kernels) {
  if (count == 0 || count > kMaxPalette) return;
  Axes axes;
  FillAxis(axes.red, palette, count, &tagRGBQUAD::rgbRed);
  FillAxis(axes.green, palette, count, &tagRGBQUAD::rgbGreen);
  FillAxis(axes.blue, palette, count, &tagRGBQUAD::rgbBlue);
  SortKey keys[kMaxPalette];
  for (uint32_t i = 0; i < count; ++i) keys[i] = i;
  Squares distance;
  for (size_t r = 0; r < 8; ++r) {
    for (size_t g = 0; g < 8; ++g) {
      for (size_t b = 0; b < 8; ++b) {
        for (uint32_t place = 0; place < count; ++place) {
          distance[place] = axes.red.toCentre[r][place] + axes.green.toCentre[g][place] +
                            axes.blue.toCentre[b][place];
        }
        for (uint32_t i = 0; i < count; ++i) {
          const uint32_t place = keys[i] & kPlaceMask;
          keys[i] = distance[place] << kSortPlaceBits | place;
        }
        kernels.sortKeys(keys, count);
        AppendAll(cells[r][g][b], palette, keys, CountCandidates(axes, r, g, b, keys, count));
      }
    }
  }
  Reorder(palette, keys, count);
}

}  // namespace dibkit::quantize
