// SPDX-License-Identifier: Apache-2.0
#include "formats/tiff/read/pixels.h"

#include <algorithm>
#include <cstddef>

#include "formats/channels.h"
#include "formats/swap_channels.h"
#include "formats/tiff/read/samples.h"

namespace dibkit::host::tiff {
namespace {

unsigned char Byte(unsigned value) { return static_cast<unsigned char>(value); }

bool IsTwoBits(const Kind& kind) { return kind.bits == 2 && kind.DibBits() == 4; }

}  // namespace

std::vector<uint16_t> UsedSamples(const Kind& kind) {
  std::vector<uint16_t> used;
  for (unsigned i = 0; i < kind.ColourSamples(); ++i) {
    used.push_back(static_cast<uint16_t>(i));
  }
  if (kind.alpha >= 0) {
    used.push_back(static_cast<uint16_t>(kind.alpha));
  }
  return used;
}

PixelRows::PixelRows(const Kind& kind, const Table& table, uint32_t mostWidth)
    : kind_(kind), table_(table), used_(UsedSamples(kind)), width_(mostWidth) {
  if (!kind.IsDirect() && !IsTwoBits(kind)) {
    channels_.resize(used_.size() * mostWidth);
  }
}

void PixelRows::Convert(std::span<const unsigned char* const> planes, uint32_t width,
                        unsigned char* to) {
  if (kind_.IsDirect()) {
    ConvertDirect(planes[0], width, to);
    return;
  }
  if (IsTwoBits(kind_)) {
    ConvertTwoBits(planes[0], width, to);
    return;
  }
  Unpack(planes, width);
  switch (kind_.colours) {
    case Colours::kGrey:
      PutGrey(width, to);
      break;
    case Colours::kPalette:
      PutPalette(width, to);
      break;
    case Colours::kCmyk:
      PutCmyk(width, to);
      break;
    default:
      PutRgb(width, to);
  }
}

void PixelRows::ConvertDirect(const unsigned char* from, uint32_t width, unsigned char* to) const {
  if (kind_.colours == Colours::kRgb) {
    SwapChannels(from, to, width);
    return;
  }
  const auto bytes = static_cast<size_t>((uint64_t{width} * kind_.bits + 7) / 8);
  if (kind_.whiteIsZero && kind_.bits > 1) {
    std::transform(from, from + bytes, to, [](unsigned char byte) { return Byte(~byte & 0xFFU); });
  } else if (from != to) {
    std::copy_n(from, bytes, to);
  }
}

void PixelRows::ConvertTwoBits(const unsigned char* from, uint32_t width, unsigned char* to) const {
  const bool isGrey = kind_.colours == Colours::kGrey;
  const unsigned inverted = isGrey && kind_.whiteIsZero ? 3 : 0;
  const unsigned step = isGrey ? 5 : 1;
  for (uint32_t x = 0; x < width; x += 2) {
    const unsigned two = unsigned{from[x / 4]} >> (x % 4 == 0 ? 4 : 0);
    const unsigned left = ((two >> 2 & 3) ^ inverted) * step;
    const unsigned right = ((two & 3) ^ inverted) * step;
    to[x / 2] = Byte(left << 4 | right);
  }
}

void PixelRows::Unpack(std::span<const unsigned char* const> planes, uint32_t width) {
  const bool scaled = kind_.colours != Colours::kPalette;
  for (size_t i = 0; i < used_.size(); ++i) {
    const bool isIndex = !scaled && i == 0;
    const SamplePlace place = kind_.separate ? SamplePlace{kind_.bits, 1, 0}
                                             : SamplePlace{kind_.bits, kind_.samples, used_[i]};
    UnpackSamples(planes[kind_.separate ? i : 0], place, width, !isIndex,
                  channels_.data() + i * width_);
  }
}

unsigned char PixelRows::OverWhite(unsigned value, uint32_t x) const {
  if (kind_.alpha < 0) {
    return Byte(value);
  }
  const unsigned alpha = Channel(used_.size() - 1)[x];
  return kind_.premultiplied ? Byte(std::min(255U, value + 255 - alpha)) : OverWhite8(value, alpha);
}

void PixelRows::PutGrey(uint32_t width, unsigned char* to) const {
  const unsigned inverted = kind_.whiteIsZero ? 255 : 0;
  const unsigned char* grey = Channel(0);
  for (uint32_t x = 0; x < width; ++x) {
    to[x] = OverWhite(grey[x] ^ inverted, x);
  }
}

void PixelRows::PutPalette(uint32_t width, unsigned char* to) const {
  const unsigned char* index = Channel(0);
  if (kind_.alpha < 0) {
    std::copy_n(index, width, to);
    return;
  }
  for (uint32_t x = 0; x < width; ++x) {
    for (size_t channel = 0; channel < 3; ++channel) {
      *to++ = OverWhite(table_[4 * size_t{index[x]} + channel], x);
    }
  }
}

void PixelRows::PutRgb(uint32_t width, unsigned char* to) const {
  for (uint32_t x = 0; x < width; ++x) {
    for (size_t channel = 3; channel-- > 0;) {
      *to++ = OverWhite(Channel(channel)[x], x);
    }
  }
}

void PixelRows::PutCmyk(uint32_t width, unsigned char* to) const {
  const unsigned char* black = Channel(3);
  for (uint32_t x = 0; x < width; ++x) {
    for (size_t channel = 3; channel-- > 0;) {
      *to++ = OverWhite(LeftByInks(Channel(channel)[x], black[x]), x);
    }
  }
}

}  // namespace dibkit::host::tiff
