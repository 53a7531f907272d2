// SPDX-License-Identifier: Apache-2.0
//
// PNG files there and back.
#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

#include "dibkit/host/byte_sink.h"
#include "file_parts.h"
#include "formats/png/filter.h"
#include "formats/png/latin1.h"
#include "image_pages.h"
#include "loaded_dib.h"
#include "png_builder.h"

namespace dibkit::host {
namespace {

using test::Bytes;
using test::Colours;
using test::Contains;
using test::ReadPage;
using test::SmoothDib;
using test::SomeDib;
using test::SomeProfile;

constexpr PageOptions kPacked{Compression::kDeflate};

Bytes Written(const OwnedBlock& dib, const PageMetadata& metadata = {}) {
  return test::WritePage(ImageFormat::kPng, dib, metadata, kPacked);
}

// Fields of the header chunk.
unsigned DepthIn(const Bytes& file) { return file[24]; }
unsigned ColourTypeIn(const Bytes& file) { return file[25]; }

void ExpectSame(const OwnedBlock& dib, unsigned bitCount, unsigned depth, unsigned colourType) {
  const Bytes file = Written(dib);
  EXPECT_EQ(DepthIn(file), depth);
  EXPECT_EQ(ColourTypeIn(file), colourType);
  const PageImage page = ReadPage(file);
  EXPECT_EQ(test::BitCountOf(page.dib), bitCount);
  EXPECT_EQ(Colours(page.dib), Colours(dib));
}

TEST(PngWriter, KeepsEveryPixelOfEveryDepth) {
  for (const uint32_t width : {1U, 2U, 3U, 7U, 8U, 9U, 31U, 33U, 500U}) {
    ExpectSame(SomeDib(width, 21, 4), 4, 4, 3);
    ExpectSame(SomeDib(width, 21, 8), 8, 8, 3);
    ExpectSame(SomeDib(width, 21, 8, true), 8, 8, 0);
    ExpectSame(SomeDib(width, 21, 24), 24, 8, 2);
    ExpectSame(SomeDib(width, 21, 32), 24, 8, 2);
  }
}

TEST(PngWriter, BlackAndWhiteAreGreyWhicheverComesFirst) {
  for (const uint32_t width : {1U, 7U, 8U, 500U}) {
    const OwnedBlock dib = SomeDib(width, 21, 1);
    test::SetTable(dib, {0, 0xFFFFFF});
    ExpectSame(dib, 1, 1, 0);
    test::SetTable(dib, {0xFFFFFF, 0});
    ExpectSame(dib, 1, 1, 0);
    for (const std::vector<uint32_t>& table :
         {std::vector<uint32_t>{0x102030, 0xF0E0D0}, {0, 0}, {0x404040, 0xFFFFFF}, {0, 0xFFFF00}}) {
      test::SetTable(dib, table);
      ExpectSame(dib, 1, 1, 3);
    }
  }
}

TEST(PngWriter, TheGreyRampOfFourBitsIsGrey) {
  const OwnedBlock dib = SomeDib(33, 21, 4);
  std::vector<uint32_t> ramp;
  for (uint32_t i = 0; i < 16; ++i) {
    ramp.push_back(i * 0x111111);
  }
  test::SetTable(dib, ramp);
  ExpectSame(dib, 4, 4, 0);
  std::reverse(ramp.begin(), ramp.end());
  test::SetTable(dib, ramp);
  ExpectSame(dib, 4, 4, 3);
}

TEST(PngWriter, GreysGoThroughTheirTable) {
  const OwnedBlock dib = SmoothDib(50, 40, 8);
  std::vector<uint32_t> falling;
  for (uint32_t i = 256; i-- > 0;) {
    falling.push_back(i * 0x010101);
  }
  test::SetTable(dib, falling);
  ExpectSame(dib, 8, 8, 0);
}

TEST(PngWriter, SmoothPagesOfManyRows) {
  ExpectSame(SmoothDib(700, 500, 24), 24, 8, 2);
  ExpectSame(SmoothDib(700, 500, 8), 8, 8, 0);
}

TEST(PngWriter, UnusedBitsOfARowAreZero) {
  const OwnedBlock dib = SomeDib(3, 1, 1);
  test::SetTable(dib, {0xFFFFFF, 0});
  OwnedBlock padded = SomeDib(3, 1, 1);
  test::SetTable(padded, {0xFFFFFF, 0});
  {
    const LockedBlock lock(padded.get());
    lock.Bytes()[DibView(lock.Bytes()).Layout().rowsOffset] |= 0x1F;
  }
  EXPECT_EQ(Written(padded), Written(dib));
}

TEST(PngWriter, TheSamePageGivesTheSameBytes) {
  const OwnedBlock dib = SmoothDib(300, 200, 24);
  EXPECT_EQ(Written(dib), Written(dib));
}

TEST(PngWriter, RefusesWhatTheFormatDoesNotHold) {
  MemorySink sink;
  const auto writer = MakeWriter(ImageFormat::kPng, sink);
  const auto add = [&](const OwnedBlock& dib, const PageOptions& options) {
    const LockedBlock lock(dib.get());
    writer->Add(DibView(lock.Bytes()), {}, options);
  };
  EXPECT_EQ(test::FaultOf([&] { add(SomeDib(3, 3, 16), kPacked); }), ImageFault::kNotHeld);
  EXPECT_EQ(test::FaultOf([&] { add(SomeDib(3, 3, 24), {Compression::kLzw}); }),
            ImageFault::kNotHeld);
  EXPECT_TRUE(sink.Bytes().empty());
  add(SomeDib(3, 3, 24), kPacked);
  writer->Finish();
  EXPECT_EQ(test::FaultOf([&] { add(SomeDib(3, 3, 24), kPacked); }), ImageFault::kNotHeld);
}

TEST(PngWriter, AFullDiskIsToldAtWhateverByteItComes) {
  const OwnedBlock dib = SomeDib(400, 300, 24);
  const LockedBlock lock(dib.get());
  const size_t whole = Written(dib).size();
  for (size_t limit = 0; limit < whole; limit += 20'011) {
    test::FullSink sink(limit);
    const auto writer = MakeWriter(ImageFormat::kPng, sink);
    EXPECT_THROW(writer->Add(DibView(lock.Bytes()), {}, kPacked), FileError) << limit;
  }
}

TEST(PngWriter, WritesToStreams) {
  const OwnedBlock dib = SomeDib(40, 30, 24);
  std::ostringstream stream;
  StreamSink sink(stream);
  const auto writer = MakeWriter(ImageFormat::kPng, sink);
  const LockedBlock lock(dib.get());
  writer->Add(DibView(lock.Bytes()), {}, kPacked);
  writer->Finish();
  EXPECT_EQ(test::BytesOf(stream.str()), Written(dib));
}

PageMetadata WithResolution(const Resolution& resolution) { return {resolution, {}, {}}; }

Resolution ThereAndBack(const Resolution& resolution) {
  const OwnedBlock dib = SomeDib(3, 3, 24);
  return ReadPage(Written(dib, WithResolution(resolution))).metadata.resolution;
}

Resolution PerMetre(uint32_t x, uint32_t y) { return {ResolutionUnit::kMetre, {x, 1}, {y, 1}}; }

TEST(PngMetadata, ResolutionsPerMetreAreKept) {
  EXPECT_EQ(ThereAndBack(PerMetre(11811, 5906)), PerMetre(11811, 5906));
  EXPECT_EQ(ThereAndBack(PerMetre(1, 2147483647)), PerMetre(1, 2147483647));
}

TEST(PngMetadata, OtherResolutionsAreRoundedToNearest) {
  EXPECT_EQ(ThereAndBack(ResolutionOfDpi(300)), PerMetre(11811, 11811));
  EXPECT_EQ(ThereAndBack(ResolutionOfDpi(240)), PerMetre(9449, 9449));
  EXPECT_EQ(ThereAndBack({ResolutionUnit::kCentimetre, {1181, 10}, {59, 1}}),
            PerMetre(11810, 5900));
}

TEST(PngMetadata, WholeDotsPerInchComeBack) {
  for (unsigned dpi = 1; dpi <= 65535; dpi += dpi < 1000 ? 1 : 997) {
    const PelsPerMetre pels = HeaderResolution(ThereAndBack(ResolutionOfDpi(dpi)));
    EXPECT_EQ(DotsPerInch(pels.x), dpi);
    EXPECT_EQ(DotsPerInch(pels.y), dpi);
  }
}

TEST(PngMetadata, AResolutionThatIsNoneIsLeftOut) {
  for (const Resolution& resolution :
       {Resolution{}, Resolution{ResolutionUnit::kInch, {0, 1}, {300, 1}},
        Resolution{ResolutionUnit::kInch, {300, 0}, {300, 1}}, PerMetre(2147483648U, 1)}) {
    EXPECT_EQ(ThereAndBack(resolution).unit, ResolutionUnit::kNone);
    EXPECT_FALSE(
        Contains(Written(SomeDib(3, 3, 24), WithResolution(resolution)), test::BytesOf("pHYs")));
  }
}

TEST(PngMetadata, TheHeaderOfTheDibHasTheResolution) {
  const PageImage page =
      ReadPage(Written(SomeDib(3, 3, 24), WithResolution(PerMetre(11811, 5906))));
  const LockedBlock lock(page.dib.get());
  EXPECT_EQ(DibView(lock.Bytes()).XPelsPerMeter(), 11811);
  EXPECT_EQ(DibView(lock.Bytes()).YPelsPerMeter(), 5906);
}

TEST(PngMetadata, TextsOfEveryKindComeBack) {
  PageMetadata metadata;
  for (int kind = 0; kind < 10; ++kind) {
    metadata.texts.push_back({static_cast<TextKind>(kind), "text " + std::to_string(kind)});
  }
  const Bytes file = Written(SomeDib(3, 3, 24), metadata);
  EXPECT_EQ(ReadPage(file).metadata.texts, metadata.texts);
  for (const char* keyword : {"Title", "Description", "Make", "Model", "Page", "Software",
                              "Creation Time", "Author", "Host", "Copyright"}) {
    EXPECT_TRUE(Contains(file, test::BytesOf(std::string("tEXt") + keyword))) << keyword;
  }
}

std::string TextThereAndBack(const std::string& text, const std::string& chunk) {
  PageMetadata metadata;
  metadata.texts.push_back({TextKind::kDescription, text});
  const Bytes file = Written(SomeDib(3, 3, 24), metadata);
  EXPECT_TRUE(Contains(file, test::BytesOf(chunk))) << chunk;
  const auto texts = ReadPage(file).metadata.texts;
  return texts.size() == 1 ? texts[0].text : "";
}

TEST(PngMetadata, TextsBeyondAsciiComeBackInUtf8) {
  EXPECT_EQ(TextThereAndBack("Gr\xC3\xBC\xC3\x9F", "tEXtDescription"), "Gr\xC3\xBC\xC3\x9F");
  EXPECT_EQ(TextThereAndBack("\xCE\xA9 and \xF0\x9F\x98\x80", "iTXtDescription"),
            "\xCE\xA9 and \xF0\x9F\x98\x80");
  // What would look like UTF-8 in Latin-1.
  EXPECT_EQ(TextThereAndBack("\xC3\x83\xC2\xBC", "iTXtDescription"), "\xC3\x83\xC2\xBC");
  // Latin-1 from somewhere.
  EXPECT_EQ(TextThereAndBack("Gr\xFC\xDF", "tEXtDescription"), "Gr\xC3\xBC\xC3\x9F");
}

TEST(PngMetadata, LongTextsComeBack) {
  const std::string text(100'000, 'x');
  EXPECT_EQ(TextThereAndBack(text, "tEXtDescription"), text);
}

TEST(PngMetadata, ProfilesGoAlongWhereTheirColoursFit) {
  PageMetadata rgb;
  rgb.iccProfile = SomeProfile("RGB ", 30'000);
  PageMetadata grey;
  grey.iccProfile = SomeProfile("GRAY", 300);
  const OwnedBlock colours = SomeDib(3, 3, 24);
  const OwnedBlock palette = SomeDib(3, 3, 8);
  const OwnedBlock greys = SomeDib(3, 3, 8, true);
  EXPECT_EQ(ReadPage(Written(colours, rgb)).metadata.iccProfile, rgb.iccProfile);
  EXPECT_EQ(ReadPage(Written(palette, rgb)).metadata.iccProfile, rgb.iccProfile);
  EXPECT_EQ(ReadPage(Written(greys, grey)).metadata.iccProfile, grey.iccProfile);
  EXPECT_TRUE(ReadPage(Written(greys, rgb)).metadata.iccProfile.empty());
  EXPECT_TRUE(ReadPage(Written(colours, grey)).metadata.iccProfile.empty());
  const Bytes file = Written(colours, rgb);
  EXPECT_TRUE(test::OpenBytes(file)->Describe(0).hasProfile);
}

TEST(PngFilter, ChoosesTheRowAboveWhereItIsCloser) {
  const Bytes above{10, 20, 30, 40, 50, 60, 70, 80, 90};
  EXPECT_TRUE(png::IsLikeRowAbove(above.data(), above.data(), above.size(), 3));
  const Bytes flat(9, 10);
  EXPECT_FALSE(png::IsLikeRowAbove(flat.data(), above.data(), flat.size(), 3));
  const Bytes one{7};
  EXPECT_TRUE(png::IsLikeRowAbove(one.data(), one.data(), 1, 1));
}

TEST(Latin1, IsToldFromUtf8) {
  EXPECT_TRUE(png::IsUtf8(""));
  EXPECT_TRUE(png::IsUtf8("plain"));
  EXPECT_TRUE(png::IsUtf8("\xC3\xBC\xE2\x82\xAC\xF0\x9F\x98\x80\xF4\x8F\xBF\xBF"));
  for (const char* text : {"\xFC", "\xC3", "\xC3\x28", "\xC0\x80", "\xE0\x80\x80", "\xED\xA0\x80",
                           "\xF4\x90\x80\x80", "\xF8\x88\x80\x80\x80", "\x80", "\xE2\x82"}) {
    EXPECT_FALSE(png::IsUtf8(text)) << testing::PrintToString(text);
  }
}

TEST(Latin1, GoesBothWays) {
  std::string all;
  for (int c = 1; c < 256; ++c) {
    if (c < 0x7F || c >= 0xA0) {
      all += static_cast<char>(c);
    }
  }
  EXPECT_EQ(png::Latin1OfUtf8(png::Utf8OfLatin1(all)), all);
  EXPECT_EQ(png::Latin1OfUtf8("\xCE\xA9"), std::nullopt);
  EXPECT_EQ(png::Latin1OfUtf8("\xC2\x85"), std::nullopt);
  EXPECT_EQ(png::Latin1OfUtf8("\xFC"), std::nullopt);
}

}  // namespace
}  // namespace dibkit::host
