// SPDX-License-Identifier: Apache-2.0
#include "formats/png/rows.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include "bitmap/grey_table.h"
#include "formats/channels.h"
#include "formats/swap_channels.h"

namespace dibkit::host::png {
namespace {

enum class Alpha { kNone, kKey, kChannel };

// Samples of one or two bytes, the higher one first.
template <size_t kBytes>
uint32_t Sample(const unsigned char* at) {
  return kBytes == 1 ? at[0] : uint32_t{at[0]} << 8 | at[1];
}

template <size_t kBytes>
unsigned char Level(uint32_t sample) {
  return kBytes == 1 ? static_cast<unsigned char>(sample) : To8Bits(sample);
}

template <size_t kBytes>
unsigned char OverWhite(uint32_t sample, uint32_t alpha) {
  return kBytes == 1 ? OverWhite8(sample, alpha) : OverWhite16(sample, alpha);
}

// One text for all rows of 8 and 16 bits. Every pixel is read before it is written.
template <size_t kBytes, size_t kColours, Alpha kAlpha>
void MakeSamples(const unsigned char* from, unsigned char* to, uint32_t width, const Key& key) {
  constexpr size_t kChannels = kColours + (kAlpha == Alpha::kChannel ? 1 : 0);
  constexpr uint32_t kOpaque = kBytes == 1 ? 255 : 65535;
  for (uint32_t x = 0; x < width; ++x, from += kChannels * kBytes, to += kColours) {
    std::array<uint32_t, kColours> samples{};
    for (size_t i = 0; i < kColours; ++i) {
      samples[i] = Sample<kBytes>(from + i * kBytes);
    }
    uint32_t alpha = kOpaque;
    if constexpr (kAlpha == Alpha::kChannel) {
      alpha = Sample<kBytes>(from + kColours * kBytes);
    } else if constexpr (kAlpha == Alpha::kKey) {
      const bool isKey =
          samples[0] == key.red && (kColours == 1 || (samples[1 % kColours] == key.green &&
                                                      samples[2 % kColours] == key.blue));
      alpha = isKey ? 0 : kOpaque;
    }
    for (size_t i = 0; i < kColours; ++i) {
      // Blue comes first in a DIB.
      to[kColours - 1 - i] =
          alpha == kOpaque ? Level<kBytes>(samples[i]) : OverWhite<kBytes>(samples[i], alpha);
    }
  }
}

void Swap(const unsigned char* from, unsigned char* to, uint32_t width, const Key& /*key*/) {
  SwapChannels(from, to, width);
}

template <size_t kBits>
void Copy(const unsigned char* from, unsigned char* to, uint32_t width, const Key& /*key*/) {
  if (from != to) {
    std::copy_n(from, (size_t{width} * kBits + 7) / 8, to);
  }
}

// Indices of 2 bits become nibbles; kFactor 5 makes grey levels of 16 out of those of 4.
template <int kFactor>
void Spread(const unsigned char* from, unsigned char* to, uint32_t width, const Key& /*key*/) {
  for (uint32_t x = 0; x < width; x += 2) {
    const int pair = from[x / 4] >> (4 - x % 4 * 2);
    to[x / 2] = static_cast<unsigned char>(((pair >> 2 & 3) << 4 | (pair & 3)) * kFactor);
  }
}

template <size_t kBytes, size_t kColours>
auto SamplesMaker(const spng_ihdr& header, bool hasKey) {
  if ((header.color_type & 4) != 0) {
    return MakeSamples<kBytes, kColours, Alpha::kChannel>;
  }
  return hasKey ? MakeSamples<kBytes, kColours, Alpha::kKey>
                : MakeSamples<kBytes, kColours, Alpha::kNone>;
}

bool IsColour(const spng_ihdr& header) {
  return header.color_type == SPNG_COLOR_TYPE_TRUECOLOR ||
         header.color_type == SPNG_COLOR_TYPE_TRUECOLOR_ALPHA;
}

bool IsPalette(const spng_ihdr& header) { return header.color_type == SPNG_COLOR_TYPE_INDEXED; }

uint16_t DibBits(const spng_ihdr& header) {
  if (IsColour(header)) {
    return 24;
  }
  return header.bit_depth == 2 ? uint16_t{4} : std::min<uint16_t>(header.bit_depth, 8);
}

}  // namespace

Rows::Rows(const spng_ihdr& header, const spng_trns* transparency) : bitCount_(DibBits(header)) {
  const bool hasKey = transparency != nullptr && !IsPalette(header);
  if (hasKey) {
    const uint32_t mask = (uint32_t{1} << header.bit_depth) - 1;
    key_ = IsColour(header) ? Key{transparency->red & mask, transparency->green & mask,
                                  transparency->blue & mask}
                            : Key{transparency->gray & mask, 0, 0};
  }
  if (header.bit_depth == 16) {
    make_ =
        IsColour(header) ? SamplesMaker<2, 3>(header, hasKey) : SamplesMaker<2, 1>(header, hasKey);
    return;
  }
  const bool hasAlpha = (header.color_type & 4) != 0;
  inPlace_ = !hasAlpha && header.bit_depth != 2;
  if (IsColour(header)) {
    make_ = hasAlpha || hasKey ? SamplesMaker<1, 3>(header, hasKey) : Swap;
  } else if (header.bit_depth == 8) {
    make_ = hasAlpha || hasKey ? SamplesMaker<1, 1>(header, hasKey) : Copy<8>;
  } else if (header.bit_depth == 4) {
    make_ = Copy<4>;
  } else if (header.bit_depth == 2) {
    make_ = IsPalette(header) ? Spread<1> : Spread<5>;
  } else {
    make_ = Copy<1>;
  }
}

void FillTable(std::span<unsigned char> table, const spng_ihdr& header, const spng_plte* palette,
               const spng_trns* transparency) {
  if (table.empty()) {
    return;
  }
  if (palette == nullptr) {
    FillGreyTable(table);
    // Fewer than 8 bits: the transparent grey becomes white in the table, not in the pixels.
    if (transparency != nullptr && header.bit_depth < 8) {
      const size_t key = transparency->gray & ((1U << header.bit_depth) - 1);
      const size_t index = header.bit_depth == 2 ? key * 5 : key;
      std::fill_n(table.begin() + static_cast<std::ptrdiff_t>(index * 4), 3, uint8_t{255});
    }
    return;
  }
  for (size_t i = 0; i < std::min<size_t>(table.size() / 4, palette->n_entries); ++i) {
    const bool known = transparency != nullptr && i < transparency->n_type3_entries;
    const uint32_t alpha = known ? transparency->type3_alpha[i] : 255;
    const spng_plte_entry& colour = palette->entries[i];
    table[i * 4] = OverWhite8(colour.blue, alpha);
    table[i * 4 + 1] = OverWhite8(colour.green, alpha);
    table[i * 4 + 2] = OverWhite8(colour.red, alpha);
  }
}

void SpreadPixels(const unsigned char* from, unsigned char* to, uint16_t bitCount, uint32_t first,
                  uint32_t step, uint32_t count) {
  if (bitCount >= 8) {
    const size_t bytes = bitCount / 8;
    for (uint32_t i = 0; i < count; ++i) {
      std::copy_n(from + i * bytes, bytes, to + (first + size_t{i} * step) * bytes);
    }
    return;
  }
  const uint32_t perByte = 8U / bitCount;
  const uint32_t mask = (1U << bitCount) - 1;
  for (uint32_t i = 0; i < count; ++i) {
    const uint32_t x = first + i * step;
    const uint32_t pixel = uint32_t{from[i / perByte]} >> (perByte - 1 - i % perByte) * bitCount;
    to[x / perByte] |=
        static_cast<unsigned char>((pixel & mask) << (perByte - 1 - x % perByte) * bitCount);
  }
}

}  // namespace dibkit::host::png
