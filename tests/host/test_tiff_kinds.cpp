// SPDX-License-Identifier: Apache-2.0
//
// Every kind of TIFF pixels, from files made by hand.
#include <gtest/gtest.h>

#include <algorithm>

#include "dibkit/host/dib_view.h"
#include "dibkit/host/locked_block.h"
#include "image_pages.h"
#include "tiff_builder.h"

namespace dibkit::host {
namespace {

using test::Bytes;
using test::Colours;
using test::kTiffLong;
using test::kTiffShort;
using test::PlainPage;
using test::ReadPage;
using test::SeparatePage;
using test::SomeSamples;
using test::TiffBuilder;
using test::TiffPage;
using test::TiffSamples;
using test::TiledPage;

constexpr uint16_t kWhiteIsZero = 0;
constexpr uint16_t kBlackIsZero = 1;
constexpr uint16_t kRgb = 2;
constexpr uint16_t kPalette = 3;
constexpr uint16_t kCmyk = 5;

constexpr uint16_t kOrientation = 274;
constexpr uint16_t kFillOrder = 266;
constexpr uint16_t kColourMap = 320;
constexpr uint16_t kExtraSamples = 338;
constexpr uint64_t kPremultiplied = 1;
constexpr uint64_t kPlainAlpha = 2;

Bytes FileOf(const TiffPage& page, bool bigEndian = false, bool big = false) {
  return TiffBuilder{bigEndian, big, {page}, {}}.Build();
}

uint32_t Scaled(uint32_t value, unsigned bits) {
  const uint64_t most = (uint64_t{1} << bits) - 1;
  return static_cast<uint32_t>((value * uint64_t{255} + most / 2) / most);
}

std::vector<uint32_t> Greys(const std::vector<uint32_t>& samples, unsigned bits, bool inverted) {
  std::vector<uint32_t> colours;
  for (const uint32_t sample : samples) {
    const uint32_t grey = Scaled(sample, bits);
    colours.push_back((inverted ? 255 - grey : grey) * 0x010101);
  }
  return colours;
}

std::vector<uint32_t> Triples(const std::vector<uint32_t>& samples, unsigned bits,
                              unsigned perPixel) {
  std::vector<uint32_t> colours;
  for (size_t i = 0; i < samples.size(); i += perPixel) {
    colours.push_back(Scaled(samples[i], bits) << 16 | Scaled(samples[i + 1], bits) << 8 |
                      Scaled(samples[i + 2], bits));
  }
  return colours;
}

TiffSamples Image(uint32_t width, uint32_t height, unsigned bits, unsigned samples,
                  uint16_t photometric) {
  return {width,   height,      bits,
          samples, photometric, SomeSamples(size_t{width} * height * samples, bits)};
}

unsigned GreyDepth(unsigned bits) {
  if (bits == 1) {
    return 1;
  }
  return bits == 2 || bits == 4 ? 4 : 8;
}

TEST(TiffKinds, GreysOfEveryDepthAndBothSenses) {
  for (const unsigned bits : {1U, 2U, 3U, 4U, 5U, 6U, 7U, 8U, 10U, 12U, 14U, 16U, 32U}) {
    for (const uint16_t sense : {kWhiteIsZero, kBlackIsZero}) {
      for (const bool bigEndian : {false, true}) {
        const TiffSamples image = Image(13, 5, bits, 1, sense);
        const PageImage page = ReadPage(FileOf(PlainPage(image, bigEndian), bigEndian));
        EXPECT_EQ(Colours(page.dib), Greys(image.values, bits, sense == kWhiteIsZero))
            << bits << " bits, sense " << sense << ", big-endian " << bigEndian;
        EXPECT_EQ(test::BitCountOf(page.dib), GreyDepth(bits));
        EXPECT_TRUE(test::HasGreyTable(page.dib));
      }
    }
  }
}

TEST(TiffKinds, BilevelPagesKeepTheirBits) {
  for (const uint16_t sense : {kWhiteIsZero, kBlackIsZero}) {
    const TiffSamples image{8, 1, 1, 1, sense, {1, 0, 0, 1, 1, 1, 0, 1}};
    const PageImage page = ReadPage(FileOf(PlainPage(image)));
    const LockedBlock lock(page.dib.get());
    const DibView view(lock.Bytes());
    EXPECT_EQ(view.Row(0)[0], 0x9D);
    EXPECT_EQ(view.Table()[0], sense == kWhiteIsZero ? 255 : 0);
    EXPECT_EQ(view.Table()[4], sense == kWhiteIsZero ? 0 : 255);
  }
}

TEST(TiffKinds, GreyTablesRiseEvenly) {
  for (const uint16_t sense : {kWhiteIsZero, kBlackIsZero}) {
    for (const unsigned bits : {2U, 4U, 8U, 16U}) {
      const PageImage page = ReadPage(FileOf(PlainPage(Image(9, 2, bits, 1, sense))));
      const LockedBlock lock(page.dib.get());
      const DibView view(lock.Bytes());
      const size_t last = view.Table().size() / 4 - 1;
      for (size_t i = 0; i <= last; ++i) {
        EXPECT_EQ(view.Table()[4 * i], 255 * i / last);
      }
    }
  }
}

// Three columns of 2^bits values.
std::vector<uint64_t> ColourMap(unsigned bits, unsigned step) {
  std::vector<uint64_t> map;
  for (const uint32_t value : SomeSamples(size_t{3} << bits, 8)) {
    map.push_back(value * step);
  }
  return map;
}

std::vector<uint32_t> Looked(const std::vector<uint32_t>& indexes, unsigned bits,
                             const std::vector<uint64_t>& map, unsigned step) {
  const size_t entries = size_t{1} << bits;
  std::vector<uint32_t> colours;
  for (const uint32_t index : indexes) {
    colours.push_back(static_cast<uint32_t>(map[index] / step << 16 |
                                            map[entries + index] / step << 8 |
                                            map[2 * entries + index] / step));
  }
  return colours;
}

TEST(TiffKinds, PalettesOfEveryDepthAndScale) {
  for (const unsigned bits : {1U, 2U, 4U, 8U}) {
    // 16-bit values; 8-bit ones as old writers leave them; 8 bits in the high byte.
    for (const unsigned step : {257U, 1U, 256U}) {
      const TiffSamples image = Image(11, 4, bits, 1, kPalette);
      const std::vector<uint64_t> map = ColourMap(bits, step);
      TiffPage page = PlainPage(image);
      page.Set(kColourMap, kTiffShort, map);
      const PageImage read = ReadPage(FileOf(page));
      EXPECT_EQ(Colours(read.dib), Looked(image.values, bits, map, step))
          << bits << " bits, step " << step;
      EXPECT_EQ(test::BitCountOf(read.dib), bits == 2 ? 4 : bits);
    }
  }
}

TEST(TiffKinds, RoundsColourMapsToNearest) {
  const TiffSamples image{2, 1, 1, 1, kPalette, {0, 1}};
  TiffPage page = PlainPage(image);
  page.Set(kColourMap, kTiffShort, {128, 129, 0xFFFF, 0xFF80, 0xFF7E, 0x8000});
  EXPECT_EQ(Colours(ReadPage(FileOf(page)).dib), (std::vector<uint32_t>{0x00FFFE, 0x01FF80}));
}

TEST(TiffKinds, RoundsEvery16BitValueToNearest) {
  TiffSamples image{256, 256, 16, 1, kBlackIsZero, std::vector<uint32_t>(65536)};
  std::vector<uint32_t> expected;
  for (uint32_t value = 0; value < 65536; ++value) {
    image.values[value] = value;
    expected.push_back((value * 255 + 32767) / 65535 * 0x010101);
  }
  EXPECT_EQ(Colours(ReadPage(FileOf(PlainPage(image))).dib), expected);
}

TEST(TiffKinds, ColoursOf8And16AndOtherBits) {
  for (const unsigned bits : {4U, 8U, 12U, 16U, 32U}) {
    for (const unsigned samples : {3U, 4U, 5U}) {
      const TiffSamples image = Image(9, 7, bits, samples, kRgb);
      TiffPage page = PlainPage(image);
      page.Set(kExtraSamples, kTiffShort, std::vector<uint64_t>(samples - 3, 0));
      if (samples == 3) {
        page.Remove(kExtraSamples);
      }
      EXPECT_EQ(Colours(ReadPage(FileOf(page)).dib), Triples(image.values, bits, samples))
          << bits << " bits, " << samples << " samples";
    }
  }
}

uint32_t OverWhite(uint32_t value, uint32_t alpha, uint64_t type) {
  return type == kPremultiplied ? std::min(255U, value + 255 - alpha)
                                : (value * alpha + 255 * (255 - alpha) + 127) / 255;
}

TEST(TiffKinds, LaysAlphaOverWhite) {
  for (const uint64_t type : {kPremultiplied, kPlainAlpha}) {
    for (const unsigned bits : {8U, 16U}) {
      const TiffSamples image = Image(9, 7, bits, 4, kRgb);
      TiffPage page = PlainPage(image);
      page.Set(kExtraSamples, kTiffShort, {type});
      std::vector<uint32_t> expected;
      for (size_t i = 0; i < image.values.size(); i += 4) {
        uint32_t colour = 0;
        for (size_t channel = 0; channel < 3; ++channel) {
          colour = colour << 8 | OverWhite(Scaled(image.values[i + channel], bits),
                                           Scaled(image.values[i + 3], bits), type);
        }
        expected.push_back(colour);
      }
      EXPECT_EQ(Colours(ReadPage(FileOf(page)).dib), expected) << type << " " << bits;
    }
  }
}

TEST(TiffKinds, GreyWithAlphaStaysGrey) {
  const TiffSamples image{3, 1, 8, 2, kBlackIsZero, {100, 255, 100, 0, 100, 128}};
  TiffPage page = PlainPage(image);
  page.Set(kExtraSamples, kTiffShort, {kPlainAlpha});
  const PageImage read = ReadPage(FileOf(page));
  EXPECT_EQ(Colours(read.dib), (std::vector<uint32_t>{0x646464, 0xFFFFFF, 0xB1B1B1}));
  EXPECT_EQ(test::BitCountOf(read.dib), 8U);
}

TEST(TiffKinds, PalettesWithAlphaBecomeColours) {
  const TiffSamples image{2, 1, 8, 2, kPalette, {3, 255, 3, 0}};
  TiffPage page = PlainPage(image);
  const std::vector<uint64_t> map = ColourMap(8, 257);
  page.Set(kExtraSamples, kTiffShort, {kPlainAlpha}).Set(kColourMap, kTiffShort, map);
  EXPECT_EQ(Colours(ReadPage(FileOf(page)).dib),
            (std::vector<uint32_t>{Looked({3}, 8, map, 257)[0], 0xFFFFFF}));
}

TEST(TiffKinds, InksByTheSimpleRule) {
  for (const unsigned bits : {8U, 16U}) {
    const TiffSamples image = Image(6, 6, bits, 4, kCmyk);
    std::vector<uint32_t> expected;
    for (size_t i = 0; i < image.values.size(); i += 4) {
      const uint32_t black = Scaled(image.values[i + 3], bits);
      uint32_t colour = 0;
      for (size_t channel = 0; channel < 3; ++channel) {
        const uint32_t ink = Scaled(image.values[i + channel], bits);
        colour = colour << 8 | ((255 - ink) * (255 - black) + 127) / 255;
      }
      expected.push_back(colour);
    }
    EXPECT_EQ(Colours(ReadPage(FileOf(PlainPage(image))).dib), expected);
  }
}

TEST(TiffKinds, PlanesAndTilesOfEveryKind) {
  struct Case {
    unsigned bits;
    unsigned samples;
    uint16_t photometric;
  };
  for (const Case& c : {Case{1, 1, kWhiteIsZero}, Case{2, 1, kBlackIsZero},
                        Case{4, 1, kWhiteIsZero}, Case{8, 1, kBlackIsZero}, Case{8, 3, kRgb},
                        Case{16, 3, kRgb}, Case{8, 4, kCmyk}, Case{12, 3, kRgb}}) {
    for (const bool bigEndian : {false, true}) {
      const TiffSamples image = Image(45, 37, c.bits, c.samples, c.photometric);
      const auto expected = Colours(ReadPage(FileOf(PlainPage(image, bigEndian), bigEndian)).dib);
      for (const TiffPage& page :
           {SeparatePage(image, 37, bigEndian), SeparatePage(image, 10, bigEndian),
            TiledPage(image, 16, false, bigEndian), TiledPage(image, 16, true, bigEndian),
            TiledPage(image, 64, false, bigEndian)}) {
        EXPECT_EQ(Colours(ReadPage(FileOf(page, bigEndian)).dib), expected)
            << c.bits << " bits, " << c.samples << " samples";
      }
    }
  }
}

TEST(TiffKinds, BigFiles) {
  for (const bool bigEndian : {false, true}) {
    const TiffSamples image = Image(13, 5, 16, 3, kRgb);
    EXPECT_EQ(Colours(ReadPage(FileOf(PlainPage(image, bigEndian), bigEndian, true)).dib),
              Triples(image.values, 16, 3));
  }
}

TEST(TiffKinds, BothOrdersOfBits) {
  const TiffSamples image = Image(29, 3, 1, 1, kWhiteIsZero);
  TiffPage page = PlainPage(image);
  page.Set(kFillOrder, kTiffShort, {2});
  for (unsigned char& byte : page.segments[0]) {
    unsigned reversed = 0;
    for (unsigned bit = 0; bit < 8; ++bit) {
      reversed |= (unsigned{byte} >> bit & 1U) << (7 - bit);
    }
    byte = static_cast<unsigned char>(reversed);
  }
  EXPECT_EQ(Colours(ReadPage(FileOf(page)).dib), Greys(image.values, 1, true));
}

// By where the names of the orientations put the first row and the first column.
std::vector<uint32_t> Upright(const std::vector<uint32_t>& stored, uint32_t width, uint32_t height,
                              unsigned orientation) {
  const uint32_t across = orientation >= 5 ? height : width;
  std::vector<uint32_t> upright(stored.size());
  for (uint32_t y = 0; y < height; ++y) {
    for (uint32_t x = 0; x < width; ++x) {
      const uint32_t right = width - 1 - x;
      const uint32_t bottom = height - 1 - y;
      const uint32_t to[9][2] = {{},     {x, y},      {right, y},      {right, bottom}, {x, bottom},
                                 {y, x}, {bottom, x}, {bottom, right}, {y, right}};
      upright[size_t{to[orientation][1]} * across + to[orientation][0]] =
          stored[size_t{y} * width + x];
    }
  }
  return upright;
}

TEST(TiffKinds, EveryOrientationInStripsAndTiles) {
  for (const unsigned bits : {1U, 4U, 8U, 16U}) {
    const unsigned samples = bits >= 8 ? 3 : 1;
    const TiffSamples image = Image(83, 71, bits, samples, samples == 3 ? kRgb : kBlackIsZero);
    const auto stored = Colours(ReadPage(FileOf(PlainPage(image))).dib);
    for (unsigned orientation = 1; orientation <= 8; ++orientation) {
      for (TiffPage page :
           {PlainPage(image), SeparatePage(image, 9), TiledPage(image, 48, false)}) {
        page.Set(kOrientation, kTiffShort, {orientation})
            .Set(282, test::kTiffRational, {300, 1})
            .Set(283, test::kTiffRational, {600, 7});
        const Bytes file = FileOf(page);
        const PageImage read = ReadPage(file);
        EXPECT_EQ(Colours(read.dib), Upright(stored, 83, 71, orientation))
            << bits << " bits, orientation " << orientation;
        const bool turned = orientation >= 5;
        EXPECT_EQ(read.metadata.resolution.x, turned ? (Rational{600, 7}) : (Rational{300, 1}));
        EXPECT_EQ(read.metadata.resolution.y, turned ? (Rational{300, 1}) : (Rational{600, 7}));
        const PageDescription told = test::OpenBytes(file)->Describe(0);
        EXPECT_EQ(told.orientation, orientation);
        EXPECT_EQ(told.width, turned ? 71U : 83U);
        EXPECT_EQ(told.resolution, read.metadata.resolution);
      }
    }
  }
}

TEST(TiffKinds, DescribesWhatItReads) {
  TiffPage page = PlainPage(Image(5, 4, 16, 4, kRgb));
  page.Set(kExtraSamples, kTiffShort, {kPlainAlpha});
  const Bytes file = FileOf(page);
  const PageDescription told = test::OpenBytes(file)->Describe(0);
  EXPECT_EQ(told.width, 5U);
  EXPECT_EQ(told.height, 4U);
  EXPECT_EQ(told.storedBits, 64U);
  EXPECT_EQ(told.bitCount, 24U);
  EXPECT_EQ(told.colour, "RGB + alpha");
  EXPECT_EQ(told.compression, Compression::kNone);
  EXPECT_EQ(told.compressionText, "none");
  EXPECT_FALSE(told.hasProfile);
  EXPECT_EQ(told.resolution.unit, ResolutionUnit::kNone);
}

std::string Refusal(const TiffPage& page) {
  const Bytes file = FileOf(page);
  try {
    test::OpenBytes(file)->Read(0);
  } catch (const ImageError& error) {
    EXPECT_EQ(error.Fault(), ImageFault::kUnsupported) << error.what();
    return error.what();
  }
  return "";
}

TEST(TiffKinds, RefusesOthersInOneLine) {
  const TiffSamples grey = Image(4, 4, 32, 1, kBlackIsZero);
  EXPECT_EQ(Refusal(PlainPage(grey).Set(339, kTiffShort, {3})),
            "floating-point samples are not read");
  EXPECT_EQ(Refusal(PlainPage(grey).Set(339, kTiffShort, {2})),
            "signed or complex samples are not read");
  EXPECT_EQ(Refusal(PlainPage(Image(4, 4, 8, 4, kCmyk)).Set(332, kTiffShort, {2})),
            "images of inks other than CMYK are not read");
  EXPECT_EQ(Refusal(PlainPage(Image(4, 4, 8, 1, 32803))),
            "colour filter array images are not read");
  EXPECT_EQ(Refusal(PlainPage(Image(4, 4, 8, 3, 10))), "ITULab images are not read");
  EXPECT_EQ(Refusal(PlainPage(Image(4, 4, 8, 1, 77))), "photometric 77 images are not read");
  EXPECT_EQ(Refusal(PlainPage(Image(4, 4, 8, 1, kBlackIsZero)).Set(259, kTiffShort, {4711})),
            "pages with compression 4711 are not read");
  EXPECT_EQ(Refusal(PlainPage(Image(8, 4, 1, 1, kBlackIsZero)).Set(259, kTiffShort, {34661})),
            "pages with ISO JBIG compression are not read");
  EXPECT_EQ(Refusal(PlainPage(Image(4, 4, 16, 3, 32845))), "LogLuv images are not read");
  EXPECT_EQ(Refusal(PlainPage(Image(4, 4, 8, 1, kBlackIsZero)).Set(32997, kTiffLong, {2})),
            "volumes are not read");
}

TEST(TiffKinds, ConvertsYcbcrAndLabThroughLibtiff) {
  // Grey in both: no colour difference.
  const TiffSamples ycbcr{2, 2, 8, 3, 6, {200, 128, 128, 10, 128, 128, 0, 128, 128, 255, 128, 128}};
  TiffPage page = PlainPage(ycbcr);
  page.Set(530, kTiffShort, {1, 1}).Set(kOrientation, kTiffShort, {3});
  EXPECT_EQ(Colours(ReadPage(FileOf(page)).dib),
            (std::vector<uint32_t>{0xFFFFFF, 0x000000, 0x0A0A0A, 0xC8C8C8}));
  const TiffSamples lab{2, 1, 8, 3, 8, {255, 0, 0, 0, 0, 0}};
  const auto colours = Colours(ReadPage(FileOf(PlainPage(lab))).dib);
  EXPECT_GE(std::min({colours[0] & 0xFF, colours[0] >> 8 & 0xFF, colours[0] >> 16}), 254U);
  EXPECT_EQ(colours[1], 0U);
}

TEST(TiffKinds, TakesPagesWithoutAPhotometricTag) {
  const TiffSamples rgb = Image(5, 5, 8, 3, kRgb);
  EXPECT_EQ(Colours(ReadPage(FileOf(PlainPage(rgb).Remove(262))).dib), Triples(rgb.values, 8, 3));
  const TiffSamples grey = Image(5, 5, 8, 1, kBlackIsZero);
  EXPECT_EQ(Colours(ReadPage(FileOf(PlainPage(grey).Remove(262))).dib),
            Greys(grey.values, 8, false));
}

}  // namespace
}  // namespace dibkit::host
