// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstring>

#include "quantize/color_map.h"
#include "quantize/distance.h"

namespace dibkit::quantize {
namespace {

int Part(uint32_t color, unsigned shift) { return static_cast<int>(color >> shift & 0xFF); }

uint32_t Distance(ColorIndex entry, Color color) {
  return Square(Part(entry, 0) - Part(color, 0)) + Square(Part(entry, 8) - Part(color, 8)) +
         Square(Part(entry, 16) - Part(color, 16));
}

ColorIndex SearchInOrder(Candidates candidates, Color color) {
  uint32_t best = UINT32_MAX;
  for (uint32_t i = 0; i < candidates.count; ++i) {
    best = std::min(best, Distance(candidates.entries[i], color) << kPlaceBits | i);
  }
  return candidates.entries[best & (kMostCandidates - 1)];
}

// The entries are in blue order, so a scan in one direction is over when blue alone is too far.
ColorIndex SearchLinearly(Candidates candidates, uint32_t start, Color color) {
  const ColorIndex* const entries = candidates.entries;
  uint32_t best = UINT32_MAX;
  uint32_t bestPlace = 0;
  const auto visit = [&](uint32_t place) {
    if (Square(Part(entries[place], 0) - Part(color, 0)) >= best) return false;
    const uint32_t distance = Distance(entries[place], color);
    if (distance < best) {
      best = distance;
      bestPlace = place;
    }
    return true;
  };
  for (uint32_t place = start + 1; place-- > 0 && visit(place);) {
  }
  for (uint32_t place = start + 1; place < candidates.count && visit(place); ++place) {
  }
  return entries[bestPlace];
}

// How many of `limit` pixels from `pixels` on, in steps of 8, are as the first.
size_t FlatRun(const uint8_t* pixels, size_t limit) {
  constexpr size_t kBlock = 8;
  size_t run = 0;
  // Pixel i equals pixel i + 1 all along exactly when bytes i and i + 3 are equal all along.
  while (run + kBlock < limit && std::memcmp(pixels + 3 * run, pixels + 3 * run + 3, 24) == 0) {
    run += kBlock;
  }
  return run;
}

}  // namespace

ColorIndex SearchPortable(ColorMemory& memory, Color color) {
  return memory.linear() ? SearchLinearly(memory.All(), memory.StartOf(color), color)
                         : SearchInOrder(memory.CandidatesFor(color), color);
}

void MapRowPortable(const uint8_t* pixels, size_t width, uint8_t* indices, ColorMemory& memory) {
  for (size_t x = 0; x < width;) {
    PrefetchAhead(pixels + 3 * x);
    const size_t run = FlatRun(pixels + 3 * x, width - x);
    if (run != 0) {
      std::memset(indices + x, memory.IndexOf(LoadColor(pixels + 3 * x)), run);
      x += run;
      continue;
    }
    for (const size_t end = std::min(width, x + 8); x < end; ++x) {
      indices[x] = memory.IndexOf(LoadColor(pixels + 3 * x));
    }
  }
}

}  // namespace dibkit::quantize
