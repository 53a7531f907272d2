// SPDX-License-Identifier: Apache-2.0
//
// JPEG files of every kind come out with the right pixels and what goes with them.
#include <gtest/gtest.h>

#include <functional>

#include "formats/exif.h"
#include "image_pages.h"
#include "jpeg_builder.h"
#include "loaded_dib.h"

namespace dibkit::host {
namespace {

using test::Bytes;
using test::JpegBuilder;
using test::OpenBytes;
using test::ReadPage;

constexpr double kClose = 38;

// Red, green and blue of a pixel, from its samples.
using Colour = std::function<uint32_t(const std::vector<unsigned>&)>;

uint32_t Grey(const std::vector<unsigned>& s) { return s[0] * 0x010101; }
uint32_t Rgb(const std::vector<unsigned>& s) { return s[0] << 16 | s[1] << 8 | s[2]; }

uint32_t OfInks(const std::vector<unsigned>& s) {
  const auto left = [&](unsigned ink) { return (255 - ink) * (255 - s[3]) / 255; };
  return left(s[0]) << 16 | left(s[1]) << 8 | left(s[2]);
}

uint32_t OfInverseInks(const std::vector<unsigned>& s) {
  return OfInks({255 - s[0], 255 - s[1], 255 - s[2], 255 - s[3]});
}

std::vector<uint32_t> ColoursOf(const JpegBuilder& file, const Colour& colour) {
  std::vector<uint32_t> colours;
  for (uint32_t y = 0; y < file.height; ++y) {
    for (uint32_t x = 0; x < file.width; ++x) {
      std::vector<unsigned> samples;
      for (int channel = 0; channel < file.Channels(); ++channel) {
        samples.push_back(file.Sample(x, y, channel));
      }
      colours.push_back(colour(samples));
    }
  }
  return colours;
}

void ExpectRead(const JpegBuilder& file, const Colour& colour, const std::string& told,
                unsigned bits) {
  SCOPED_TRACE(testing::Message() << told << " " << file.width << " x " << file.height
                                  << (file.progressive ? ", progressive" : "")
                                  << (file.separate ? ", separate scans" : "")
                                  << (file.arithmetic ? ", arithmetic" : ""));
  const Bytes bytes = file.Build();
  const auto reader = OpenBytes(bytes);
  const PageDescription description = reader->Describe(0);
  EXPECT_EQ(description.width, file.width);
  EXPECT_EQ(description.height, file.height);
  EXPECT_EQ(description.bitCount, bits);
  EXPECT_EQ(description.storedBits, 8U * static_cast<unsigned>(file.Channels()));
  EXPECT_EQ(description.colour, told);
  EXPECT_EQ(description.compression, Compression::kJpeg);
  const PageImage page = reader->Read(0);
  EXPECT_EQ(test::BitCountOf(page.dib), bits);
  EXPECT_GT(test::Psnr(test::Colours(page.dib), ColoursOf(file, colour)), kClose);
  EXPECT_EQ(GlobalFlags(page.dib.get()), 0U);
}

void ExpectEveryPacking(JpegBuilder file, const Colour& colour, const std::string& told,
                        unsigned bits) {
  ExpectRead(file, colour, told, bits);
  file.restartRows = 1;
  ExpectRead(file, colour, told, bits);
  file.progressive = true;
  ExpectRead(file, colour, told, bits);
  file.restartRows = 0;
  file.arithmetic = true;
  ExpectRead(file, colour, told, bits);
  file.progressive = false;
  ExpectRead(file, colour, told, bits);
  file.arithmetic = false;
  file.separate = true;
  ExpectRead(file, colour, told, bits);
}

TEST(JpegReader, ReadsGreyFiles) {
  JpegBuilder file;
  ExpectEveryPacking(file, Grey, "grey", 8);
  EXPECT_TRUE(test::HasGreyTable(ReadPage(file.Build()).dib));
}

TEST(JpegReader, ReadsColours) {
  JpegBuilder file;
  file.given = JCS_RGB;
  file.stored = JCS_YCbCr;
  ExpectEveryPacking(file, Rgb, "YCbCr", 24);
  file.stored = JCS_RGB;
  ExpectEveryPacking(file, Rgb, "RGB", 24);
}

TEST(JpegReader, InksWithTheMarkOfTheirMakerAreInverse) {
  JpegBuilder file;
  file.given = JCS_CMYK;
  file.stored = JCS_CMYK;
  ExpectEveryPacking(file, OfInverseInks, "CMYK", 24);
  file.stored = JCS_YCCK;
  ExpectEveryPacking(file, OfInverseInks, "YCCK", 24);
}

TEST(JpegReader, InksWithoutItAreNot) {
  JpegBuilder file;
  file.given = JCS_CMYK;
  file.stored = JCS_CMYK;
  file.adobe = false;
  ExpectEveryPacking(file, OfInks, "CMYK", 24);
}

TEST(JpegReader, ReadsEverySize) {
  JpegBuilder file;
  file.given = JCS_RGB;
  file.stored = JCS_YCbCr;
  for (const uint32_t width : {1U, 2U, 7U, 8U, 15U, 16U, 17U, 33U}) {
    for (const uint32_t height : {1U, 2U, 8U, 15U, 16U, 17U, 31U, 50U}) {
      file.width = width;
      file.height = height;
      file.progressive = height % 2 == 1;
      const PageImage page = ReadPage(file.Build());
      EXPECT_GT(test::Psnr(test::Colours(page.dib), ColoursOf(file, Rgb)), 30)
          << width << " x " << height;
    }
  }
}

TEST(JpegReader, TellsHowItIsPacked) {
  JpegBuilder file;
  EXPECT_EQ(OpenBytes(file.Build())->Describe(0).compressionText, "JPEG");
  file.progressive = true;
  EXPECT_EQ(OpenBytes(file.Build())->Describe(0).compressionText, "JPEG, progressive");
  file.arithmetic = true;
  EXPECT_EQ(OpenBytes(file.Build())->Describe(0).compressionText, "JPEG, progressive, arithmetic");
}

TEST(JpegReader, CountsTheCoefficientsOfAFileInSeveralScans) {
  JpegBuilder file;
  file.width = 800;
  file.height = 800;
  const uint64_t rows = OpenBytes(file.Build())->Describe(0).workBytes;
  file.progressive = true;
  EXPECT_EQ(OpenBytes(file.Build())->Describe(0).workBytes - rows, 800U * 800 * 2);
}

TEST(JpegReader, OtherNumbersOfChannelsAreRefused) {
  JpegBuilder file;
  file.given = JCS_UNKNOWN;
  EXPECT_EQ(test::FaultOf([&] { OpenBytes(file.Build()); }), ImageFault::kUnsupported);
}

// The file with another frame header: its marker, and how many bits a sample has.
Bytes WithFrame(const JpegBuilder& file, unsigned char marker, unsigned char bits) {
  Bytes bytes = file.Build();
  for (size_t i = 0; i + 4 < bytes.size(); ++i) {
    if (bytes[i] == 0xFF && bytes[i + 1] == 0xC0) {
      bytes[i + 1] = marker;
      bytes[i + 4] = bits;
      return bytes;
    }
  }
  throw std::logic_error("no frame header");
}

TEST(JpegReader, OtherProcessesAreRefusedInOneClearLine) {
  for (const auto& [marker, bits] :
       {std::pair<unsigned char, unsigned char>{0xC1, 12}, {0xC3, 8}, {0xC5, 8}, {0xC7, 8}}) {
    const Bytes file = WithFrame({}, marker, bits);
    EXPECT_EQ(test::FaultOf([&] { OpenBytes(file)->Read(0); }), ImageFault::kUnsupported)
        << int{marker};
  }
}

Resolution ResolutionOf(const JpegBuilder& file) {
  return ReadPage(file.Build()).metadata.resolution;
}

Bytes ExifMarker(const Bytes& block) { return test::Joined({{'E', 'x', 'i', 'f', 0, 0}, block}); }

// Orientation, resolution 200 x 100 per `unit`.
Bytes SomeExif(unsigned orientation, unsigned unit) {
  const auto byte = [](unsigned value) { return static_cast<unsigned char>(value); };
  return {'I',  'I', 42, 0, 8, 0, 0, 0, 4,
          0,  //
          0x12, 1,   3,  0, 1, 0, 0, 0, byte(orientation),
          0,    0,   0,  //
          0x1A, 1,   5,  0, 1, 0, 0, 0, 62,
          0,    0,   0,  //
          0x1B, 1,   5,  0, 1, 0, 0, 0, 70,
          0,    0,   0,  //
          0x28, 1,   3,  0, 1, 0, 0, 0, byte(unit),
          0,    0,   0,  0, 0, 0, 0,  //
          200,  0,   0,  0, 1, 0, 0, 0, 100,
          0,    0,   0,  1, 0, 0, 0};
}

TEST(JpegReader, ResolutionsAreExact) {
  JpegBuilder file;
  file.densityUnit = 1;
  file.xDensity = 300;
  file.yDensity = 65535;
  EXPECT_EQ(ResolutionOf(file), (Resolution{ResolutionUnit::kInch, {300, 1}, {65535, 1}}));
  file.densityUnit = 2;
  EXPECT_EQ(ResolutionOf(file), (Resolution{ResolutionUnit::kCentimetre, {300, 1}, {65535, 1}}));
}

TEST(JpegReader, AnAspectRatioIsNoResolution) {
  JpegBuilder file;
  file.xDensity = 300;
  file.yDensity = 300;
  EXPECT_EQ(ResolutionOf(file).unit, ResolutionUnit::kNone);
  file.densityUnit = 1;
  file.yDensity = 0;
  EXPECT_EQ(ResolutionOf(file).unit, ResolutionUnit::kNone);
}

TEST(JpegReader, ExifTellsTheResolutionWhereNothingElseDoes) {
  const Resolution expected{ResolutionUnit::kInch, {200, 1}, {100, 1}};
  JpegBuilder file;
  file.markers = {{JPEG_APP0 + 1, ExifMarker(SomeExif(1, 2))}};
  EXPECT_EQ(ResolutionOf(file), expected);
  file.jfif = false;
  EXPECT_EQ(ResolutionOf(file), expected);
  file.markers = {{JPEG_APP0 + 1, ExifMarker(SomeExif(1, 3))}};
  EXPECT_EQ(ResolutionOf(file).unit, ResolutionUnit::kCentimetre);
  file.jfif = true;
  file.densityUnit = 1;
  file.xDensity = file.yDensity = 72;
  EXPECT_EQ(ResolutionOf(file), ResolutionOfDpi(72));
}

TEST(JpegReader, PagesComeOutUpright) {
  JpegBuilder file;
  file.given = JCS_RGB;
  file.stored = JCS_YCbCr;
  const std::vector<uint32_t> stored = test::Colours(ReadPage(file.Build()).dib);
  for (unsigned orientation = 1; orientation <= 8; ++orientation) {
    file.markers = {{JPEG_APP0 + 1, ExifMarker(SomeExif(orientation, 2))}};
    const Bytes bytes = file.Build();
    const auto reader = OpenBytes(bytes);
    const PageDescription told = reader->Describe(0);
    const bool across = orientation >= 5;
    EXPECT_EQ(told.orientation, orientation);
    EXPECT_EQ(told.width, across ? file.height : file.width);
    EXPECT_EQ(told.resolution.x, (Rational{across ? 100U : 200U, 1}));
    const PageImage page = reader->Read(0);
    EXPECT_EQ(page.metadata.resolution, told.resolution);
    const std::vector<uint32_t> upright = test::Colours(page.dib);
    // Where the stored corner of the first row and column is now.
    const size_t last = upright.size() - 1;
    const size_t width = told.width;
    const size_t corners[] = {0,         0,    width - 1,       last, last - width + 1, 0,
                              width - 1, last, last - width + 1};
    EXPECT_EQ(upright[corners[orientation]], stored[0]) << orientation;
  }
}

TEST(JpegReader, TextsComeFromExifAndTheComment) {
  const std::vector<PageText> texts{{TextKind::kSoftware, "Scanner"}, {TextKind::kArtist, "Me"}};
  JpegBuilder file;
  file.markers = {{JPEG_COM, {'a', ' ', 'p', 'a', 'g', 'e'}},
                  {JPEG_APP0 + 1, ExifMarker(ExifOfTexts(texts, 65000))},
                  {JPEG_COM, {'b'}}};
  EXPECT_EQ(ReadPage(file.Build()).metadata.texts,
            (std::vector<PageText>{{TextKind::kDescription, "a page"}, texts[0], texts[1]}));
  file.markers[1].content = ExifMarker(ExifOfTexts({{TextKind::kDescription, "other"}}, 65000));
  EXPECT_EQ(ReadPage(file.Build()).metadata.texts,
            (std::vector<PageText>{{TextKind::kDescription, "other"}}));
}

Bytes ProfilePiece(unsigned char number, unsigned char count, const Bytes& bytes) {
  const std::string name("ICC_PROFILE\0", 12);
  return test::Joined({Bytes(name.begin(), name.end()), {number, count}, bytes});
}

TEST(JpegReader, ProfilesArePutTogether) {
  JpegBuilder file;
  file.markers = {{JPEG_APP0 + 2, ProfilePiece(2, 2, {3, 4})},
                  {JPEG_APP0 + 2, ProfilePiece(1, 2, {1, 2})}};
  const Bytes bytes = file.Build();
  EXPECT_TRUE(OpenBytes(bytes)->Describe(0).hasProfile);
  EXPECT_EQ(ReadPage(bytes).metadata.iccProfile, (Bytes{1, 2, 3, 4}));
}

TEST(JpegReader, AProfileThatIsNotAllThereIsNone) {
  JpegBuilder file;
  file.markers = {{JPEG_APP0 + 2, ProfilePiece(2, 2, {3, 4})}};
  EXPECT_TRUE(ReadPage(file.Build()).metadata.iccProfile.empty());
  file.markers = {{JPEG_APP0 + 2, ProfilePiece(0, 0, {3, 4})}};
  EXPECT_TRUE(ReadPage(file.Build()).metadata.iccProfile.empty());
  file.markers = {{JPEG_APP0 + 2, ProfilePiece(1, 255, {3, 4})}};
  EXPECT_TRUE(ReadPage(file.Build()).metadata.iccProfile.empty());
}

TEST(JpegReader, APageCanBeReadAgain) {
  const Bytes bytes = JpegBuilder().Build();
  const auto reader = OpenBytes(bytes);
  const auto first = test::Colours(reader->Read(0).dib);
  EXPECT_EQ(reader->Describe(0).width, 70U);
  EXPECT_EQ(test::Colours(reader->Read(0).dib), first);
  EXPECT_EQ(test::FaultOf([&] { reader->Describe(1); }), ImageFault::kNoSuchPage);
  EXPECT_EQ(test::FaultOf([&] { reader->Read(1); }), ImageFault::kNoSuchPage);
}

TEST(JpegReader, TakesNoBlockBesideTheDib) {
  JpegBuilder file;
  file.width = 500;
  file.height = 500;
  for (const bool progressive : {false, true}) {
    file.progressive = progressive;
    const Bytes bytes = file.Build();
    ResetPeakBytes();
    const uint64_t before = ReadMemoryCounters().peakBytes;
    const PageImage page = ReadPage(bytes);
    EXPECT_EQ(ReadMemoryCounters().peakBytes - before, GlobalSize(page.dib.get()));
  }
}

TEST(JpegReader, TheCancelHookStopsItBetweenRows) {
  JpegBuilder file;
  for (const bool progressive : {false, true}) {
    file.progressive = progressive;
    const Bytes bytes = file.Build();
    int asked = 0;
    const auto reader = OpenBytes(bytes, {kUsualMaxPixels, [&] { return ++asked > 3; }, nullptr});
    const uint64_t blocks = ReadMemoryCounters().liveBlocks;
    EXPECT_THROW(reader->Read(0), Cancelled);
    EXPECT_EQ(asked, 4);
    EXPECT_EQ(ReadMemoryCounters().liveBlocks, blocks);
  }
}

TEST(JpegReader, WhatAHookThrowsComesThrough) {
  const Bytes bytes = JpegBuilder().Build();
  const auto reader =
      OpenBytes(bytes, {kUsualMaxPixels, []() -> bool { throw std::out_of_range("mine"); }, {}});
  EXPECT_THROW(reader->Read(0), std::out_of_range);
}

}  // namespace
}  // namespace dibkit::host
