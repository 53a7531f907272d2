// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <set>

#include "dibkit/Color.h"
#include "dibkit/host/conversion.h"
#include "loaded_dib.h"

namespace dibkit::test {
namespace {

using host::DibView;
using host::GreyLevels;
using host::GreyRule;
using host::ImageFault;
using host::LockedBlock;
using host::OwnedBlock;

constexpr int32_t kPels = 2835;

BitmapBuilder File(uint16_t bits) {
  BitmapBuilder file;
  file.bitCount = bits;
  file.width = 5;
  file.xPelsPerMeter = kPels;
  file.yPelsPerMeter = kPels / 2;
  return file;
}

BitmapBuilder BitFields(uint16_t bits, std::initializer_list<uint32_t> masks) {
  BitmapBuilder file = File(bits);
  file.compression = 3;
  file.masks = Words(masks);
  return file;
}

// One of every kind that a file can be, each both ways up where that exists.
std::vector<BitmapBuilder> EveryKind() {
  std::vector<BitmapBuilder> kinds;
  for (const uint16_t bits : std::initializer_list<uint16_t>{1, 2, 4, 8, 16, 24, 32}) {
    kinds.push_back(File(bits));
  }
  kinds.push_back(BitFields(16, {0xF800, 0x07E0, 0x001F}));
  kinds.push_back(BitFields(32, {0xFF000000, 0x00FF0000, 0x0000FF00}));
  for (size_t i = 0, count = kinds.size(); i < count; ++i) {
    kinds.push_back(kinds[i]);
    kinds.back().height = -3;
  }
  for (const uint16_t bits : std::initializer_list<uint16_t>{4, 8}) {
    kinds.push_back(File(bits));
    kinds.back().compression = bits == 8 ? 1 : 2;
    kinds.back().pixels = Bytes{5, 0x12, 0, 0, 3, 4, 0, 1};
  }
  return kinds;
}

std::string Name(const BitmapBuilder& file) {
  return std::to_string(file.bitCount) + " bits, compression " + std::to_string(file.compression) +
         ", height " + std::to_string(file.height);
}

void ExpectPlain(const OwnedBlock& dib, uint16_t bits) {
  const LockedBlock lock(dib.get());
  const DibView view(lock.Bytes());
  EXPECT_EQ(view.BitCount(), bits);
  EXPECT_EQ(view.Width(), 5U);
  EXPECT_EQ(view.Height(), 3U);
  EXPECT_EQ(view.XPelsPerMeter(), kPels);
  EXPECT_EQ(view.YPelsPerMeter(), kPels / 2);
  EXPECT_EQ(GlobalFlags(dib.get()), 1U);
}

TEST(ImageConversion, EveryResultIsPlainAndKeepsSizeAndResolution) {
  for (const BitmapBuilder& file : EveryKind()) {
    SCOPED_TRACE(Name(file));
    const uint16_t own = file.compression == 3 ? uint16_t{24}
                         : file.bitCount == 2  ? uint16_t{4}
                                               : file.bitCount;
    ExpectPlain(host::Normalized(Load(file)), own);
    ExpectPlain(host::To24Bits(Load(file)), 24);
    ExpectPlain(host::To16Bits(Load(file)), 16);
    ExpectPlain(host::Quantized(Load(file), 256), 8);
    ExpectPlain(host::ToGrey(Load(file), GreyRule::kEasy, GreyLevels::k256), 8);
    EXPECT_EQ(host::ReadMemoryCounters().liveBlocks, 0U);
  }
}

TEST(ImageConversion, TopDownImagesAreTheSameUpsideDown) {
  for (const BitmapBuilder& file : EveryKind()) {
    if (file.height > 0 && file.compression != 1 && file.compression != 2) {
      SCOPED_TRACE(Name(file));
      BitmapBuilder turned = file;
      turned.height = -file.height;
      const Bytes upright = RowBytes(host::To24Bits(Load(file)));
      const Bytes flipped = RowBytes(host::To24Bits(Load(turned)));
      for (size_t row = 0; row < 3; ++row) {
        EXPECT_EQ(Bytes(upright.end() - static_cast<std::ptrdiff_t>(row * 16 + 16),
                        upright.end() - static_cast<std::ptrdiff_t>(row * 16)),
                  Bytes(flipped.begin() + static_cast<std::ptrdiff_t>(row * 16),
                        flipped.begin() + static_cast<std::ptrdiff_t>(row * 16 + 16)));
      }
    }
  }
}

TEST(ImageConversion, PaletteColoursReachTheTrueColourImage) {
  BitmapBuilder file = File(2);
  file.height = -1;
  file.width = 4;
  file.table = Bytes{1, 2, 3, 0, 4, 5, 6, 0, 7, 8, 9, 0, 10, 11, 12, 0};
  file.pixels = Bytes{0x1B, 0, 0, 0};
  EXPECT_EQ(RowBytes(host::To24Bits(Load(file))), (Bytes{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}));
}

TEST(ImageConversion, SixteenBitPixelsWithoutMasksAreWidenedToWhite) {
  BitmapBuilder file = File(16);
  file.width = 4;
  file.height = 1;
  file.pixels = HalfWords({0x7FFF, 0x8000, 0x0001, 0x7C00});
  EXPECT_EQ(RowBytes(host::To24Bits(Load(file))),
            (Bytes{255, 255, 255, 0, 0, 0, 8, 0, 0, 0, 0, 255}));
  EXPECT_EQ(RowBytes(host::To16Bits(Load(file))), *file.pixels);
}

TEST(ImageConversion, BitFieldsKeepTheirBlueAt16Bits) {
  BitmapBuilder file = BitFields(32, {0xFF0000, 0xFF00, 0xFF});
  file.width = 2;
  file.height = 1;
  file.pixels = Words({0x000000FF, 0x00FF0000});
  EXPECT_EQ(RowBytes(host::To16Bits(Load(file))), HalfWords({0x001F, 0x7C00}));
  file = BitFields(16, {0xF800, 0x07E0, 0x001F});
  file.width = 2;
  file.height = 1;
  file.pixels = HalfWords({0xFFFF, 0x07E0});
  EXPECT_EQ(RowBytes(host::To16Bits(Load(file))), HalfWords({0x7FFF, 0x03E0}));
}

TEST(ImageConversion, QuantizedImagesHaveTheirColoursAndNoMoreThanAsked) {
  BitmapBuilder file = File(24);
  file.width = 4;
  file.height = 1;
  file.pixels = Bytes{0, 0, 0, 255, 0, 0, 0, 255, 0, 255, 255, 255};
  EXPECT_EQ(RowBytes(host::To24Bits(host::Quantized(Load(file), 256))), *file.pixels);
  file = File(24);
  file.width = file.height = 64;
  for (const uint16_t colors : std::initializer_list<uint16_t>{1, 2, 16, 256}) {
    const Bytes rows = RowBytes(host::Quantized(Load(file), colors));
    EXPECT_LE(std::set<int>(rows.begin(), rows.end()).size(), colors);
  }
}

struct Rule {
  GreyRule rule;
  GreyLevels levels;
  unsigned long (*function)(unsigned long);
};

constexpr Rule kRules[] = {{GreyRule::kEasy, GreyLevels::k256, ColorToMono256Easy},
                           {GreyRule::kMinMax, GreyLevels::k256, ColorToMono256MinMax},
                           {GreyRule::kLuminance, GreyLevels::k256, ColorToMono256},
                           {GreyRule::kEasy, GreyLevels::k16, ColorToMono16Easy},
                           {GreyRule::kMinMax, GreyLevels::k16, ColorToMono16MinMax},
                           {GreyRule::kLuminance, GreyLevels::k16, ColorToMono16}};

TEST(ImageConversion, GreysFollowTheLibrarysRules) {
  BitmapBuilder file = File(24);
  file.width = 40;
  file.height = 1;
  file.pixels = Bytes{255, 255, 255, 255, 0, 0, 0, 255, 0, 0, 0, 255};
  for (unsigned i = 0; i < 36 * 3; ++i) {
    file.pixels->push_back(static_cast<unsigned char>(i * 89 + i / 3 * 7));
  }
  for (const Rule& rule : kRules) {
    const Bytes greys = RowBytes(host::ToGrey(Load(file), rule.rule, rule.levels));
    const bool isRamp = rule.rule == GreyRule::kLuminance && rule.levels == GreyLevels::k256;
    for (size_t x = 0; x < 40; ++x) {
      const unsigned char* color = file.pixels->data() + 3 * x;
      if (isRamp) {
        EXPECT_EQ(greys[x], (16 * color[2] + 38 * color[1] + 8 * color[0] + 31) / 62) << x;
        continue;
      }
      const unsigned long value = color[2] | color[1] * 0x100UL | color[0] * 0x10000UL;
      EXPECT_EQ(greys[x], rule.function(value) & 0xFF) << x;
    }
  }
}

TEST(ImageConversion, GreyTablesAreTheLevelsThemselves) {
  const OwnedBlock dib = host::ToGrey(Load(File(8)), GreyRule::kMinMax, GreyLevels::k16);
  const LockedBlock lock(dib.get());
  const auto table = DibView(lock.Bytes()).Table();
  for (unsigned level = 0; level < 256; ++level) {
    const auto grey = static_cast<unsigned char>(level);
    const auto entry = table.subspan(level * 4, 4);
    EXPECT_EQ(Bytes(entry.begin(), entry.end()), (Bytes{grey, grey, grey, 0}));
  }
}

}  // namespace
}  // namespace dibkit::test
