// SPDX-License-Identifier: Apache-2.0
//
// TIFF files there and back.
#include <gtest/gtest.h>

#include <sstream>

#include "dibkit/host/byte_sink.h"
#include "dibkit/host/locked_block.h"
#include "formats/tiff.h"
#include "image_pages.h"
#include "loaded_dib.h"

namespace dibkit::host {
namespace {

using test::Bytes;
using test::Colours;
using test::OpenBytes;
using test::ReadPage;
using test::SmoothDib;
using test::SomeDib;

constexpr Compression kLossless[] = {Compression::kNone, Compression::kLzw, Compression::kDeflate,
                                     Compression::kPackBits};
constexpr Compression kBilevel[] = {Compression::kNone,    Compression::kLzw,
                                    Compression::kDeflate, Compression::kPackBits,
                                    Compression::kG3,      Compression::kG4};

Bytes Written(const OwnedBlock& dib, Compression compression, const PageMetadata& metadata = {},
              int quality = 90) {
  return test::WritePage(ImageFormat::kTiff, dib, metadata, {compression, quality});
}

void ExpectSame(const OwnedBlock& dib, Compression compression, unsigned bitCount) {
  const Bytes file = Written(dib, compression);
  const auto reader = OpenBytes(file);
  const PageDescription told = reader->Describe(0);
  EXPECT_EQ(told.compression, compression);
  EXPECT_EQ(told.bitCount, bitCount);
  const PageImage page = reader->Read(0);
  EXPECT_EQ(Colours(page.dib), Colours(dib)) << CompressionName(compression);
  EXPECT_EQ(test::BitCountOf(page.dib), bitCount);
}

TEST(TiffRoundTrip, BilevelPagesInEveryCompressionAndSense) {
  for (const std::vector<uint32_t>& table :
       {std::vector<uint32_t>{0xFFFFFF, 0}, {0, 0xFFFFFF}, {0x102030, 0xF0E0D0}, {0, 0}}) {
    for (const uint32_t width : {1U, 7U, 8U, 500U}) {
      const OwnedBlock dib = SomeDib(width, 61, 1);
      test::SetTable(dib, table);
      for (const Compression compression : kBilevel) {
        ExpectSame(dib, compression, 1);
      }
    }
  }
}

TEST(TiffRoundTrip, KeepsTheBitsOfBlackAndWhite) {
  const OwnedBlock dib = SomeDib(35, 20, 1);
  for (const std::vector<uint32_t>& table : {std::vector<uint32_t>{0xFFFFFF, 0}, {0, 0xFFFFFF}}) {
    test::SetTable(dib, table);
    EXPECT_EQ(test::RowBytes(ReadPage(Written(dib, Compression::kG4)).dib), test::RowBytes(dib));
  }
}

TEST(TiffRoundTrip, PalettesAndGreysOf4And8Bits) {
  for (const uint16_t bits : {uint16_t{4}, uint16_t{8}}) {
    for (const bool grey : {false, true}) {
      for (const uint32_t width : {1U, 9U, 300U}) {
        for (const Compression compression : kLossless) {
          ExpectSame(SomeDib(width, 41, bits, grey), compression, bits);
        }
      }
    }
  }
}

TEST(TiffRoundTrip, GreyStaysGrey) {
  const PageImage eight = ReadPage(Written(SomeDib(20, 20, 8, true), Compression::kLzw));
  EXPECT_TRUE(test::HasGreyTable(eight.dib));
  const OwnedBlock four = SomeDib(20, 20, 4);
  std::vector<uint32_t> greys;
  for (uint32_t i = 0; i < 16; ++i) {
    greys.push_back((15 - i) * 0x111111);
  }
  test::SetTable(four, greys);
  const Bytes file = Written(four, Compression::kNone);
  EXPECT_EQ(OpenBytes(file)->Describe(0).colour, "grey");
  EXPECT_EQ(Colours(ReadPage(file).dib), Colours(four));
}

TEST(TiffRoundTrip, TrueColour) {
  for (const uint32_t width : {1U, 2U, 8U, 9U, 700U}) {
    for (const Compression compression : kLossless) {
      ExpectSame(SomeDib(width, 67, 24), compression, 24);
      ExpectSame(SmoothDib(width, 67, 24), compression, 24);
    }
  }
}

TEST(TiffRoundTrip, DropsTheFourthByteOf32Bits) {
  const OwnedBlock dib = SomeDib(19, 11, 32);
  EXPECT_EQ(Colours(ReadPage(Written(dib, Compression::kLzw)).dib), Colours(dib));
}

TEST(TiffRoundTrip, JpegIsClose) {
  for (const uint16_t bits : {uint16_t{8}, uint16_t{24}}) {
    for (const uint32_t height : {1U, 15U, 16U, 33U, 200U}) {
      const OwnedBlock dib = SmoothDib(310, height, bits);
      const PageImage page = ReadPage(Written(dib, Compression::kJpeg));
      EXPECT_GT(test::Psnr(Colours(page.dib), Colours(dib)), 34) << bits << " " << height;
      EXPECT_EQ(test::BitCountOf(page.dib), bits);
    }
  }
}

TEST(TiffRoundTrip, JpegQualityCounts) {
  const OwnedBlock dib = SomeDib(200, 200, 24);
  EXPECT_LT(Written(dib, Compression::kJpeg, {}, 30).size(),
            Written(dib, Compression::kJpeg, {}, 95).size() / 2);
}

TEST(TiffRoundTrip, LzwOfFlatAndOfRandomPages) {
  // Tables that fill up and are cleared, strings of thousands of bytes, strips that end just then.
  for (const uint32_t width : {1U, 3000U, 4093U, 4094U, 4095U, 130'000U}) {
    const OwnedBlock flat(SomeDib(width, 3, 8, true));
    {
      const LockedBlock lock(flat.get());
      const auto rows = lock.Bytes().subspan(DibView(lock.Bytes()).Layout().rowsOffset);
      std::fill(rows.begin(), rows.end(), static_cast<unsigned char>(7));
    }
    EXPECT_EQ(Colours(ReadPage(Written(flat, Compression::kLzw)).dib), Colours(flat));
    ExpectSame(SomeDib(width, 3, 8), Compression::kLzw, 8);
  }
}

TEST(TiffRoundTrip, LzwStripsOfEveryLength) {
  for (uint32_t width = 1; width <= 4500; width += width < 300 ? 1 : 97) {
    ExpectSame(SomeDib(width, 1, 8), Compression::kLzw, 8);
  }
}

TEST(TiffRoundTrip, RefusesWhatItDoesNotHold) {
  EXPECT_EQ(test::FaultOf([] { Written(SomeDib(4, 4, 16), Compression::kNone); }),
            ImageFault::kNotHeld);
  EXPECT_EQ(test::FaultOf([] { Written(SomeDib(4, 4, 8), Compression::kG4); }),
            ImageFault::kNotHeld);
  EXPECT_EQ(test::FaultOf([] { Written(SomeDib(4, 4, 8), Compression::kJpeg); }),
            ImageFault::kNotHeld);
  EXPECT_EQ(test::FaultOf([] { Written(SomeDib(4, 4, 1), Compression::kRunLength); }),
            ImageFault::kNotHeld);
}

TEST(TiffRoundTrip, WhatACodecCannotTakeIsTold) {
  // JPEG counts to 65500.
  EXPECT_EQ(test::FaultOf([] { Written(SomeDib(70'000, 1, 24), Compression::kJpeg); }),
            ImageFault::kTooLarge);
}

TEST(TiffRoundTrip, TheSamePageGivesTheSameBytes) {
  const OwnedBlock dib = SmoothDib(100, 100, 24);
  for (const Compression compression : {Compression::kLzw, Compression::kJpeg}) {
    EXPECT_EQ(Written(dib, compression), Written(dib, compression));
  }
}

Resolution Resolved(const Resolution& resolution) {
  PageMetadata metadata;
  metadata.resolution = resolution;
  return ReadPage(Written(SomeDib(3, 2, 8), Compression::kNone, metadata)).metadata.resolution;
}

TEST(TiffRoundTrip, ResolutionsAreExact) {
  for (const Rational value :
       {Rational{300, 1}, Rational{2999994, 10000}, Rational{11811, 100}, Rational{1, 3},
        Rational{4294967295, 4294967294}, Rational{1, 4294967295}, Rational{4294967295, 1},
        Rational{600, 2}}) {
    for (const ResolutionUnit unit :
         {ResolutionUnit::kInch, ResolutionUnit::kCentimetre, ResolutionUnit::kNone}) {
      const Resolution resolution{unit, value, {200, 7}};
      EXPECT_EQ(Resolved(resolution), resolution) << value.numerator << "/" << value.denominator;
    }
  }
}

TEST(TiffRoundTrip, MetresBecomeCentimetres) {
  EXPECT_EQ(Resolved({ResolutionUnit::kMetre, {11811, 1}, {3937, 1}}),
            (Resolution{ResolutionUnit::kCentimetre, {11811, 100}, {3937, 100}}));
  EXPECT_EQ(Resolved({ResolutionUnit::kMetre, {20000, 3}, {150, 1}}),
            (Resolution{ResolutionUnit::kCentimetre, {200, 3}, {3, 2}}));
}

TEST(TiffRoundTrip, NoResolutionStaysNone) {
  EXPECT_EQ(Resolved({}), Resolution{});
  EXPECT_EQ(Resolved({ResolutionUnit::kInch, {300, 0}, {300, 1}}), Resolution{});
}

TEST(TiffRoundTrip, TheHeaderHasTheResolution) {
  PageMetadata metadata;
  metadata.resolution = ResolutionOfDpi(300);
  const PageImage page = ReadPage(Written(SomeDib(3, 2, 8), Compression::kNone, metadata));
  const LockedBlock lock(page.dib.get());
  EXPECT_EQ(DibView(lock.Bytes()).XPelsPerMeter(), 11811);
}

Bytes Profile(const char* space, size_t size) {
  Bytes profile(size, 0x5A);
  std::copy_n(space, 4, profile.begin() + 16);
  return profile;
}

TEST(TiffRoundTrip, TextsAndProfilesGoAlong) {
  PageMetadata metadata;
  metadata.iccProfile = Profile("RGB ", 3000);
  for (int kind = 0; kind <= static_cast<int>(TextKind::kCopyright); ++kind) {
    metadata.texts.push_back({static_cast<TextKind>(kind), "text " + std::to_string(kind)});
  }
  metadata.texts[0].text = "Gr\xC3\xBC\xC3\x9F\x65 and \xE4 Latin";
  metadata.texts[6].text = "2020:01:02 03:04:05";
  const Bytes file = Written(SomeDib(5, 5, 24), Compression::kLzw, metadata);
  const PageImage page = ReadPage(file);
  EXPECT_EQ(page.metadata.texts, metadata.texts);
  EXPECT_EQ(page.metadata.iccProfile, metadata.iccProfile);
  EXPECT_TRUE(OpenBytes(file)->Describe(0).hasProfile);
}

TEST(TiffRoundTrip, DatesOfAnyFormGoAlong) {
  PageMetadata metadata;
  for (const std::string date : {"2020", "the day before yesterday, late in the evening"}) {
    metadata.texts = {{TextKind::kDateTime, date}};
    const Bytes file = Written(SomeDib(5, 5, 24), Compression::kLzw, metadata);
    EXPECT_EQ(ReadPage(file).metadata.texts, metadata.texts);
  }
}

TEST(TiffRoundTrip, ProfilesOfOtherColoursAreLeftOut) {
  PageMetadata metadata;
  metadata.iccProfile = Profile("RGB ", 200);
  const OwnedBlock grey = SomeDib(5, 5, 8, true);
  EXPECT_TRUE(ReadPage(Written(grey, Compression::kNone, metadata)).metadata.iccProfile.empty());
  metadata.iccProfile = Profile("GRAY", 200);
  EXPECT_EQ(ReadPage(Written(grey, Compression::kNone, metadata)).metadata.iccProfile.size(), 200U);
}

struct PageWay {
  uint16_t bits;
  Compression compression;
};

PageWay WayOf(uint32_t page) {
  constexpr PageWay kWays[] = {{1, Compression::kG4},      {24, Compression::kLzw},
                               {8, Compression::kDeflate}, {1, Compression::kG3},
                               {24, Compression::kNone},   {4, Compression::kPackBits}};
  return kWays[page % std::size(kWays)];
}

void AddPages(ImageWriter& writer, uint32_t count) {
  for (uint32_t i = 0; i < count; ++i) {
    const OwnedBlock dib = SomeDib(20 + i, 9, WayOf(i).bits);
    const LockedBlock lock(dib.get());
    PageMetadata metadata;
    metadata.resolution = ResolutionOfDpi(100 + i);
    metadata.texts.push_back({TextKind::kPageName, "page " + std::to_string(i)});
    writer.Add(DibView(lock.Bytes()), metadata, {WayOf(i).compression, 90});
  }
}

void ExpectPages(const Bytes& file, uint32_t count) {
  const auto reader = OpenBytes(file);
  ASSERT_EQ(reader->PageCount(), count);
  for (uint32_t i = 0; i < count; ++i) {
    EXPECT_EQ(reader->Describe(i).compression, WayOf(i).compression);
    const PageImage page = reader->Read(i);
    EXPECT_EQ(page.metadata.resolution, ResolutionOfDpi(100 + i));
    EXPECT_EQ(page.metadata.texts[0].text, "page " + std::to_string(i));
    EXPECT_EQ(Colours(page.dib), Colours(SomeDib(20 + i, 9, WayOf(i).bits)));
  }
}

TEST(TiffRoundTrip, ManyPages) {
  MemorySink sink;
  const auto writer = MakeTiff(sink);
  AddPages(*writer, 40);
  writer->Finish();
  ExpectPages(sink.Bytes(), 40);
}

TEST(TiffRoundTrip, AStreamGetsTheSameFile) {
  MemorySink memory;
  const auto first = MakeTiff(memory);
  AddPages(*first, 5);
  first->Finish();
  std::ostringstream stream;
  StreamSink sink(stream);
  const auto second = MakeTiff(sink);
  AddPages(*second, 5);
  second->Finish();
  const std::string text = stream.str();
  EXPECT_EQ(Bytes(text.begin(), text.end()), memory.Bytes());
}

TEST(TiffRoundTrip, BecomesABigFileWhereverTheLimitIs) {
  for (const uint64_t limit : {0U, 5'000U, 10'000U, 20'000U}) {
    MemorySink sink;
    const auto writer = MakeTiff(sink, limit);
    AddPages(*writer, 20);
    writer->Finish();
    EXPECT_EQ(sink.Bytes()[2], 43) << limit;
    ExpectPages(sink.Bytes(), 20);
  }
}

TEST(TiffRoundTrip, ThousandsOfPagesTakeNoMoreMemoryOrTimeEach) {
  constexpr uint32_t kPages = 5000;
  MemorySink sink;
  const auto writer = MakeTiff(sink);
  for (uint32_t i = 0; i < kPages; ++i) {
    const OwnedBlock dib = SomeDib(8 + i % 5, 4, 1);
    const LockedBlock lock(dib.get());
    writer->Add(DibView(lock.Bytes()), {}, {Compression::kG4, 90});
  }
  writer->Finish();
  const auto reader = OpenBytes(sink.Bytes());
  const uint64_t blocks = ReadMemoryCounters().liveBlocks;
  for (uint32_t i = 0; i < kPages; ++i) {
    EXPECT_EQ(reader->Describe(i).width, 8 + i % 5);
    reader->Read(i);
  }
  EXPECT_EQ(ReadMemoryCounters().liveBlocks, blocks);
  EXPECT_EQ(reader->PageCount(), kPages);
}

// Takes so many bytes and no more.
class FullSink : public ByteSink {
 public:
  explicit FullSink(uint64_t room) : room_(room) {}
  void Write(std::span<const unsigned char> bytes) override {
    RequireRoom(kept_.Bytes().size() + bytes.size());
    kept_.Write(bytes);
  }
  bool IsSeekable() const override { return true; }
  void WriteAt(uint64_t offset, std::span<const unsigned char> bytes) override {
    RequireRoom(offset + bytes.size());
    kept_.WriteAt(offset, bytes);
  }
  size_t ReadAt(uint64_t offset, std::span<unsigned char> into) override {
    return kept_.ReadAt(offset, into);
  }

 private:
  void RequireRoom(uint64_t end) const {
    if (end > room_) {
      throw FileError("cannot write", ENOSPC);
    }
  }

  uint64_t room_;
  MemorySink kept_;
};

TEST(TiffRoundTrip, AFullDiskIsTold) {
  const OwnedBlock dib = SomeDib(300, 300, 8);
  const LockedBlock lock(dib.get());
  for (const Compression compression :
       {Compression::kNone, Compression::kLzw, Compression::kDeflate, Compression::kPackBits}) {
    const Bytes whole = Written(dib, compression);
    for (uint64_t room = 0; room < whole.size(); room += 997) {
      FullSink sink(room);
      try {
        const auto writer = MakeTiff(sink);
        writer->Add(DibView(lock.Bytes()), {}, {compression, 90});
        writer->Finish();
        ADD_FAILURE() << "room for " << room;
      } catch (const FileError& error) {
        EXPECT_EQ(error.ErrorNumber(), ENOSPC);
      }
    }
  }
}

TEST(TiffRoundTrip, AFullDiskIsToldOfFaxPages) {
  const OwnedBlock dib = SomeDib(2000, 900, 1);
  const LockedBlock lock(dib.get());
  const Bytes whole = Written(dib, Compression::kG4);
  for (uint64_t room = 0; room < whole.size(); room += whole.size() / 50) {
    FullSink sink(room);
    EXPECT_THROW(
        {
          const auto writer = MakeTiff(sink);
          writer->Add(DibView(lock.Bytes()), {}, {Compression::kG4, 90});
          writer->Finish();
        },
        FileError);
  }
}

}  // namespace
}  // namespace dibkit::host
