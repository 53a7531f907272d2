// SPDX-License-Identifier: Apache-2.0
#include "Color.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <vector>

#include "Col_bin.h"
#include "Gray2bin.h"

namespace dibtest {
namespace {

unsigned long Rgb3(unsigned red, unsigned green, unsigned blue) {
  return red | green << 8 | blue << 16;
}

unsigned long Gray(unsigned level) { return Rgb3(level, level, level); }

using ColorFunction = unsigned long (*)(unsigned long);

constexpr ColorFunction kFunctions[] = {ColorToMono256Easy, ColorToMono256MinMax, ColorToMono256,
                                        ColorToMono16Easy,  ColorToMono16MinMax,  ColorToMono16};

TEST(Color, White) {
  for (const ColorFunction function : kFunctions) {
    EXPECT_EQ(function(0xFFFFFF), function == ColorToMono256 ? Gray(247) : Gray(255));
  }
}

TEST(Color, Black) {
  for (const ColorFunction function : kFunctions) EXPECT_EQ(function(0), 0u);
}

TEST(Color, TopBytesAreIgnored) {
  for (const ColorFunction function : kFunctions) {
    for (const unsigned long color : {0x000000UL, 0x123456UL, 0xFFFFFFUL}) {
      EXPECT_EQ(function(color | 0xFF000000UL), function(color));
      EXPECT_EQ(function(color | ~0xFFFFFFUL), function(color));
    }
  }
}

TEST(Color, PureRedAt16LevelsRoundsUp) { EXPECT_EQ(ColorToMono16(Rgb3(255, 0, 0)), Gray(68)); }

TEST(Color, Levels16AreRoundedDown) {
  EXPECT_EQ(ColorToMono16Easy(Gray(16)), Gray(0));
  EXPECT_EQ(ColorToMono16Easy(Gray(17)), Gray(17));
  EXPECT_EQ(ColorToMono16Easy(Gray(33)), Gray(17));
  EXPECT_EQ(ColorToMono16Easy(Gray(34)), Gray(34));
}

TEST(Color, ComponentsKeepTheirPlaces) {
  EXPECT_EQ(ColorToMono256(Rgb3(64, 0, 0)), Gray(16));
  EXPECT_EQ(ColorToMono256(Rgb3(0, 64, 0)), Gray(38));
  EXPECT_EQ(ColorToMono256(Rgb3(0, 0, 64)), Gray(8));
}

TEST(Color, EveryRuleOverAGridOfColors) {
  for (unsigned r = 0; r < 256; r += 3) {
    for (unsigned g = 0; g < 256; g += 3) {
      for (unsigned b = 0; b < 256; b += 3) {
        const unsigned long color = Rgb3(r, g, b);
        const unsigned mean = (r + g + b) / 3;
        const unsigned middle = (std::max({r, g, b}) + std::min({r, g, b})) / 2;
        const unsigned sum = 30 * r + 59 * g + 11 * b;
        const unsigned rounded = sum / 100 + (sum % 100 >= 50 ? 1 : 0);
        ASSERT_EQ(ColorToMono256Easy(color), Gray(mean));
        ASSERT_EQ(ColorToMono256MinMax(color), Gray(middle));
        ASSERT_EQ(ColorToMono256(color), Gray((16 * r + 38 * g + 8 * b) / 64));
        ASSERT_EQ(ColorToMono16Easy(color), Gray(mean - mean % 17));
        ASSERT_EQ(ColorToMono16MinMax(color), Gray(middle - middle % 17));
        ASSERT_EQ(ColorToMono16(color), Gray(rounded - rounded % 17));
      }
    }
  }
}

int Collect(CColorRecord record, CColorCollector& collector) {
  return GetColorsCallback(&record, reinterpret_cast<long>(&collector));
}

TEST(ColorCollector, CountsWithoutAnArray) {
  CColorCollector collector{0, nullptr};
  EXPECT_EQ(Collect({0, {}, 5}, collector), 1);
  EXPECT_EQ(Collect({0, {}, 5}, collector), 1);
  EXPECT_EQ(collector.lCount, 2);
  EXPECT_EQ(Collect({7, {}, 5}, collector), 1);
  EXPECT_EQ(collector.lCount, 2);
}

TEST(ColorCollector, CollectsEachColorOnce) {
  std::vector<uint32_t> colors(3, 99);
  CColorCollector collector{0, colors.data()};
  EXPECT_EQ(Collect({0, {1, 2}, 5}, collector), 1);
  EXPECT_EQ(Collect({0, {3, 4}, 0xFF000005}, collector), 1);
  EXPECT_EQ(Collect({0, {5, 6}, 5}, collector), 2);
  EXPECT_EQ(Collect({0, {7, 8}, 0xFF000005}, collector), 2);
  EXPECT_EQ(collector.lCount, 2);
  EXPECT_EQ(colors, (std::vector<uint32_t>{5, 0xFF000005, 99}));
}

TEST(ColorCollector, KnownColorsAreReportedBeforeTheFlagIsLookedAt) {
  std::vector<uint32_t> colors = {5, 99};
  CColorCollector collector{1, colors.data()};
  EXPECT_EQ(Collect({1, {}, 5}, collector), 2);
  EXPECT_EQ(Collect({1, {}, 6}, collector), 1);
  EXPECT_EQ(Collect({0x80000000, {}, 6}, collector), 1);
  EXPECT_EQ(collector.lCount, 1);
  EXPECT_EQ(colors, (std::vector<uint32_t>{5, 99}));
}

TEST(ColorCollector, AnEmptyArrayIsNotSearched) {
  std::vector<uint32_t> colors = {5, 6};
  CColorCollector collector{0, colors.data()};
  EXPECT_EQ(Collect({1, {}, 5}, collector), 1);
  EXPECT_EQ(collector.lCount, 0);
  EXPECT_EQ(Collect({0, {}, 6}, collector), 1);
  EXPECT_EQ(collector.lCount, 1);
  EXPECT_EQ(colors, (std::vector<uint32_t>{6, 6}));
}

TEST(BaseColors, AnswersZeroAndTouchesNothing) {
  unsigned long color = 5;
  int image = 0;
  EXPECT_EQ(GetBaseColors(nullptr, nullptr), 0);
  EXPECT_EQ(GetBaseColors(reinterpret_cast<tagHANDLE*>(&image), &color), 0);
  EXPECT_EQ(color, 5u);
  EXPECT_EQ(image, 0);
}

// Rows top to bottom.
using Grid = std::vector<int16_t>;

TEST(WeightTables, Values) {
  EXPECT_EQ(Grid(std::begin(WEIGHT_TABLE_A), std::end(WEIGHT_TABLE_A)),
            (Grid{1, 2, 3, 2, 1, 2, 5, 7, 5, 2, 3, 7, 0, 7, 3, 2, 4, 7, 4, 2, 1, 2, 3, 2, 1}));
  EXPECT_EQ(Grid(std::begin(WEIGHT_TABLE_B), std::end(WEIGHT_TABLE_B)),
            (Grid{1, 3, 2, 3, 1, 3, 7, 5, 7, 3, 2, 5, 0, 5, 2, 3, 7, 5, 7, 3, 1, 3, 2, 3, 1}));
  static_assert(sizeof(WEIGHT_TABLE_A) == 50 && sizeof(WEIGHT_TABLE_B) == 50);
}

TEST(WeightTables, SumsAndSymmetry) {
  EXPECT_EQ(std::accumulate(std::begin(WEIGHT_TABLE_A), std::end(WEIGHT_TABLE_A), 0), 78);
  EXPECT_EQ(std::accumulate(std::begin(WEIGHT_TABLE_B), std::end(WEIGHT_TABLE_B), 0), 84);
  for (int i = 0; i < 25; ++i) {
    EXPECT_EQ(WEIGHT_TABLE_B[i], WEIGHT_TABLE_B[24 - i]);
    EXPECT_EQ(WEIGHT_TABLE_A[i], WEIGHT_TABLE_A[i / 5 * 5 + 4 - i % 5]);
  }
  EXPECT_NE(WEIGHT_TABLE_A[6], WEIGHT_TABLE_A[16]);
}

TEST(WeightTables, AreWritable) {
  WEIGHT_TABLE_A[12] = 9;
  EXPECT_EQ(WEIGHT_TABLE_A[12], 9);
  WEIGHT_TABLE_A[12] = 0;
  WEIGHT_TABLE_B[12] = -9;
  EXPECT_EQ(WEIGHT_TABLE_B[12], -9);
  WEIGHT_TABLE_B[12] = 0;
}

}  // namespace
}  // namespace dibtest
