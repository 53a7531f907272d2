// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cerrno>
#include <functional>
#include <sstream>
#include <stdexcept>

#include "dibkit/Cnv_res_mem.h"
#include "dibkit/host/left_behind.h"
#include "dibkit/host/page.h"
#include "loaded_dib.h"
#include "temporary_directory.h"

namespace dibkit::host {
namespace {

using test::BitmapBuilder;
using test::Bytes;
using test::ReadFile;
using test::TemporaryDirectory;

class Pages : public testing::Test {
 protected:
  void TearDown() override { EXPECT_EQ(ReadMemoryCounters().liveBlocks, 0U); }

  TemporaryDirectory directory_;
};

std::optional<PageFault> FaultOf(const std::function<void()>& work) {
  try {
    work();
    return std::nullopt;
  } catch (const PageError& error) {
    EXPECT_STRNE(error.what(), "");
    return error.Fault();
  }
}

BitmapBuilder FileOf(uint16_t bits, int32_t width = 13, int32_t height = 7) {
  BitmapBuilder file;
  file.bitCount = bits;
  file.width = width;
  file.height = height;
  return file;
}

Page PageOf(const BitmapBuilder& file) { return Page::FromBytes(file.Build()); }

Bytes SavedBytes(const Page& page) {
  std::ostringstream stream;
  page.Save(stream, {.format = ImageFormat::kBmp});
  const std::string text = stream.str();
  return Bytes(text.begin(), text.end());
}

Bytes BlockOf(const Page& page) {
  const LockedBlock lock(page.Handle());
  const auto bytes = DibView(lock.Bytes()).Bytes();
  return Bytes(bytes.begin(), bytes.end());
}

TEST_F(Pages, TellWhatTheyAre) {
  const Page page = PageOf(FileOf(8));
  EXPECT_EQ(page.Width(), 13U);
  EXPECT_EQ(page.Height(), 7U);
  EXPECT_EQ(page.BitCount(), 8U);
  EXPECT_EQ(page.DpiX(), 300U);
  EXPECT_EQ(page.DpiY(), 300U);
  EXPECT_EQ(page.ExactResolution(), ResolutionOfDpi(300));
}

TEST_F(Pages, OpenFromPathsBytesAndStreamsAlike) {
  const Bytes file = FileOf(24).Build();
  const std::string path = directory_.Write("in.bmp", file);
  std::istringstream stream(std::string(file.begin(), file.end()));
  const Bytes expected = BlockOf(Page::FromBytes(file));
  EXPECT_EQ(BlockOf(Page::Open(path)), expected);
  EXPECT_EQ(BlockOf(Page::FromStream(stream)), expected);
}

TEST_F(Pages, AreToldByContentNotByName) {
  EXPECT_EQ(Page::Open(directory_.Write("scan.png", FileOf(8).Build())).Width(), 13U);
}

TEST_F(Pages, RowsCountFromTheTop) {
  for (const int32_t height : {3, -3}) {
    BitmapBuilder file = FileOf(8, 4, height);  // rows count up from 1 in the file
    const Page page = PageOf(file);
    const PageRows rows = page.Rows();
    EXPECT_EQ(rows.Row(0)[0], height > 0 ? 9 : 1);
    EXPECT_EQ(rows.Row(2)[0], height > 0 ? 1 : 9);
    EXPECT_TRUE(rows.HasGreyTable());
    EXPECT_EQ(rows.Table().size(), 1024U);
  }
}

TEST_F(Pages, EveryDepthIsPlainFromTheStart) {
  for (const uint16_t bits : std::initializer_list<uint16_t>{1, 2, 4, 8, 16, 24, 32}) {
    const Page page = PageOf(FileOf(bits, 13, -5));
    EXPECT_EQ(page.BitCount(), bits == 2 ? 4U : bits);
    EXPECT_EQ(page.Height(), 5U);
  }
}

TEST_F(Pages, ResampleGivesTheLibrarysBytes) {
  for (const uint16_t bits : std::initializer_list<uint16_t>{1, 4, 8, 24}) {
    const BitmapBuilder file = FileOf(bits, 40, 31);
    Page page = PageOf(file);
    page.Resample({.dpi = 200, .threshold = 100});
    const OwnedBlock source = test::Load(file);
    LeftBehind scope;
    tagHANDLE* result = nullptr;
    ASSERT_EQ(ConvertResolution(source.get(), &result, nullptr, 200, 100), CNV_OK);
    const OwnedBlock expected(result);
    scope.Keep(result);
    const LockedBlock lock(expected.get());
    DibView view(lock.Bytes());
    view.SetPelsPerMeter(7874, 7874);  // a palette image comes without
    EXPECT_EQ(BlockOf(page), Bytes(view.Bytes().begin(), view.Bytes().end())) << bits;
    EXPECT_EQ(page.DpiX(), 200U);
  }
}

TEST_F(Pages, OtherDepthsAreResampledAt24Bits) {
  for (const uint16_t bits : std::initializer_list<uint16_t>{16, 32}) {
    Page page = PageOf(FileOf(bits, 40, 31));
    Page widened = PageOf(FileOf(bits, 40, 31));
    widened.To24();
    page.Resample({.dpi = 200});
    widened.Resample({.dpi = 200});
    EXPECT_EQ(page.BitCount(), 24U);
    EXPECT_EQ(BlockOf(page), BlockOf(widened));
  }
}

// The pixels of a page of 24 bits.
Bytes TopDownPixels(const Page& page) {
  const PageRows rows = page.Rows();
  Bytes pixels;
  for (uint32_t y = 0; y < rows.Height(); ++y) {
    const auto row = rows.Row(y).first(size_t{rows.Width()} * 3);
    pixels.insert(pixels.end(), row.begin(), row.end());
  }
  return pixels;
}

TEST_F(Pages, SixteenBitsKeepTheirPixelsAndAreWidenedOverTheFullRangeOnTheWayOut) {
  BitmapBuilder file = FileOf(16, 4, 1);
  file.pixels = test::HalfWords({0x7FFF, 0x0421, 0x1084, 0x0000});
  const Page page = PageOf(file);
  EXPECT_EQ(page.BitCount(), 16U);
  const Bytes widened{255, 255, 255, 8, 8, 8, 33, 33, 33, 0, 0, 0};
  Page wide = PageOf(file);
  wide.To24();
  EXPECT_EQ(TopDownPixels(wide), widened);
  for (const ImageFormat format : BuiltInFormats()) {
    std::ostringstream stream;
    page.Save(stream, {.format = format, .jpegQuality = 100});
    const std::string saved = stream.str();
    const Page back =
        Page::FromBytes({reinterpret_cast<const unsigned char*>(saved.data()), saved.size()});
    EXPECT_EQ(back.BitCount(), format == ImageFormat::kBmp ? 16U : 24U);
    if (back.BitCount() == 24 && format != ImageFormat::kJpeg) {
      EXPECT_EQ(TopDownPixels(back), widened) << FormatName(format);
    }
  }
  EXPECT_EQ(SavedBytes(page), SavedBytes(PageOf(file)));
}

TEST_F(Pages, ConversionsOf16BitsGoByTheWidenedColours) {
  const std::vector<std::function<void(Page&)>> conversions{
      [](Page& page) { page.ToGrey(); }, [](Page& page) { page.Quantize({.colors = 9}); },
      [](Page& page) { page.Resample({.dpi = 200}); }};
  for (const auto& convert : conversions) {
    Page direct = PageOf(FileOf(16, 40, 31));
    Page widened = PageOf(FileOf(16, 40, 31));
    widened.To24();
    convert(direct);
    convert(widened);
    EXPECT_EQ(BlockOf(direct), BlockOf(widened));
  }
}

TEST_F(Pages, FromDpiOverrulesWhatThePageSays) {
  BitmapBuilder file = FileOf(8, 40, 31);
  Page right = PageOf(file);
  right.Resample({.dpi = 200});
  file.xPelsPerMeter = file.yPelsPerMeter = 0;
  Page unknown = PageOf(file);
  EXPECT_EQ(FaultOf([&] { unknown.Resample({.dpi = 200}); }), PageFault::kNoResolution);
  unknown.Resample({.dpi = 200, .fromDpi = 300});
  EXPECT_EQ(BlockOf(unknown), BlockOf(right));
}

TEST_F(Pages, ConversionsKeepTheResolution) {
  for (const uint16_t bits : std::initializer_list<uint16_t>{1, 4, 8, 16, 24, 32}) {
    Page page = PageOf(FileOf(bits));
    page.To16();
    EXPECT_EQ(page.BitCount(), 16U);
    page.To24();
    EXPECT_EQ(page.BitCount(), 24U);
    page.Quantize({.colors = 5});
    EXPECT_EQ(page.BitCount(), 8U);
    page.ToGrey({.rule = GreyRule::kEasy});
    EXPECT_TRUE(page.Rows().HasGreyTable());
    page.Normalize();
    EXPECT_EQ(page.DpiX(), 300U);
    EXPECT_EQ(ResolutionOfHeader(11811, 11811), page.ExactResolution());
  }
}

TEST_F(Pages, AFailureLeavesThePageAsItWas) {
  Page page = PageOf(FileOf(24, 40, 31));
  const Bytes before = BlockOf(page);
  const std::vector<std::pair<PageFault, std::function<void()>>> failures{
      {PageFault::kBadArgument, [&] { page.Resample({.dpi = 0}); }},
      {PageFault::kBadArgument, [&] { page.Resample({.dpi = 65536}); }},
      {PageFault::kBadArgument, [&] { page.Resample({.fromDpi = 65536}); }},
      {PageFault::kBadArgument, [&] { page.Resample({.threshold = 257}); }},
      {PageFault::kBadArgument, [&] { page.Resample({.threshold = -1}); }},
      {PageFault::kBadArgument, [&] { page.Quantize({.colors = 0}); }},
      {PageFault::kBadArgument, [&] { page.Quantize({.colors = 257}); }},
      {PageFault::kBadArgument, [&] { page.SetDpi(0); }},
      {PageFault::kTooLarge, [&] { page.Resample({.dpi = 65535, .fromDpi = 1}); }},
      {PageFault::kTooLarge, [&] { page.Resample({.dpi = 1}); }},
      {PageFault::kTooManyPixels, [&] { page.Resample({.dpi = 600, .maxPixels = 4000}); }},
      {PageFault::kCancelled, [&] { page.Resample({}, [](unsigned) { return false; }); }},
      {PageFault::kCancelled, [&] { page.To16([](unsigned) { return false; }); }},
      {PageFault::kCancelled, [&] { page.To16([](unsigned p) { return p < 100; }); }}};
  for (const auto& [fault, work] : failures) {
    EXPECT_EQ(FaultOf(work), fault);
    EXPECT_EQ(BlockOf(page), before);
    EXPECT_EQ(page.DpiX(), 300U);
  }
}

TEST_F(Pages, ProgressRisesTo100AndWhatItThrowsComesOut) {
  Page page = PageOf(FileOf(24, 40, 300));
  std::vector<unsigned> told;
  page.Resample({.dpi = 200}, [&](unsigned percent) {
    told.push_back(percent);
    return true;
  });
  EXPECT_GT(told.size(), 50U);
  EXPECT_TRUE(std::is_sorted(told.begin(), told.end()));
  EXPECT_EQ(told.back(), 100U);
  const Bytes before = BlockOf(page);
  const auto thrower = [](unsigned percent) -> bool {
    if (percent == 50) {
      throw std::domain_error("mine");
    }
    return true;
  };
  EXPECT_THROW(page.Resample({.dpi = 300}, thrower), std::domain_error);
  EXPECT_EQ(BlockOf(page), before);
}

TEST_F(Pages, ProgressOfOnePageMayResampleAnother) {
  Page outer = PageOf(FileOf(24, 40, 300));
  Page alone = PageOf(FileOf(24, 40, 300));
  Page inner = PageOf(FileOf(8, 30, 30));
  bool done = false;
  outer.Resample({.dpi = 200}, [&](unsigned percent) {
    if (percent >= 50 && !done) {
      done = true;
      inner.Resample({.dpi = 150}, [](unsigned) { return true; });
    }
    return true;
  });
  alone.Resample({.dpi = 200});
  EXPECT_TRUE(done);
  EXPECT_EQ(BlockOf(outer), BlockOf(alone));
}

TEST_F(Pages, PaletteConversionsLeaveNoCopyBehind) {
  BitmapBuilder file = FileOf(8, 60, 60);
  file.table = file.Table();
  file.table->at(0) = 77;
  Page page = PageOf(file);
  for (int i = 0; i < 20; ++i) {
    page.Resample({.dpi = i % 2 == 0 ? 200U : 300U});
    EXPECT_EQ(ReadMemoryCounters().liveBlocks, 1U);
  }
}

TEST_F(Pages, AreMadeOfHandlesAndGiveThemOut) {
  Page page = PageOf(FileOf(24));
  const Bytes before = BlockOf(page);
  OwnedBlock handle = page.TakeHandle();
  EXPECT_EQ(FaultOf([&] { page.Width(); }), PageFault::kNoImage);
  EXPECT_EQ(FaultOf([&] { page.To16(); }), PageFault::kNoImage);
  EXPECT_EQ(FaultOf([&] { page.Save(directory_.Path("none.bmp")); }), PageFault::kNoImage);
  tagHANDLE* raw = handle.release();
  const Page again = Page::FromHandle(raw);
  EXPECT_EQ(again.Handle(), raw);
  EXPECT_EQ(BlockOf(again), before);
}

TEST_F(Pages, HandlesOfEveryFormBecomePlain) {
  for (const uint16_t bits : std::initializer_list<uint16_t>{1, 4, 8, 16, 24, 32}) {
    const BitmapBuilder file = FileOf(bits, 13, -5);
    const Page page = Page::FromHandle(test::Load(file).release());
    EXPECT_EQ(BlockOf(page), BlockOf(PageOf(file)));
  }
  BitmapBuilder fields = FileOf(32, 13, -5);
  fields.compression = 3;
  fields.masks = test::Words({0xFF, 0xFF00, 0xFF0000});
  EXPECT_EQ(BlockOf(Page::FromHandle(test::Load(fields).release())), BlockOf(PageOf(fields)));
  BitmapBuilder stream = FileOf(4, 13, 5);
  stream.compression = 2;
  stream.pixels = Bytes{13, 0x12, 0, 0, 5, 0x34, 0, 1};
  EXPECT_EQ(BlockOf(Page::FromHandle(test::Load(stream).release())), BlockOf(PageOf(stream)));
}

TEST_F(Pages, UnsoundHandlesStayTheCallers) {
  OwnedBlock small(GlobalAlloc(GHND, 20));
  OwnedBlock zeros(GlobalAlloc(GHND, 100));
  OwnedBlock cut = test::Load(FileOf(24, 100, 100));
  {
    const LockedBlock lock(cut.get());
    lock.Bytes()[8] = 101;  // a row more than there is
  }
  for (const OwnedBlock* block : {&small, &zeros, &cut}) {
    EXPECT_NE(FaultOf([&] { Page::FromHandle(block->get()); }), std::nullopt);
  }
  EXPECT_EQ(FaultOf([] { Page::FromHandle(nullptr); }), PageFault::kNoImage);
  EXPECT_EQ(ReadMemoryCounters().liveBlocks, 3U);
  EXPECT_EQ(ReadMemoryCounters().locks, 0U);
}

TEST_F(Pages, SaveReplacesNothingUnasked) {
  const Page page = PageOf(FileOf(8));
  const std::string path = directory_.Write("out.bmp", Bytes{1, 2, 3});
  try {
    page.Save(path);
    FAIL() << "replaced";
  } catch (const PageError& error) {
    EXPECT_EQ(error.Fault(), PageFault::kFile);
    EXPECT_EQ(error.ErrorNumber(), EEXIST);
  }
  EXPECT_EQ(ReadFile(path), (Bytes{1, 2, 3}));
  page.Save(path, {.replace = true});
  EXPECT_EQ(ReadFile(path), SavedBytes(page));
}

TEST_F(Pages, SaveWantsToKnowTheFormat) {
  const Page page = PageOf(FileOf(8));
  EXPECT_EQ(FaultOf([&] { page.Save(directory_.Path("out")); }), PageFault::kBadArgument);
  EXPECT_EQ(FaultOf([&] { page.Save(directory_.Path("out.xyz")); }), PageFault::kBadArgument);
  std::ostringstream stream;
  EXPECT_EQ(FaultOf([&] { page.Save(stream, {}); }), PageFault::kBadArgument);
  page.Save(directory_.Path("out"), {.format = ImageFormat::kBmp});
  EXPECT_EQ(directory_.Names(), std::vector<std::string>{"out"});
}

TEST_F(Pages, WhatAFormatCannotHoldIsToldBeforeAFileAppears) {
  Page page = PageOf(FileOf(8));
  EXPECT_EQ(
      FaultOf([&] { page.Save(directory_.Path("out.bmp"), {.compression = Compression::kLzw}); }),
      PageFault::kNotHeld);
  EXPECT_EQ(FaultOf([&] { page.Save(directory_.Path("out.bmp"), {.jpegQuality = 0}); }),
            PageFault::kBadArgument);
  EXPECT_TRUE(directory_.Names().empty());
}

TEST_F(Pages, LimitsHoldBeforeAnythingIsAllocated) {
  BitmapBuilder file = FileOf(24, 30000, 30000);
  file.pixels = Bytes{};
  ResetPeakBytes();
  const uint64_t before = ReadMemoryCounters().peakBytes;
  EXPECT_EQ(FaultOf([&] { PageOf(file); }), PageFault::kTooManyPixels);
  EXPECT_EQ(FaultOf([&] { Page::FromBytes(FileOf(8, 100, 100).Build(), {.maxPixels = 9999}); }),
            PageFault::kTooManyPixels);
  EXPECT_EQ(ReadMemoryCounters().peakBytes, before);
}

TEST_F(Pages, OtherFilesAreNoImages) {
  EXPECT_EQ(FaultOf([] { Page::FromBytes(Bytes{}); }), PageFault::kNotAnImage);
  EXPECT_EQ(FaultOf([] { Page::FromBytes(Bytes{'P', '6', '\n'}); }), PageFault::kNotAnImage);
  EXPECT_EQ(FaultOf([&] { Page::Open(directory_.Path("absent.bmp")); }), PageFault::kFile);
  EXPECT_EQ(FaultOf([] { Page::FromBytes(FileOf(8).Build(), {.page = 1}); }),
            PageFault::kNoSuchPage);
  Bytes cut = FileOf(8).Build();
  cut.resize(cut.size() - 4);  // the padding of the last row and a pixel
  EXPECT_EQ(FaultOf([&] { Page::FromBytes(cut); }), PageFault::kDamaged);
}

TEST_F(Pages, StreamsAreReadNoFurtherThanTheImageNeeds) {
  Bytes file = FileOf(24).Build();
  const size_t size = file.size();
  file.resize(size + (size_t{1} << 20));
  std::istringstream stream(std::string(file.begin(), file.end()));
  Page::FromStream(stream);
  EXPECT_LE(static_cast<size_t>(stream.tellg()), size);
}

}  // namespace
}  // namespace dibkit::host
