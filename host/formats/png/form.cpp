// SPDX-License-Identifier: Apache-2.0
#include "formats/png/form.h"

#include <algorithm>
#include <cstdint>

#include "formats/png/decoder.h"
#include "formats/swap_channels.h"

namespace dibkit::host::png {
namespace {

// True when the greys of the table go in even steps from `first` to `last`, black or white.
bool IsRamp(std::span<const unsigned char> table, size_t first, size_t last) {
  const size_t entries = table.size() / 4;
  for (size_t i = 0; i < entries; ++i) {
    if (table[i * 4] != (first * (entries - 1 - i) + last * i) / (entries - 1)) {
      return false;
    }
  }
  return true;
}

}  // namespace

Form::Form(const DibView& dib) : dib_(dib) {
  const unsigned bits = dib.BitCount();
  const auto table = dib.Table();
  const bool grey = dib.HasGreyTable();
  const bool ramp = grey && IsRamp(table, 0, 255);
  const bool inverse = grey && bits == 1 && IsRamp(table, 255, 0);
  header_.width = dib.Width();
  header_.height = dib.Height();
  header_.bit_depth = static_cast<uint8_t>(std::min(bits, 8U));
  if (bits > 8) {
    header_.color_type = SPNG_COLOR_TYPE_TRUECOLOR;
  } else {
    header_.color_type = ramp || inverse || (grey && bits == 8) ? SPNG_COLOR_TYPE_GRAYSCALE
                                                                : SPNG_COLOR_TYPE_INDEXED;
  }
  rowBytes_ = static_cast<size_t>(StoredRowBytes(header_, header_.width));
  for (size_t i = 0; i < map_.size(); ++i) {
    map_[i] = static_cast<unsigned char>(inverse ? ~i : i);
    if (grey && bits == 8) {
      map_[i] = table[i * 4];
    }
  }
}

spng_plte Form::Palette() const {
  const auto table = dib_.Table();
  spng_plte palette{};
  palette.n_entries = static_cast<uint32_t>(table.size() / 4);
  for (size_t i = 0; i < palette.n_entries; ++i) {
    palette.entries[i] = {table[i * 4 + 2], table[i * 4 + 1], table[i * 4], 255};
  }
  return palette;
}

void Form::MakeRow(std::span<const unsigned char> row, unsigned char* to) const {
  switch (dib_.BitCount()) {
    case 32:
      SwapChannelsOf32(row.data(), to, header_.width);
      return;
    case 24:
      SwapChannels(row.data(), to, header_.width);
      return;
    default:
      break;
  }
  std::transform(row.begin(), row.begin() + static_cast<std::ptrdiff_t>(rowBytes_), to,
                 [this](unsigned char byte) { return map_[byte]; });
  const unsigned used = uint64_t{header_.width} * header_.bit_depth % 8;
  if (used != 0) {
    to[rowBytes_ - 1] = static_cast<unsigned char>(to[rowBytes_ - 1] & 0xFF00U >> used);
  }
}

}  // namespace dibkit::host::png
