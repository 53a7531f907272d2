// SPDX-License-Identifier: Apache-2.0
//
// JPEG files there and back.
#include <gtest/gtest.h>

#include <algorithm>

#include "dibkit/host/byte_sink.h"
#include "file_parts.h"
#include "image_pages.h"
#include "loaded_dib.h"

namespace dibkit::host {
namespace {

using test::Bytes;
using test::Colours;
using test::Contains;
using test::ReadPage;
using test::SmoothDib;
using test::SomeDib;
using test::SomeProfile;

Bytes Written(const OwnedBlock& dib, const PageMetadata& metadata = {}, int quality = 90) {
  return test::WritePage(ImageFormat::kJpeg, dib, metadata, {Compression::kJpeg, quality});
}

void ExpectClose(const OwnedBlock& dib, unsigned bitCount, double decibels, int quality = 95) {
  const PageImage page = ReadPage(Written(dib, {}, quality));
  EXPECT_EQ(test::BitCountOf(page.dib), bitCount);
  EXPECT_GT(test::Psnr(Colours(page.dib), Colours(dib)), decibels);
}

// Bytes that rise slowly along each row and from row to row, at 8 and 32 bits.
OwnedBlock RisingDib(uint32_t width, uint32_t height, uint16_t bitCount) {
  OwnedBlock dib = SomeDib(width, height, bitCount);
  const LockedBlock lock(dib.get());
  const DibView view(lock.Bytes());
  for (uint32_t y = 0; y < height; ++y) {
    unsigned char* row = lock.Bytes().data() + view.Layout().rowsOffset + y * view.Layout().stride;
    for (uint32_t i = 0; i < width * bitCount / 8; ++i) {
      row[i] = static_cast<unsigned char>(i * 8 / bitCount + y / 2);
    }
  }
  return dib;
}

TEST(JpegWriter, KeepsThePicture) {
  ExpectClose(SmoothDib(200, 150, 24), 24, 34);
  ExpectClose(RisingDib(180, 150, 32), 24, 44);
  ExpectClose(SmoothDib(200, 150, 8), 8, 44);
  for (const uint32_t side : {1U, 7U, 8U, 16U, 17U, 33U}) {
    ExpectClose(SmoothDib(side, 40, 24), 24, 30);
    ExpectClose(SmoothDib(40, side, 8), 8, 38);
  }
}

TEST(JpegWriter, GreysGoThroughTheirTable) {
  const OwnedBlock dib = SmoothDib(100, 80, 8);
  std::vector<uint32_t> falling;
  for (uint32_t i = 256; i-- > 0;) {
    falling.push_back(i * 0x010101);
  }
  test::SetTable(dib, falling);
  ExpectClose(dib, 8, 44);
}

TEST(JpegWriter, BlackAndWhiteBecomeGrey) {
  const OwnedBlock dib = SomeDib(65, 40, 1);
  test::SetTable(dib, {0, 0xFFFFFF});
  ExpectClose(dib, 8, 30, 100);
  test::SetTable(dib, {0xFFFFFF, 0});
  ExpectClose(dib, 8, 30, 100);
}

TEST(JpegWriter, PalettesBecomeColours) {
  const OwnedBlock dib = RisingDib(180, 80, 8);
  std::vector<uint32_t> colours;
  for (uint32_t i = 0; i < 256; ++i) {
    colours.push_back(i << 16 | (255 - i) << 8 | i / 2);
  }
  test::SetTable(dib, colours);
  ExpectClose(dib, 24, 33);
  const OwnedBlock four = SomeDib(33, 20, 4);
  test::SetTable(four, std::vector<uint32_t>(16, 0x804020));
  ExpectClose(four, 24, 35);
}

TEST(JpegWriter, QualityCostsBytes) {
  const OwnedBlock dib = SomeDib(100, 100, 24);
  EXPECT_LT(Written(dib, {}, 10).size(), Written(dib, {}, 50).size());
  EXPECT_LT(Written(dib, {}, 50).size(), Written(dib, {}, 95).size());
}

TEST(JpegWriter, TheSamePageGivesTheSameBytes) {
  const OwnedBlock dib = SmoothDib(300, 200, 24);
  PageMetadata metadata{ResolutionOfDpi(300), {}, {{TextKind::kSoftware, "x"}}};
  EXPECT_EQ(Written(dib, metadata), Written(dib, metadata));
}

Resolution ThereAndBack(const Resolution& resolution) {
  return ReadPage(Written(SmoothDib(8, 8, 24), {resolution, {}, {}})).metadata.resolution;
}

Resolution PerCentimetre(uint32_t x, uint32_t y) {
  return {ResolutionUnit::kCentimetre, {x, 1}, {y, 1}};
}

TEST(JpegMetadata, WholeResolutionsAreKept) {
  EXPECT_EQ(ThereAndBack(ResolutionOfDpi(300)), ResolutionOfDpi(300));
  EXPECT_EQ(ThereAndBack(ResolutionOfDpi(65535)), ResolutionOfDpi(65535));
  EXPECT_EQ(ThereAndBack(PerCentimetre(118, 59)), PerCentimetre(118, 59));
  EXPECT_EQ(ThereAndBack({ResolutionUnit::kMetre, {11800, 1}, {5900, 1}}), PerCentimetre(118, 59));
}

TEST(JpegMetadata, OthersAreRoundedToWholeDotsPerInch) {
  EXPECT_EQ(ThereAndBack({ResolutionUnit::kMetre, {11811, 1}, {11811, 1}}), ResolutionOfDpi(300));
  EXPECT_EQ(ThereAndBack({ResolutionUnit::kInch, {6007, 10}, {6003, 10}}),
            (Resolution{ResolutionUnit::kInch, {601, 1}, {600, 1}}));
}

TEST(JpegMetadata, AResolutionThatIsNoneIsLeftOut) {
  for (const Resolution& resolution :
       {Resolution{}, Resolution{ResolutionUnit::kInch, {1, 3}, {300, 1}},
        Resolution{ResolutionUnit::kInch, {70000, 1}, {300, 1}}}) {
    EXPECT_EQ(ThereAndBack(resolution).unit, ResolutionUnit::kNone);
  }
}

TEST(JpegMetadata, TextsStandInAnExifBlock) {
  PageMetadata metadata;
  for (int kind = 0; kind < 10; ++kind) {
    metadata.texts.push_back({static_cast<TextKind>(kind), "text " + std::to_string(kind)});
  }
  const Bytes file = Written(SmoothDib(8, 8, 24), metadata);
  EXPECT_TRUE(Contains(file, {'E', 'x', 'i', 'f', 0, 0, 'I', 'I'}));
  EXPECT_EQ(ReadPage(file).metadata.texts, metadata.texts);
  EXPECT_FALSE(Contains(Written(SmoothDib(8, 8, 24)), {'E', 'x', 'i', 'f'}));
}

TEST(JpegMetadata, ProfilesGoAlongWhereTheirColoursFit) {
  const PageMetadata rgb{{}, SomeProfile("RGB ", 200'000), {}};
  const PageMetadata grey{{}, SomeProfile("GRAY", 300), {}};
  const OwnedBlock colours = SmoothDib(8, 8, 24);
  const OwnedBlock greys = SmoothDib(8, 8, 8);
  EXPECT_EQ(ReadPage(Written(colours, rgb)).metadata.iccProfile, rgb.iccProfile);
  EXPECT_EQ(ReadPage(Written(greys, grey)).metadata.iccProfile, grey.iccProfile);
  EXPECT_TRUE(ReadPage(Written(greys, rgb)).metadata.iccProfile.empty());
  EXPECT_TRUE(ReadPage(Written(colours, grey)).metadata.iccProfile.empty());
}

TEST(JpegWriter, RefusesWhatTheFormatDoesNotHold) {
  MemorySink sink;
  const auto writer = MakeWriter(ImageFormat::kJpeg, sink);
  const auto add = [&](const OwnedBlock& dib, Compression compression) {
    const LockedBlock lock(dib.get());
    writer->Add(DibView(lock.Bytes()), {}, {compression, 90});
  };
  const auto fault = [&](const OwnedBlock& dib, Compression compression) {
    return test::FaultOf([&] { add(dib, compression); });
  };
  EXPECT_EQ(fault(SomeDib(3, 3, 16), Compression::kJpeg), ImageFault::kNotHeld);
  EXPECT_EQ(fault(SomeDib(3, 3, 24), Compression::kDeflate), ImageFault::kNotHeld);
  EXPECT_EQ(fault(SomeDib(65501, 1, 8), Compression::kJpeg), ImageFault::kNotHeld);
  EXPECT_EQ(fault(SomeDib(1, 65501, 8), Compression::kJpeg), ImageFault::kNotHeld);
  EXPECT_TRUE(sink.Bytes().empty());
  add(SomeDib(65500, 1, 8), Compression::kJpeg);
  writer->Finish();
  EXPECT_EQ(fault(SomeDib(3, 3, 24), Compression::kJpeg), ImageFault::kNotHeld);
}

TEST(JpegWriter, AFullDiskIsToldAtWhateverByteItComes) {
  const OwnedBlock dib = SomeDib(400, 300, 24);
  const LockedBlock lock(dib.get());
  const size_t whole = Written(dib).size();
  for (size_t limit = 0; limit < whole; limit += 20'011) {
    test::FullSink sink(limit);
    const auto writer = MakeWriter(ImageFormat::kJpeg, sink);
    EXPECT_THROW(writer->Add(DibView(lock.Bytes()), {}, {Compression::kJpeg, 90}), FileError)
        << limit;
  }
}

}  // namespace
}  // namespace dibkit::host
