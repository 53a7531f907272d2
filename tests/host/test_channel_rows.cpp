// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "bitmap_builder.h"
#include "convert/channel_rows.h"

namespace dibkit::host {
namespace {

using test::Bytes;

// The definition: the lowest run of the mask, over its full range, rounded; no result is half way.
unsigned LevelOf(uint32_t pixel, uint32_t mask) {
  if (mask == 0) {
    return 0;
  }
  unsigned low = 0;
  while ((mask >> low & 1) == 0) {
    ++low;
  }
  uint64_t most = 0;
  uint64_t value = 0;
  for (unsigned bit = low; bit < 32 && (mask >> bit & 1) == 1; ++bit) {
    most |= uint64_t{1} << (bit - low);
    value |= uint64_t{pixel >> bit & 1} << (bit - low);
  }
  return static_cast<unsigned>((2 * 255 * value + most) / (2 * most));
}

Bytes Expected(const std::vector<uint32_t>& pixels, const std::array<uint32_t, 3>& masks) {
  Bytes levels;
  for (const uint32_t pixel : pixels) {
    for (const size_t channel : {2U, 1U, 0U}) {
      levels.push_back(static_cast<unsigned char>(LevelOf(pixel, masks[channel])));
    }
  }
  return levels;
}

// Behind the row stand bytes that must stay.
Bytes Widened(const std::vector<uint32_t>& pixels, unsigned bytes,
              const std::array<uint32_t, 3>& masks) {
  constexpr unsigned char kGuard = 0xA5;
  Bytes row;
  for (const uint32_t pixel : pixels) {
    for (unsigned i = 0; i < bytes; ++i) {
      row.push_back(static_cast<unsigned char>(pixel >> 8 * i));
    }
  }
  Bytes out(pixels.size() * 3 + 8, kGuard);
  const Channels channels{ChannelOf(masks[2]), ChannelOf(masks[1]), ChannelOf(masks[0])};
  (bytes == 2 ? WidenRow16 : WidenRow32)(row.data(), out.data(), pixels.size(), channels);
  EXPECT_EQ(Bytes(out.end() - 8, out.end()), Bytes(8, kGuard));
  out.resize(pixels.size() * 3);
  return out;
}

std::vector<uint32_t> AllWords() {
  std::vector<uint32_t> words(65536);
  for (uint32_t i = 0; i < words.size(); ++i) {
    words[i] = i;
  }
  return words;
}

TEST(ChannelRows, EveryWordOfEveryUsualMaskIsRoundedToItsFullRange) {
  const auto words = AllWords();
  for (const std::array<uint32_t, 3>& masks : {std::array<uint32_t, 3>{0x7C00, 0x03E0, 0x001F},
                                               {0xF800, 0x07E0, 0x001F},
                                               {0x0F00, 0x00F0, 0x000F},
                                               {0x30, 0x0E, 0x01},
                                               {0x1F, 0x7E0, 0xF800}}) {
    EXPECT_EQ(Widened(words, 2, masks), Expected(words, masks));
  }
}

TEST(ChannelRows, RunsOfEveryLengthAreRoundedToTheirFullRange) {
  const auto words = AllWords();
  for (unsigned bits = 1; bits <= 16; ++bits) {
    const uint32_t mask = (1U << bits) - 1;
    const std::array<uint32_t, 3> masks{mask, mask << (16 - bits), mask};
    EXPECT_EQ(Widened(words, 2, masks), Expected(words, masks)) << bits;
  }
}

TEST(ChannelRows, LongRunsOf32BitPixelsAreRoundedToTheirFullRange) {
  std::mt19937 random(7);
  for (unsigned bits = 1; bits <= 32; ++bits) {
    const auto mask = static_cast<uint32_t>((uint64_t{1} << bits) - 1);
    std::vector<uint32_t> pixels{0, mask, mask - 1, 0xFFFFFFFF};
    for (uint64_t level = 0; level < 255; ++level) {  // on both sides of where a level begins
      const auto edge = static_cast<uint32_t>((2 * level + 1) * mask / 510);
      pixels.insert(pixels.end(), {edge - 1, edge, edge + 1});
    }
    for (int i = 0; i < 5000; ++i) {
      pixels.push_back(static_cast<uint32_t>(random()));
    }
    const std::array<uint32_t, 3> masks{mask, mask << (32 - bits), mask};
    EXPECT_EQ(Widened(pixels, 4, masks), Expected(pixels, masks)) << bits;
  }
}

TEST(ChannelRows, AnyMasksAtAllAreHarmless) {
  std::mt19937 random(11);
  for (int turn = 0; turn < 2000; ++turn) {
    const auto word = [&] { return static_cast<uint32_t>(random()); };
    const std::array<uint32_t, 3> masks{word() & word(), turn % 3 == 0 ? 0 : word() | word(),
                                        word()};
    std::vector<uint32_t> pixels(static_cast<size_t>(turn % 40));
    for (uint32_t& pixel : pixels) {
      pixel = word();
    }
    ASSERT_EQ(Widened(pixels, 4, masks), Expected(pixels, masks)) << turn;
  }
}

// The top bits of bytes, with all kinds of bits below.
TEST(RowStretcher, BringsEveryLevelOfEveryNumberOfBitsToItsFullRange) {
  for (unsigned bits = 0; bits <= 8; ++bits) {
    const uint32_t mask = 0xFFU << (8 - bits) & 0xFF;
    const unsigned others = bits % 8 + 1;
    const RowStretcher stretcher({{0, others}, {0, bits}, {0, 8}});
    EXPECT_EQ(stretcher.Changes(), others != 8 || (bits != 0 && bits != 8));
    Bytes row(256 * 3);
    for (unsigned level = 0; level < 256; ++level) {
      row[level * 3] = row[level * 3 + 1] = row[level * 3 + 2] = static_cast<unsigned char>(level);
    }
    stretcher.Stretch(row.data(), 256);
    for (unsigned level = 0; level < 256; ++level) {
      ASSERT_EQ(row[level * 3], LevelOf(level, 0xFFU << (8 - others) & 0xFF));
      ASSERT_EQ(row[level * 3 + 1], LevelOf(level, mask)) << bits << " bits, " << level;
      ASSERT_EQ(row[level * 3 + 2], level);
    }
  }
}

TEST(RowStretcher, LeavesAloneWhatHas8BitsOrNone) {
  EXPECT_FALSE(RowStretcher({{0, 8}, {8, 8}, {16, 8}}).Changes());
  EXPECT_FALSE(RowStretcher({{0, 0}, {8, 8}, {16, 8}}).Changes());
}

TEST(RowStretcher, EndsWhereTheRowDoes) {
  const RowStretcher stretcher({{0, 5}, {0, 6}, {0, 3}});
  for (size_t width = 0; width < 100; ++width) {
    Bytes row(width * 3 + 60, 0xE8);
    stretcher.Stretch(row.data(), width);
    for (size_t x = 0; x < width; ++x) {
      ASSERT_EQ(Bytes(row.begin() + static_cast<std::ptrdiff_t>(3 * x),
                      row.begin() + static_cast<std::ptrdiff_t>(3 * x + 3)),
                (Bytes{239, 235, 255}));
    }
    ASSERT_EQ(Bytes(row.begin() + static_cast<std::ptrdiff_t>(3 * width), row.end()),
              Bytes(60, 0xE8));
  }
}

}  // namespace
}  // namespace dibkit::host
