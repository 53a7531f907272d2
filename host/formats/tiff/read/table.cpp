// SPDX-License-Identifier: Apache-2.0
#include "formats/tiff/read/table.h"

#include <algorithm>
#include <cstddef>
#include <span>

#include "bitmap/grey_table.h"
#include "formats/channels.h"

namespace dibkit::host::tiff {
namespace {

enum class MapScale {
  kWhole,    // 0 to 65535
  kLow,      // 0 to 255, as old writers have it
  kHighByte  // 0 to 255 in the high byte, the low one 0
};

using Map = std::span<const uint16_t>;

MapScale ScaleOf(std::span<const Map> maps) {
  uint16_t all = 0;
  uint16_t low = 0;
  for (const Map& map : maps) {
    for (const uint16_t value : map) {
      all |= value;
      low |= value & 0xFF;
    }
  }
  if (all < 256) {
    return MapScale::kLow;
  }
  return low == 0 ? MapScale::kHighByte : MapScale::kWhole;
}

unsigned char Scaled(uint16_t value, MapScale scale) {
  switch (scale) {
    case MapScale::kLow:
      return static_cast<unsigned char>(value);
    case MapScale::kHighByte:
      return static_cast<unsigned char>(value >> 8);
    default:
      return To8Bits(value);
  }
}

Table Palette(TIFF* tiff, const Kind& kind) {
  Table table{};
  uint16_t* red = nullptr;
  uint16_t* green = nullptr;
  uint16_t* blue = nullptr;
  if (TIFFGetField(tiff, TIFFTAG_COLORMAP, &red, &green, &blue) != 1) {
    return table;
  }
  const size_t entries = size_t{1} << kind.bits;
  const std::array<Map, 3> maps{Map(blue, entries), Map(green, entries), Map(red, entries)};
  const MapScale scale = ScaleOf(maps);
  for (size_t i = 0; i < entries; ++i) {
    for (size_t channel = 0; channel < maps.size(); ++channel) {
      table[4 * i + channel] = Scaled(maps[channel][i], scale);
    }
  }
  return table;
}

}  // namespace

Table TableOf(TIFF* tiff, const Kind& kind) {
  if (kind.colours == Colours::kPalette) {
    return Palette(tiff, kind);
  }
  const unsigned bits = kind.DibBits();
  if (bits > 8) {
    return {};
  }
  Table table{};
  FillGreyTable(std::span(table).first(size_t{4} << bits));
  if (bits == 1 && kind.whiteIsZero) {
    std::swap_ranges(table.begin(), table.begin() + 4, table.begin() + 4);
  }
  return table;
}

}  // namespace dibkit::host::tiff
