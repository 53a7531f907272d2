// SPDX-License-Identifier: Apache-2.0
//
// What Resampled gives by default: nothing of a page is lost.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <set>

#include "bitmap_builder.h"
#include "convert/few_colours.h"
#include "convert/luminance.h"
#include "convert/new_dib.h"
#include "dibkit/Cnv_res_mem.h"
#include "dibkit/host/dib_view.h"
#include "dibkit/host/errors.h"
#include "dibkit/host/left_behind.h"
#include "dibkit/host/locked_block.h"
#include "dibkit/host/resample.h"
#include "loaded_dib.h"
#include "resample/block_rows.h"
#include "resample/reduction.h"

namespace dibkit::host {
namespace {

using test::BitmapBuilder;
using Bytes = std::vector<unsigned char>;

OwnedBlock Blank(uint32_t width, uint32_t height, uint16_t bits, unsigned dpi) {
  return NewDib(width, height, bits, {PelsPerMeter(dpi), PelsPerMeter(dpi)});
}

unsigned char* RowOf(const LockedBlock& lock, uint32_t y) {
  const DibView view(lock.Bytes());
  return lock.Bytes().data() + view.Layout().rowsOffset + y * view.Layout().stride;
}

void SetTable(const LockedBlock& lock, const Bytes& table) {
  std::copy(table.begin(), table.end(), lock.Bytes().begin() + 40);
}

const Bytes kBlackAndWhite{0, 0, 0, 0, 255, 255, 255, 0};

// A page of 1 bit with lines down, or gaps between black, one pixel each, at these columns.
OwnedBlock Ruled(uint32_t width, const std::set<uint32_t>& columns, bool areGaps, unsigned dpi) {
  OwnedBlock dib = Blank(width, 3 * 7, 1, dpi);
  const LockedBlock lock(dib.get());
  SetTable(lock, kBlackAndWhite);
  for (uint32_t y = 0; y < 3 * 7; ++y) {
    unsigned char* row = RowOf(lock, y);
    for (uint32_t x = 0; x < width; ++x) {
      const bool isWhite = columns.contains(x) == areGaps;
      row[x / 8] = static_cast<unsigned char>(row[x / 8] | (isWhite ? 0x80U >> x % 8 : 0));
    }
  }
  return dib;
}

// Stretches of black, or white, pixels in the middle row.
unsigned Stretches(const OwnedBlock& bilevel, bool ofWhite) {
  const LockedBlock lock(bilevel.get());
  const DibView view(lock.Bytes());
  const auto row = view.Row(view.Height() / 2);
  unsigned count = 0;
  bool inside = false;
  for (uint32_t x = 0; x < view.Width(); ++x) {
    const bool isWhite = (row[x / 8] & 0x80U >> x % 8) != 0;
    count += isWhite == ofWhite && !inside ? 1U : 0U;
    inside = isWhite == ofWhite;
  }
  return count;
}

std::set<uint32_t> Places(uint32_t count, uint32_t spacing) {
  std::set<uint32_t> places;
  for (uint32_t i = 1; i <= count; ++i) {
    places.insert(i * spacing);
  }
  return places;
}

// Every place between two pixels that a ratio has.
constexpr uint32_t kLines = 60;
constexpr uint32_t kSpacing = 37;

TEST(RightResample, NoIsolatedLineIsLostBetweenTwoToThreeAndFourToOne) {
  unsigned pairs = 0;
  for (const unsigned dpi : {72U, 75U, 96U, 100U, 150U, 151U, 199U, 200U, 204U, 240U, 299U, 300U}) {
    for (unsigned from = (2 * dpi + 2) / 3; from <= 4 * dpi; from += dpi < 100 ? 1U : 7U) {
      const OwnedBlock page = Ruled((kLines + 1) * kSpacing, Places(kLines, kSpacing), false, from);
      ASSERT_EQ(Stretches(Resampled(page, {.dpi = dpi}), false), kLines) << from << " to " << dpi;
      ++pairs;
    }
  }
  EXPECT_GT(pairs, 900U);
}

TEST(RightResample, NoIsolatedGapIsLostBetweenTwoToThreeAndOneToTwo) {
  for (const unsigned dpi : {150U, 200U, 240U, 300U, 301U, 400U, 600U}) {
    for (unsigned from = (dpi + 1) / 2; 3 * from <= 2 * dpi; ++from) {
      const OwnedBlock page = Ruled((kLines + 1) * kSpacing, Places(kLines, kSpacing), true, from);
      ASSERT_EQ(Stretches(Resampled(page, {.dpi = dpi}), true), kLines) << from << " to " << dpi;
    }
  }
}

TEST(RightResample, LinesAcrossAreKeptLikeLinesDown) {
  for (const auto& [from, dpi] : {std::pair{300U, 200U}, std::pair{300U, 150U},
                                  std::pair{300U, 155U}, std::pair{400U, 100U}}) {
    const uint32_t height = (kLines + 1) * kSpacing;
    const OwnedBlock page = Blank(40, height, 1, from);
    {
      const LockedBlock lock(page.get());
      SetTable(lock, kBlackAndWhite);
      for (uint32_t y = 0; y < height; ++y) {
        const bool isLine = Places(kLines, kSpacing).contains(y);
        std::memset(RowOf(lock, y), isLine ? 0 : 0xFF, 5);
      }
    }
    const OwnedBlock result = Resampled(page, {.dpi = dpi});
    const LockedBlock lock(result.get());
    const DibView view(lock.Bytes());
    unsigned lines = 0;
    for (uint32_t y = 1; y < view.Height(); ++y) {
      lines += view.Row(y)[0] == 0 && view.Row(y - 1)[0] != 0 ? 1U : 0U;
    }
    EXPECT_EQ(lines, kLines) << from << " to " << dpi;
  }
}

TEST(RightResample, ThresholdsFollowTheRatio) {
  EXPECT_EQ(UsualThreshold(200, 200, 300), 127);
  EXPECT_EQ(UsualThreshold(300, 300, 300), 127);
  EXPECT_EQ(UsualThreshold(300, 300, 200), 84);
  EXPECT_EQ(UsualThreshold(300, 300, 150), 84);
  EXPECT_EQ(UsualThreshold(300, 300, 100), 84);
  EXPECT_EQ(UsualThreshold(300, 300, 204), 74);
  EXPECT_EQ(UsualThreshold(300, 300, 160), 31);
  EXPECT_EQ(UsualThreshold(115, 115, 75), 67);
  EXPECT_EQ(UsualThreshold(400, 400, 100), 63);
  EXPECT_EQ(UsualThreshold(204, 196, 100), 10);
  EXPECT_EQ(UsualThreshold(65535, 65535, 1), 1);
}

TEST(RightResample, WholeRatiosAreTheMeansOfTheirBlocks) {
  std::mt19937 random(3);
  for (const uint16_t bits : std::initializer_list<uint16_t>{8, 24}) {
    for (const unsigned side : {2U, 3U, 4U}) {
      BitmapBuilder file;
      file.bitCount = bits;
      file.width = 53;
      file.height = 41;
      file.pixels = Bytes(file.Pixels().size());
      for (unsigned char& byte : *file.pixels) {
        byte = static_cast<unsigned char>(random());
      }
      const OwnedBlock source = test::Load(file);
      const OwnedBlock result = Resampled(source, {.dpi = 300 / side});
      const LockedBlock from(source.get());
      const LockedBlock to(result.get());
      const DibView before(from.Bytes());
      const DibView after(to.Bytes());
      ASSERT_EQ(after.Width(), 53 / side);
      ASSERT_EQ(after.Height(), 41 / side);
      const unsigned channels = bits / 8;
      for (uint32_t y = 0; y < after.Height(); ++y) {
        for (uint32_t i = 0; i < after.Width() * channels; ++i) {
          uint64_t sum = 0;
          for (unsigned at = 0; at < side * side; ++at) {
            const size_t x = size_t{i / channels * side + at % side} * channels + i % channels;
            sum += before.Row(y * side + at / side)[x];
          }
          ASSERT_EQ(after.Row(y)[i], MeanLevel(sum, side * side)) << bits << " " << side;
        }
      }
    }
  }
}

// What is left of a ratio is the library's own conversion, between the resolutions that are told.
TEST(RightResample, TheRestIsTheLibrarysConversionOfTheMeans) {
  BitmapBuilder file;
  file.bitCount = 24;
  file.width = 101;
  file.height = 77;
  const OwnedBlock source = test::Load(file);
  const OwnedBlock means = Resampled(source, {.dpi = 150});
  // 300 to 120 dpi is two pixels, and 150 to 120.
  const OwnedBlock expected = Resampled(means, {.dpi = 120, .raw = true});
  const OwnedBlock result = Resampled(source, {.dpi = 120});
  const LockedBlock a(result.get());
  const LockedBlock b(expected.get());
  const DibView first(a.Bytes());
  const DibView second(b.Bytes());
  ASSERT_EQ(first.Width(), second.Width());
  ASSERT_EQ(first.Height(), second.Height());
  for (uint32_t y = 0; y < first.Height(); ++y) {
    EXPECT_TRUE(std::ranges::equal(first.Row(y), second.Row(y))) << y;
  }
}

TEST(RightResample, TheSizeIsThatOfTheConversionAlone) {
  std::mt19937 random(5);
  for (int i = 0; i < 3000; ++i) {
    const auto upTo = [&random](unsigned most) {
      return 1 + static_cast<unsigned>(random() % most);
    };
    const PixelSize size{upTo(4000), upTo(4000)};
    const unsigned dpi = upTo(700);
    const PelsPerMetre from{PelsPerMeter(upTo(2400)), PelsPerMeter(upTo(2400))};
    ResampleRequest request{.dpi = dpi, .maxPixels = ~uint64_t{0}};
    PixelSize wanted{};
    try {
      wanted = ResampledSize(size, from.x, from.y, request);
    } catch (const ImageError&) {
      continue;  // no columns, or too many
    }
    const Reduction plan = PlanReduction(size, from, dpi, request.maxPixels);
    ASSERT_GE(plan.blocks.width, 1U);
    ASSERT_GE(plan.blocks.height, 1U);
    const PixelSize made =
        ResampledSize(plan.blocks, PelsPerMeter(plan.from.x), PelsPerMeter(plan.from.y),
                      {.dpi = plan.dpi, .maxPixels = request.maxPixels});
    EXPECT_EQ(made, wanted) << size.width << " x " << size.height << " " << from.x << " " << from.y
                            << " to " << dpi;
    EXPECT_GE(uint64_t{plan.blocks.width} * plan.block.columns + plan.block.columns, size.width);
  }
}

TEST(RightResample, WithoutBlocksGreyAndTrueColourAreTheLibrarys) {
  for (const uint16_t bits : std::initializer_list<uint16_t>{8, 24}) {
    for (const unsigned dpi : {151U, 200U, 299U, 300U, 450U, 600U}) {
      BitmapBuilder file;
      file.bitCount = bits;
      file.width = 57;
      file.height = 43;
      const OwnedBlock source = test::Load(file);
      const OwnedBlock right = Resampled(source, {.dpi = dpi});
      const OwnedBlock raw = Resampled(source, {.dpi = dpi, .raw = true});
      const LockedBlock a(right.get());
      const LockedBlock b(raw.get());
      EXPECT_TRUE(std::ranges::equal(DibView(a.Bytes()).Bytes(), DibView(b.Bytes()).Bytes()))
          << bits << " " << dpi;
    }
  }
}

TEST(RightResample, TwoColoursStayTheTwoColoursThatTheyAre) {
  const Bytes red{10, 20, 200, 0};
  const Bytes yellow{0, 250, 250, 0};
  for (const bool isDarkFirst : {true, false}) {
    for (const unsigned dpi : {150U, 200U, 600U}) {
      Bytes table = isDarkFirst ? red : yellow;
      const Bytes& second = isDarkFirst ? yellow : red;
      table.insert(table.end(), second.begin(), second.end());
      const OwnedBlock page = Blank(64, 64, 1, 300);
      {
        const LockedBlock lock(page.get());
        SetTable(lock, table);
        for (uint32_t y = 0; y < 64; ++y) {
          // The left half red, the right one yellow.
          std::memset(RowOf(lock, y), isDarkFirst ? 0 : 0xFF, 4);
          std::memset(RowOf(lock, y) + 4, isDarkFirst ? 0xFF : 0, 4);
        }
      }
      const OwnedBlock result = Resampled(page, {.dpi = dpi});
      const LockedBlock lock(result.get());
      const DibView view(lock.Bytes());
      const auto colourAt = [&](uint32_t x) {
        const bool bit = (view.Row(1)[x / 8] & 0x80U >> x % 8) != 0;
        const auto entry = view.Table().subspan(bit ? 4 : 0, 4);
        return Bytes(entry.begin(), entry.end());
      };
      EXPECT_EQ(colourAt(1), red) << dpi;
      EXPECT_EQ(colourAt(view.Width() - 2), yellow) << dpi;
    }
  }
}

TEST(RightResample, GreyGivesLevelsOfEveryDepth) {
  for (const uint16_t bits : std::initializer_list<uint16_t>{1, 4, 8, 16, 24, 32}) {
    for (const unsigned dpi : {100U, 200U, 300U, 600U}) {
      BitmapBuilder file;
      file.bitCount = bits;
      file.width = file.height = 60;
      const OwnedBlock result = Resampled(test::Load(file), {.dpi = dpi, .grey = true});
      const LockedBlock lock(result.get());
      const DibView view(lock.Bytes());
      EXPECT_EQ(view.BitCount(), 8);
      EXPECT_TRUE(view.HasGreyTable());
      EXPECT_EQ(view.Width(), ResampledSize({60, 60}, 11811, 11811, {.dpi = dpi}).width);
      EXPECT_EQ(view.XPelsPerMeter(), PelsPerMeter(dpi));
    }
  }
}

TEST(RightResample, AReducedLineBecomesGreyWhereGreyIsWanted) {
  const OwnedBlock page = Ruled(300, {100}, false, 300);
  const OwnedBlock result = Resampled(page, {.dpi = 100, .grey = true});
  const LockedBlock lock(result.get());
  const DibView view(lock.Bytes());
  EXPECT_EQ(view.Row(3)[33], 170);
  EXPECT_EQ(view.Row(3)[32], 255);
}

TEST(RightResample, PalettesKeepTheColoursOfAResultWithFew) {
  const OwnedBlock page = Blank(90, 90, 8, 300);
  const Bytes colours{1, 2, 3, 0, 250, 251, 252, 0, 3, 99, 201, 0};
  {
    const LockedBlock lock(page.get());
    SetTable(lock, colours);
    for (uint32_t y = 0; y < 90; ++y) {
      for (uint32_t x = 0; x < 90; ++x) {
        RowOf(lock, y)[x] = static_cast<unsigned char>(x / 30);
      }
    }
  }
  const OwnedBlock result = Resampled(page, {.dpi = 100});
  const LockedBlock lock(result.get());
  const DibView view(lock.Bytes());
  ASSERT_EQ(view.BitCount(), 8);
  for (uint32_t x = 0; x < view.Width(); ++x) {
    const auto entry = view.Table().subspan(size_t{view.Row(5)[x]} * 4, 3);
    const auto* expected = colours.data() + x / 10 * 4;
    EXPECT_TRUE(std::equal(entry.begin(), entry.end(), expected)) << x;
  }
}

TEST(RightResample, CanBeCancelledWhileBlocksAreAveraged) {
  BitmapBuilder file;
  file.bitCount = 24;
  file.width = file.height = 400;
  const OwnedBlock source = test::Load(file);
  unsigned last = 0;
  EXPECT_THROW(Resampled(source, {.dpi = 100},
                         [&last](unsigned percent) {
                           EXPECT_GE(percent, last);
                           last = percent;
                           return percent < 40;
                         }),
               Cancelled);
  EXPECT_EQ(last, 40U);
}

TEST(RightResample, ResolutionsThatCannotBeToldTogetherAreAveragedInSquares) {
  const Reduction plan =
      PlanReduction({60000, 60000}, {PelsPerMeter(60001), PelsPerMeter(49999)}, 1000, ~0ULL);
  EXPECT_EQ(plan.block, (BlockSize{49, 49}));
  EXPECT_LE(plan.from.x, 65535U);
}

TEST(RightResample, BlocksThatHoldNoSoundImageAreRefused) {
  for (const bool raw : {false, true}) {
    const OwnedBlock tiny(GlobalAlloc(GHND, 20));
    EXPECT_THROW(Resampled(tiny, {.raw = raw}), ImageError);
  }
  // A header that claims more rows than the block has.
  for (const uint16_t bits : std::initializer_list<uint16_t>{1, 8, 16, 24, 32}) {
    const OwnedBlock image = Blank(40, 40, bits, 300);
    {
      const LockedBlock lock(image.get());
      lock.Bytes()[9] = 200;  // the second byte of the height
    }
    EXPECT_THROW(Resampled(image, {.dpi = 200}), ImageError) << bits;
    EXPECT_THROW(Resampled(image, {.dpi = 200, .raw = true}), ImageError) << bits;
  }
}

// ---- few colours

TEST(FewColours, AreAllKeptInTheirOrder) {
  const OwnedBlock page = Blank(256, 2, 24, 300);
  {
    const LockedBlock lock(page.get());
    for (uint32_t x = 0; x < 256; ++x) {
      for (unsigned channel = 0; channel < 3; ++channel) {
        RowOf(lock, 0)[x * 3 + channel] = static_cast<unsigned char>(255 - x);
        RowOf(lock, 1)[x * 3 + channel] = static_cast<unsigned char>(x);
      }
    }
  }
  const OwnedBlock result = WithFewColours(page, 256);
  ASSERT_TRUE(result);
  const LockedBlock lock(result.get());
  const DibView view(lock.Bytes());
  EXPECT_TRUE(view.HasGreyTable());
  for (uint32_t x = 0; x < 256; ++x) {
    EXPECT_EQ(view.Row(0)[x], 255 - x);
    EXPECT_EQ(view.Row(1)[x], x);
    EXPECT_EQ(view.Table()[x * 4], x);
  }
  EXPECT_FALSE(WithFewColours(page, 255));
}

TEST(FewColours, OnlyThoseThatAreUsedCount) {
  for (const uint16_t bits : std::initializer_list<uint16_t>{1, 4, 8, 16, 24, 32}) {
    BitmapBuilder file;
    file.bitCount = bits;
    file.width = 9;
    file.height = 3;
    file.pixels = Bytes(file.Pixels().size(), 0);
    const OwnedBlock result = WithFewColours(test::Load(file), 1);
    ASSERT_TRUE(result) << bits;
    const LockedBlock lock(result.get());
    EXPECT_EQ(DibView(lock.Bytes()).BitCount(), 8);
    EXPECT_EQ(DibView(lock.Bytes()).Row(2)[8], 0);
  }
}

TEST(FewColours, ThePicturesOfAllDepthsGiveTheSameBytes) {
  const OwnedBlock palette = Blank(64, 5, 8, 300);
  const OwnedBlock colours = Blank(64, 5, 24, 300);
  std::mt19937 random(9);
  {
    const LockedBlock indices(palette.get());
    const LockedBlock levels(colours.get());
    Bytes table(1024);
    for (unsigned char& level : table) {
      level = static_cast<unsigned char>(random());
    }
    SetTable(indices, table);
    for (uint32_t y = 0; y < 5; ++y) {
      for (uint32_t x = 0; x < 64; ++x) {
        const auto index = static_cast<unsigned char>(random());
        RowOf(indices, y)[x] = index;
        std::copy_n(table.begin() + index * 4, 3, RowOf(levels, y) + x * 3);
      }
    }
  }
  const OwnedBlock a = WithFewColours(palette, 256);
  const OwnedBlock b = WithFewColours(colours, 256);
  ASSERT_TRUE(a && b);
  const LockedBlock first(a.get());
  const LockedBlock second(b.get());
  EXPECT_TRUE(std::ranges::equal(DibView(first.Bytes()).Bytes(), DibView(second.Bytes()).Bytes()));
}

TEST(Luminance, KeepsEveryGreyAndTheEndsOfTheRange) {
  for (unsigned level = 0; level < 256; ++level) {
    EXPECT_EQ(Luminance(level, level, level), level);
  }
  EXPECT_EQ(Luminance(0, 0, 255), 66);
  EXPECT_EQ(Luminance(0, 255, 0), 156);
  EXPECT_EQ(Luminance(255, 0, 0), 33);
}

}  // namespace
}  // namespace dibkit::host
