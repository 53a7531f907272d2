// SPDX-License-Identifier: Apache-2.0
//
// What a page becomes for a recogniser, and what it becomes with each option that is right by
// default.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "dibkit/host/global_memory.h"
#include "dibkit/host/page.h"
#include "loaded_dib.h"

namespace dibkit::host {
namespace {

using test::BitmapBuilder;
using test::Bytes;

class PreparedPages : public testing::Test {
 protected:
  void TearDown() override { EXPECT_EQ(ReadMemoryCounters().liveBlocks, 0U); }
};

// Random pixels, black and white at 1 bit.
Page RandomPage(uint16_t bits, unsigned dpi, int32_t width = 61, int32_t height = 47) {
  BitmapBuilder file;
  file.bitCount = bits;
  file.width = width;
  file.height = height;
  file.pixels = file.Pixels();
  std::mt19937 random(bits + dpi);
  for (unsigned char& byte : *file.pixels) {
    byte = static_cast<unsigned char>(random());
  }
  Page page = Page::FromBytes(file.Build());
  page.SetDpi(dpi);
  return page;
}

Bytes BlockOf(const Page& page) {
  const LockedBlock lock(page.Handle());
  const auto bytes = DibView(lock.Bytes()).Bytes();
  return Bytes(bytes.begin(), bytes.end());
}

// Rows of levels from the top.
std::vector<std::vector<int>> LevelsOf(const Page& grey) {
  const PageRows rows = grey.Rows();
  std::vector<std::vector<int>> levels;
  for (uint32_t y = 0; y < rows.Height(); ++y) {
    const auto row = rows.Row(y).first(rows.Width());
    levels.emplace_back(row.begin(), row.end());
  }
  return levels;
}

int Clamped(const std::vector<std::vector<int>>& levels, int y, int x) {
  const int row = std::clamp(y, 0, static_cast<int>(levels.size()) - 1);
  const auto& line = levels[static_cast<size_t>(row)];
  return line[static_cast<size_t>(std::clamp(x, 0, static_cast<int>(line.size()) - 1))];
}

// The weights 1, 6, 1 on both axes, pixel by pixel.
int Smoothed(const std::vector<std::vector<int>>& levels, int y, int x) {
  constexpr int kWeights[] = {1, 6, 1};
  int sum = 32;
  for (int row = 0; row < 3; ++row) {
    for (int column = 0; column < 3; ++column) {
      sum += kWeights[row] * kWeights[column] * Clamped(levels, y + row - 1, x + column - 1);
    }
  }
  return sum / 64;
}

TEST_F(PreparedPages, FollowTheTableOfMeasuredRecognition) {
  const auto is = [](bool resamples, bool smooths) { return Preparation{resamples, smooths}; };
  for (const unsigned bits : {8U, 24U}) {
    EXPECT_EQ(PreparationFor(bits, 75, 75, 300), is(true, false));
    EXPECT_EQ(PreparationFor(bits, 199, 199, 300), is(true, false));
    EXPECT_EQ(PreparationFor(bits, 200, 200, 300), is(false, false));
    EXPECT_EQ(PreparationFor(bits, 300, 300, 300), is(false, false));
    EXPECT_EQ(PreparationFor(bits, 599, 599, 300), is(false, false));
    EXPECT_EQ(PreparationFor(bits, 600, 600, 300), is(true, false));
  }
  EXPECT_EQ(PreparationFor(1, 149, 149, 300), is(true, true));
  EXPECT_EQ(PreparationFor(1, 199, 199, 300), is(true, true));
  EXPECT_EQ(PreparationFor(1, 200, 200, 300), is(false, false));
  EXPECT_EQ(PreparationFor(1, 600, 600, 300), is(true, false));
  // Fax pages, whose pixels are twice as high as wide.
  EXPECT_EQ(PreparationFor(1, 204, 98, 300), is(true, true));
  EXPECT_EQ(PreparationFor(1, 480, 240, 300), is(true, false));
  EXPECT_EQ(PreparationFor(1, 65535, 65535, 65535), is(false, false));
}

TEST_F(PreparedPages, ThoseThatAreBetterLeftAloneAreLeftAlone) {
  for (const uint16_t bits : std::initializer_list<uint16_t>{1, 4, 8, 16, 24, 32}) {
    for (const unsigned dpi : {200U, 300U, 400U}) {
      Page page = RandomPage(bits, dpi);
      const Bytes before = BlockOf(page);
      page.Prepare();
      EXPECT_EQ(BlockOf(page), before);
      EXPECT_EQ(page.DpiX(), dpi);
    }
  }
}

TEST_F(PreparedPages, OthersAreResampled) {
  for (const uint16_t bits : std::initializer_list<uint16_t>{1, 8, 24}) {
    for (const unsigned dpi : {150U, 600U}) {
      if (bits == 1 && dpi == 150) {
        continue;  // smoothed
      }
      Page page = RandomPage(bits, dpi);
      Page expected = RandomPage(bits, dpi);
      page.Prepare();
      expected.Resample({.dpi = 300});
      EXPECT_EQ(BlockOf(page), BlockOf(expected)) << bits << " " << dpi;
      EXPECT_EQ(page.DpiX(), 300U);
    }
  }
}

TEST_F(PreparedPages, CoarsePagesOfOneBitAreSmoothedFirst) {
  for (const auto& [width, height] :
       {std::pair{61, 47}, std::pair{1, 1}, std::pair{2, 9}, std::pair{40, 1}, std::pair{1, 30}}) {
    Page page = RandomPage(1, 100, width, height);
    Page smooth = RandomPage(1, 100, width, height);
    smooth.Resample({.dpi = 100, .grey = true});
    const auto levels = LevelsOf(smooth);
    // At the third part of 300 dpi every third pixel is one of the page's own.
    page.Prepare();
    ASSERT_EQ(page.BitCount(), 8U);
    const auto prepared = LevelsOf(page);
    const int last = static_cast<int>(prepared.size()) - 1;
    for (int y = 0; y < height; ++y) {
      for (int x = 0; x < width; ++x) {
        // Rows are counted from the bottom while they are resampled.
        const size_t at = static_cast<size_t>(last - 3 * (height - 1 - y));
        ASSERT_EQ(prepared[at][static_cast<size_t>(3 * x)], Smoothed(levels, y, x))
            << x << " " << y;
      }
    }
  }
}

TEST_F(PreparedPages, TakeTheResolutionThatIsTold) {
  Page page = RandomPage(8, 72);
  page.Prepare({.fromDpi = 300});
  EXPECT_EQ(page.Width(), 61U);
  EXPECT_EQ(page.DpiX(), 300U);
  Page coarse = RandomPage(8, 300);
  coarse.Prepare({.dpi = 400, .fromDpi = 100});
  EXPECT_EQ(coarse.Width(), 244U);
  EXPECT_EQ(coarse.DpiX(), 400U);
}

TEST_F(PreparedPages, AFailureLeavesThePageAsItWas) {
  const auto faultOf = [](Page& page, const PrepareOptions& options, const ProgressHook& hook) {
    try {
      page.Prepare(options, hook);
    } catch (const PageError& error) {
      return error.Fault();
    }
    return PageFault::kFile;
  };
  BitmapBuilder file;
  file.xPelsPerMeter = file.yPelsPerMeter = 0;
  Page page = Page::FromBytes(file.Build());
  const Bytes before = BlockOf(page);
  EXPECT_EQ(faultOf(page, {}, nullptr), PageFault::kNoResolution);
  EXPECT_EQ(faultOf(page, {.dpi = 0}, nullptr), PageFault::kBadArgument);
  EXPECT_EQ(faultOf(page, {.fromDpi = 70000}, nullptr), PageFault::kBadArgument);
  EXPECT_EQ(faultOf(page, {.fromDpi = 100, .maxPixels = 5}, nullptr), PageFault::kTooManyPixels);
  EXPECT_EQ(faultOf(page, {.fromDpi = 100}, [](unsigned) { return false; }), PageFault::kCancelled);
  EXPECT_EQ(BlockOf(page), before);
  Page raw = Page::FromBytes(file.Build(), {.raw = true});
  EXPECT_EQ(faultOf(raw, {.fromDpi = 100}, nullptr), PageFault::kBadArgument);
}

TEST_F(PreparedPages, RawAndGreyCannotBothBe) {
  Page page = RandomPage(1, 300);
  EXPECT_THROW(page.Resample({.grey = true, .raw = true}), PageError);
}

TEST_F(PreparedPages, QuantizeKeepsFewColoursUnlessRaw) {
  Page few = RandomPage(8, 300);
  const auto before = LevelsOf(few);
  few.Quantize();
  const PageRows rows = few.Rows();
  for (uint32_t y = 0; y < rows.Height(); ++y) {
    for (uint32_t x = 0; x < rows.Width(); ++x) {
      ASSERT_EQ(rows.Table()[size_t{rows.Row(y)[x]} * 4], before[y][x]);
    }
  }
  Page raw = RandomPage(8, 300);
  raw.Quantize({.raw = true});
  EXPECT_NE(BlockOf(raw), BlockOf(few));
}

}  // namespace
}  // namespace dibkit::host
