// SPDX-License-Identifier: Apache-2.0
//
// Which pages a TIFF file has, and what goes with them.
#include <gtest/gtest.h>

#include <bit>
#include <sstream>

#include "dibkit/host/document.h"
#include "image_pages.h"
#include "loaded_dib.h"
#include "tiff_builder.h"

namespace dibkit::host {
namespace {

using test::Bytes;
using test::FaultOf;
using test::OpenBytes;
using test::PlainPage;
using test::TiffBuilder;
using test::TiffPage;

constexpr uint16_t kSubfileType = 254;
constexpr uint16_t kOldSubfileType = 255;
constexpr uint16_t kXResolution = 282;
constexpr uint16_t kYResolution = 283;
constexpr uint16_t kResolutionUnit = 296;

// A page of one pixel, told from others by its grey.
TiffPage Dot(uint32_t grey) { return PlainPage({1, 1, 8, 1, 1, {grey}}); }

std::vector<uint32_t> Dots(const Bytes& file) {
  const auto reader = OpenBytes(file);
  std::vector<uint32_t> greys;
  for (uint32_t i = 0; i < reader->PageCount(); ++i) {
    greys.push_back(test::Colours(reader->Read(i).dib)[0] & 0xFF);
  }
  return greys;
}

Bytes FileOf(std::vector<TiffPage> pages, std::optional<uint64_t> afterLast = {}) {
  return TiffBuilder{false, false, std::move(pages), afterLast}.Build();
}

// What reading the page says.
std::string Complaint(const Bytes& file, uint32_t page) {
  const auto reader = OpenBytes(file);
  try {
    reader->Read(page);
  } catch (const ImageError& error) {
    EXPECT_EQ(error.Fault(), ImageFault::kDamaged);
    return error.what();
  }
  return "";
}

TEST(TiffPages, CountFromZeroInAnyOrder) {
  const Bytes file = FileOf({Dot(10), Dot(20), Dot(30)});
  EXPECT_EQ(Dots(file), (std::vector<uint32_t>{10, 20, 30}));
  const auto reader = OpenBytes(file);
  EXPECT_EQ(test::Colours(reader->Read(2).dib)[0], 0x1E1E1EU);
  EXPECT_EQ(test::Colours(reader->Read(0).dib)[0], 0x0A0A0AU);
  EXPECT_EQ(test::Colours(reader->Read(0).dib)[0], 0x0A0A0AU);
  EXPECT_EQ(FaultOf([&] { reader->Read(3); }), ImageFault::kNoSuchPage);
  EXPECT_EQ(FaultOf([&] { reader->Describe(3); }), ImageFault::kNoSuchPage);
}

TEST(TiffPages, ThumbnailsAndMasksAreNone) {
  TiffPage thumbnail = Dot(1);
  thumbnail.Set(kSubfileType, test::kTiffLong, {1});
  TiffPage mask = Dot(2);
  mask.Set(kSubfileType, test::kTiffLong, {4});
  TiffPage old = Dot(3);
  old.Set(kOldSubfileType, test::kTiffShort, {2});
  TiffPage page = Dot(4);
  page.Set(kSubfileType, test::kTiffLong, {2});
  EXPECT_EQ(Dots(FileOf({thumbnail, Dot(10), mask, page, old, Dot(20)})),
            (std::vector<uint32_t>{10, 4, 20}));
}

TEST(TiffPages, ThumbnailsAloneArePages) {
  TiffPage thumbnail = Dot(1);
  thumbnail.Set(kSubfileType, test::kTiffLong, {1});
  EXPECT_EQ(Dots(FileOf({thumbnail, thumbnail})), (std::vector<uint32_t>{1, 1}));
}

TEST(TiffPages, ABrokenChainIsAPageThatCannotBeRead) {
  for (const uint64_t next : {5'000'000U, 3U}) {
    const Bytes file = FileOf({Dot(10), Dot(20)}, next);
    const auto reader = OpenBytes(file);
    EXPECT_EQ(reader->PageCount(), 3U);
    EXPECT_EQ(test::Colours(reader->Read(1).dib)[0], 0x141414U);
    EXPECT_EQ(Complaint(file, 2),
              "the file ends before the directory of the page, or it is damaged there");
  }
}

TEST(TiffPages, AChainThatComesBackEnds) {
  // The first directory is behind the header and one byte of pixels, at the next multiple of 8.
  const Bytes file = FileOf({Dot(10), Dot(20)}, 16);
  EXPECT_EQ(OpenBytes(file)->PageCount(), 3U);
  EXPECT_EQ(Complaint(file, 2), "the list of pages comes back to a page before");
}

TEST(TiffPages, AFileWithoutPagesIsDamaged) {
  EXPECT_EQ(Complaint(FileOf({}), 0), "the file has no pages");
  EXPECT_EQ(FaultOf([] { OpenBytes(Bytes{'I', 'I', 42, 0})->Read(0); }), ImageFault::kDamaged);
}

TEST(TiffPages, TooManyPagesAreBounded) {
  const Bytes file = FileOf(std::vector<TiffPage>(65540, Dot(9)));
  const auto reader = OpenBytes(file);
  EXPECT_EQ(reader->PageCount(), 65536U);
  EXPECT_EQ(test::Colours(reader->Read(65534).dib)[0], 0x090909U);
  EXPECT_EQ(Complaint(file, 65535), "the file has more than 65535 pages");
}

TEST(TiffPages, OneBadPageLeavesTheOthers) {
  TiffPage bad = Dot(2);
  bad.offsets = {9'000'000};
  const Bytes file = FileOf({Dot(1), bad, Dot(3)});
  const auto reader = OpenBytes(file);
  EXPECT_EQ(FaultOf([&] { reader->Read(1); }), ImageFault::kDamaged);
  EXPECT_EQ(test::Colours(reader->Read(2).dib)[0], 0x030303U);
  EXPECT_EQ(FaultOf([&] { reader->Read(1); }), ImageFault::kDamaged);
  EXPECT_EQ(test::Colours(reader->Read(0).dib)[0], 0x010101U);
}

TEST(TiffPages, PagesThatWereNeverWrittenAreDamaged) {
  for (const unsigned compression : {1U, 5U, 8U}) {
    TiffPage page = Dot(1);
    page.Set(259, test::kTiffShort, {compression});
    page.offsets = {0};
    EXPECT_EQ(Complaint(FileOf({page}), 0), "a part of the page was never written");
  }
}

Resolution ResolutionIn(const TiffPage& page) {
  return test::ReadPage(FileOf({page})).metadata.resolution;
}

TiffPage WithResolution(uint16_t type, std::vector<uint64_t> x, std::vector<uint64_t> y,
                        uint64_t unit) {
  TiffPage page = Dot(1);
  page.Set(kXResolution, type, std::move(x))
      .Set(kYResolution, type, std::move(y))
      .Set(kResolutionUnit, test::kTiffShort, {unit});
  return page;
}

TEST(TiffPages, ResolutionsAreExactInEveryUnit) {
  const std::vector<uint64_t> x{2999994, 10000};
  const std::vector<uint64_t> y{4294967295, 4294967291};
  const ResolutionUnit units[] = {ResolutionUnit::kNone, ResolutionUnit::kInch,
                                  ResolutionUnit::kCentimetre};
  for (uint64_t unit = 1; unit <= 3; ++unit) {
    EXPECT_EQ(ResolutionIn(WithResolution(test::kTiffRational, x, y, unit)),
              (Resolution{units[unit - 1], {2999994, 10000}, {4294967295, 4294967291}}));
  }
}

TEST(TiffPages, ResolutionsOfOtherTypes) {
  EXPECT_EQ(ResolutionIn(WithResolution(test::kTiffShort, {300}, {301}, 2)),
            (Resolution{ResolutionUnit::kInch, {300, 1}, {301, 1}}));
  EXPECT_EQ(ResolutionIn(WithResolution(test::kTiffFloat, {std::bit_cast<uint32_t>(118.25F)},
                                        {std::bit_cast<uint32_t>(100.0F)}, 3)),
            (Resolution{ResolutionUnit::kCentimetre, {473, 4}, {100, 1}}));
}

TEST(TiffPages, AbsurdResolutionsAreToldAsTheyAre) {
  EXPECT_EQ(ResolutionIn(WithResolution(test::kTiffRational, {300, 0}, {0, 1}, 2)),
            (Resolution{ResolutionUnit::kInch, {300, 0}, {0, 1}}));
  EXPECT_EQ(ResolutionIn(Dot(1)), Resolution{});
  EXPECT_EQ(
      ResolutionIn(WithResolution(test::kTiffRational, {300, 1}, {300, 1}, 2).Remove(kYResolution)),
      Resolution{});
}

TEST(TiffPages, WithoutAUnitTheInchIsMeant) {
  EXPECT_EQ(ResolutionIn(
                WithResolution(test::kTiffRational, {300, 1}, {300, 1}, 2).Remove(kResolutionUnit)),
            ResolutionOfDpi(300));
}

TEST(TiffPages, TextsEndAtTheFirstZero) {
  TiffPage page = Dot(1);
  page.SetText(270, std::string("before\0after", 12)).SetText(315, "").SetText(305, "a\xFF\nb");
  const PageMetadata metadata = test::ReadPage(FileOf({page})).metadata;
  EXPECT_EQ(metadata.texts, (std::vector<PageText>{{TextKind::kDescription, "before"},
                                                   {TextKind::kSoftware, "a\xFF\nb"}}));
}

TEST(TiffPages, WarningsGoToTheHookInFewLines) {
  std::vector<std::string> heard;
  ReadOptions options;
  options.warning = [&heard](const std::string& text) { heard.push_back(text); };
  TiffPage page = Dot(1);
  for (const uint16_t tag :
       std::initializer_list<uint16_t>{263, 264, 265, 266, 290, 297, 301, 332, 334}) {
    page.Set(tag, test::kTiffAscii, {'x', '\n', 0});
  }
  page.Set(60000, test::kTiffShort, {1});
  const Bytes file = FileOf({page});
  OpenBytes(file, options)->Read(0);
  EXPECT_GE(heard.size(), 1U);
  EXPECT_LE(heard.size(), 4U);
  for (const std::string& text : heard) {
    EXPECT_EQ(text.find('\n'), std::string::npos);
    EXPECT_EQ(text.find("Unknown field"), std::string::npos);
  }
}

TEST(TiffPages, TheHookMayThrow) {
  ReadOptions options;
  options.warning = [](const std::string&) { throw std::domain_error("no"); };
  TiffPage page = Dot(1);
  page.Set(263, test::kTiffAscii, {'x', 0});
  const Bytes file = FileOf({page});
  EXPECT_THROW(OpenBytes(file, options)->Read(0), std::domain_error);
}

TEST(TiffPages, CancellingStopsBetweenRows) {
  unsigned asked = 0;
  ReadOptions options;
  options.cancelled = [&asked] { return ++asked == 3; };
  const Bytes file = FileOf({PlainPage({1, 9, 8, 1, 1, test::SomeSamples(9, 8)})});
  const uint64_t blocks = ReadMemoryCounters().liveBlocks;
  EXPECT_THROW(OpenBytes(file, options)->Read(0), Cancelled);
  EXPECT_EQ(asked, 3U);
  EXPECT_EQ(ReadMemoryCounters().liveBlocks, blocks);
}

TEST(TiffPages, StreamsAreReadAsFilesAre) {
  const Bytes file = FileOf({Dot(10), Dot(20), Dot(30)});
  std::istringstream stream(std::string(file.begin(), file.end()));
  Document document = Document::FromStream(stream);
  EXPECT_EQ(document.Format(), ImageFormat::kTiff);
  EXPECT_EQ(document.PageCount(), 3U);
  EXPECT_EQ(document.Read(2).Rows().Row(0)[0], 30);
}

TEST(TiffPages, AStreamIsNotReadFurtherThanPagesCanNeed) {
  TiffPage far = Dot(1);
  far.offsets = {200'000'000};
  Bytes file = FileOf({far});
  file.resize(210'000'000);
  std::istringstream stream(std::string(file.begin(), file.end()));
  Document document = Document::FromStream(stream, {.maxPixels = 1000});
  try {
    document.Read(0);
    ADD_FAILURE();
  } catch (const PageError& error) {
    EXPECT_EQ(error.Fault(), PageFault::kTooManyPixels);
    EXPECT_LT(stream.tellg(), 70'000'000);
  }
}

}  // namespace
}  // namespace dibkit::host
