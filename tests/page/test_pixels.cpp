// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <optional>
#include <random>
#include <vector>

#include "bitmap_builder.h"
#include "dibkit/host/pixels.h"

namespace dibkit::host {
namespace {

using test::BitmapBuilder;
using Bytes = std::vector<unsigned char>;

Bytes Noise(size_t count) {
  std::mt19937 random(5);
  Bytes bytes(count);
  for (unsigned char& byte : bytes) {
    byte = static_cast<unsigned char>(random());
  }
  return bytes;
}

Bytes Copied(const Page& page, PixelKind kind, size_t bytesOfRow) {
  const PageRows rows = page.Rows();
  Bytes bytes(bytesOfRow * rows.Height(), 0xA5);
  CopyPixels(rows, kind, bytes.data(), 0);
  return bytes;
}

Page FileOf(uint16_t bits, const Bytes& table = {}) {
  BitmapBuilder file;
  file.bitCount = bits;
  file.width = 13;
  file.height = 3;
  if (!table.empty()) {
    file.table = table;
  }
  return Page::FromBytes(file.Build());
}

std::optional<PageFault> FaultOf(const Pixels& pixels, uint64_t maxPixels = kUsualMaxPixels) {
  try {
    PageOfPixels(pixels, {}, maxPixels);
    return std::nullopt;
  } catch (const PageError& error) {
    return error.Fault();
  }
}

TEST(PixelsOfPages, EveryKindGoesThereAndBackAtEveryWidth) {
  for (uint32_t width = 1; width <= 70; ++width) {
    const Bytes noise = Noise(size_t{3} * width * 4);
    for (const auto& [kind, channels] :
         {std::pair{PixelKind::kGrey, 1U}, std::pair{PixelKind::kRgb, 3U}}) {
      const Page page = PageOfPixels({kind, width, 4, noise.data()});
      const Bytes wanted(noise.data(), noise.data() + size_t{channels} * width * 4);
      EXPECT_EQ(Copied(page, kind, channels * width), wanted) << width;
    }
  }
}

TEST(PixelsOfPages, AnythingButZeroInAMaskIsWhite) {
  for (uint32_t width = 1; width <= 40; ++width) {
    Bytes mask = Noise(size_t{width} * 2);
    for (size_t i = 0; i < mask.size(); i += 3) {
      mask[i] = 0;
    }
    const Page page = PageOfPixels({PixelKind::kMask, width, 2, mask.data()});
    EXPECT_EQ(page.BitCount(), 1U);
    Bytes wanted;
    for (const unsigned char byte : mask) {
      wanted.push_back(byte != 0 ? 1 : 0);
    }
    EXPECT_EQ(Copied(page, PixelKind::kMask, width), wanted) << width;
    const Bytes bits = Copied(page, PixelKind::kBits, (width + 7) / 8);
    const Page again = PageOfPixels({PixelKind::kBits, width, 2, bits.data()});
    EXPECT_EQ(Copied(again, PixelKind::kMask, width), wanted) << width;
  }
}

TEST(PixelsOfPages, EveryByteOfAMaskIsToldFromZero) {
  Bytes mask(256 * 8, 0);
  for (size_t value = 0; value < 256; ++value) {
    mask[8 * value + value % 8] = static_cast<unsigned char>(value);
  }
  const Page page = PageOfPixels({PixelKind::kMask, 8, 256, mask.data()});
  const Bytes bits = Copied(page, PixelKind::kBits, 1);
  for (size_t value = 0; value < 256; ++value) {
    EXPECT_EQ(bits[value], value == 0 ? 0 : 0x80 >> value % 8) << value;
  }
}

TEST(PixelsOfPages, SpareBitsAreZeroOnBothSides) {
  const Bytes ones(2, 0xFF);
  const Page page = PageOfPixels({PixelKind::kBits, 3, 2, ones.data()});
  const PageRows rows = page.Rows();
  EXPECT_EQ(rows.Row(0)[0], 0xE0);
  EXPECT_EQ(Copied(page, PixelKind::kBits, 1), Bytes(2, 0xE0));
}

TEST(PixelsOfPages, RowsMayLieAnyhow) {
  const Bytes noise = Noise(100);
  const Page dense = PageOfPixels({PixelKind::kGrey, 5, 4, noise.data()});
  Bytes turned;
  for (int y = 3; y >= 0; --y) {
    turned.insert(turned.end(), noise.begin() + 5 * y, noise.begin() + 5 * y + 5);
    turned.push_back(77);
  }
  const Page page = PageOfPixels({PixelKind::kGrey, 5, 4, turned.data() + 18, -6});
  EXPECT_EQ(Copied(page, PixelKind::kGrey, 5), Copied(dense, PixelKind::kGrey, 5));
  Bytes out(24, 0xA5);
  CopyPixels(page.Rows(), PixelKind::kGrey, out.data() + 18, -6);
  for (size_t y = 0; y < 4; ++y) {
    turned[6 * y + 5] = 0xA5;  // what lies between the rows is left alone
  }
  EXPECT_EQ(out, turned);
}

TEST(PixelsOfPages, TakenOnesAreThoseThatACopyHas) {
  for (uint32_t width = 1; width <= 20; ++width) {
    for (uint32_t height = 1; height <= 5; ++height) {
      const Bytes rgb = Noise(size_t{3} * width * height);
      Page page = PageOfPixels({PixelKind::kRgb, width, height, rgb.data()});
      TakenPixels taken(std::move(page));
      EXPECT_EQ(taken.Width(), width);
      EXPECT_EQ(taken.Height(), height);
      EXPECT_EQ(Bytes(taken.Top(), taken.Top() + rgb.size()), rgb) << width << " x " << height;
    }
  }
  EXPECT_EQ(ReadMemoryCounters().liveBlocks, 0U);
}

TEST(PixelsOfPages, AreTakenFromPagesOf24BitsOnly) {
  Page page = FileOf(8);
  EXPECT_THROW(TakenPixels{std::move(page)}, PageError);
  EXPECT_EQ(page.Width(), 13U);
}

TEST(PixelsOfPages, TheResolutionGoesIntoTheHeader) {
  const unsigned char grey = 9;
  EXPECT_EQ(PageOfPixels({PixelKind::kGrey, 1, 1, &grey}, ResolutionOfDpi(300)).DpiX(), 300U);
  const Page page =
      PageOfPixels({PixelKind::kGrey, 1, 1, &grey}, {ResolutionUnit::kInch, {200, 1}, {100, 1}});
  EXPECT_EQ(page.DpiX(), 200U);
  EXPECT_EQ(page.DpiY(), 100U);
  EXPECT_EQ(PageOfPixels({PixelKind::kGrey, 1, 1, &grey}).DpiX(), 0U);
}

TEST(PixelsOfPages, PalettesAreTakenInRedGreenBlue) {
  const Bytes indices{1, 0, 5};
  const Bytes palette{1, 2, 3, 4, 5, 6};
  const Page page = PageOfPixels({PixelKind::kIndexed, 3, 1, indices.data(), 0, palette});
  EXPECT_EQ(Copied(page, PixelKind::kRgb, 9), (Bytes{4, 5, 6, 1, 2, 3, 0, 0, 0}));
  EXPECT_EQ(Copied(page, PixelKind::kIndexed, 3), indices);
}

TEST(PixelsOfPages, EveryDepthGivesColours) {
  for (const uint16_t bits : std::initializer_list<uint16_t>{1, 4, 8, 24, 32}) {
    Page page = FileOf(bits);
    const Bytes colours = Copied(page, PixelKind::kRgb, 39);
    page.To24();
    EXPECT_EQ(Copied(page, PixelKind::kRgb, 39), colours) << bits;
  }
}

TEST(PixelsOfPages, ChannelsOfFiveBitsReachWhite) {
  const unsigned char white[] = {255, 255, 255, 0, 128, 255};
  Page page = PageOfPixels({PixelKind::kRgb, 2, 1, white});
  page.To16();
  EXPECT_EQ(Copied(page, PixelKind::kRgb, 6), (Bytes{255, 255, 255, 0, 132, 255}));
}

TEST(PixelsOfPages, ThePlainestKindSaysAll) {
  const Bytes bytes(16, 0);
  EXPECT_EQ(PlainKind(PageOfPixels({PixelKind::kBits, 4, 4, bytes.data()}).Rows()),
            PixelKind::kMask);
  EXPECT_EQ(PlainKind(PageOfPixels({PixelKind::kGrey, 4, 4, bytes.data()}).Rows()),
            PixelKind::kGrey);
  const Bytes red{255, 0, 0};
  EXPECT_EQ(PlainKind(PageOfPixels({PixelKind::kIndexed, 4, 4, bytes.data(), 0, red}).Rows()),
            PixelKind::kRgb);
  EXPECT_EQ(PlainKind(FileOf(24).Rows()), PixelKind::kRgb);
}

TEST(PixelsOfPages, BlackAndWhiteTheOtherWayRoundIsTurned) {
  const Page page = FileOf(1, {255, 255, 255, 0, 0, 0, 0, 0});
  const Page usual = FileOf(1, {0, 0, 0, 0, 255, 255, 255, 0});
  Bytes turned = Copied(usual, PixelKind::kMask, 13);
  for (unsigned char& value : turned) {
    value = value == 0 ? 1 : 0;
  }
  EXPECT_EQ(Copied(page, PixelKind::kMask, 13), turned);
  EXPECT_EQ(Copied(page, PixelKind::kGrey, 13)[0], turned[0] * 255);
}

TEST(PixelsOfPages, KindsThatCannotSayWhatAPageDoesAreRefused) {
  Bytes out(1000);
  const auto refused = [&out](const Page& page, PixelKind kind) {
    try {
      CopyPixels(page.Rows(), kind, out.data(), 0);
      return false;
    } catch (const PageError& error) {
      return error.Fault() == PageFault::kNotHeld;
    }
  };
  EXPECT_TRUE(refused(FileOf(24), PixelKind::kGrey));
  EXPECT_TRUE(refused(FileOf(24), PixelKind::kIndexed));
  EXPECT_TRUE(refused(FileOf(8), PixelKind::kMask));
  EXPECT_TRUE(refused(FileOf(1, {0, 0, 255, 0, 0, 0, 0, 0}), PixelKind::kBits));
  EXPECT_FALSE(refused(FileOf(1), PixelKind::kIndexed));
}

TEST(PixelsOfPages, WhatIsNoImageIsRefused) {
  const Bytes bytes(768, 0);
  const unsigned char* at = bytes.data();
  EXPECT_EQ(FaultOf({PixelKind::kGrey, 0, 1, at}), PageFault::kBadArgument);
  EXPECT_EQ(FaultOf({PixelKind::kGrey, 1, 0, at}), PageFault::kBadArgument);
  EXPECT_EQ(FaultOf({PixelKind::kGrey, 1, 1, nullptr}), PageFault::kBadArgument);
  EXPECT_EQ(FaultOf({PixelKind::kGrey, 0x80000000U, 1, at}), PageFault::kBadArgument);
  EXPECT_EQ(FaultOf({PixelKind::kIndexed, 1, 1, at}), PageFault::kBadArgument);
  EXPECT_EQ(FaultOf({PixelKind::kIndexed, 1, 1, at, 0, std::span(at, 4)}), PageFault::kBadArgument);
  EXPECT_EQ(FaultOf({PixelKind::kGrey, 0x7FFFFFFFU, 0x7FFFFFFFU, at}), PageFault::kTooManyPixels);
  EXPECT_EQ(FaultOf({PixelKind::kRgb, 0x7FFFFFFFU, 0x7FFFFFFFU, at}, ~uint64_t{0}),
            PageFault::kTooLarge);
}

}  // namespace
}  // namespace dibkit::host
