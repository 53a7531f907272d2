// SPDX-License-Identifier: Apache-2.0
//
// Bitmap files whose pixels are JPEG or PNG files.
#include <gtest/gtest.h>

#include <istream>
#include <sstream>
#include <utility>

#include "damage.h"
#include "dibkit/host/page.h"
#include "endless_tail.h"
#include "image_pages.h"
#include "loaded_dib.h"

namespace dibkit::host {
namespace {

using test::BitmapBuilder;
using test::Bytes;

// What the pixels are, and the number that says so.
struct Kind {
  ImageFormat format;
  uint32_t compression;
};

std::vector<Kind> Kinds() {
  std::vector<Kind> kinds;
  for (const Kind kind : {Kind{ImageFormat::kJpeg, 4}, Kind{ImageFormat::kPng, 5}}) {
    if (IsBuiltIn(kind.format)) {
      kinds.push_back(kind);
    }
  }
  return kinds;
}

Bytes Inner(const Kind& kind, uint16_t bits = 24) {
  const OwnedBlock dib = test::SmoothDib(40, 30, bits);
  return test::WritePage(kind.format, dib, {}, {UsualCompression(kind.format, bits)});
}

BitmapBuilder FileOf(const Kind& kind, const Bytes& inner) {
  BitmapBuilder file;
  file.headerBytes = 124;
  file.compression = kind.compression;
  file.bitCount = 0;
  file.table = Bytes();
  file.width = 40;
  file.height = 30;
  file.pixels = inner;
  file.sizeImage = static_cast<uint32_t>(inner.size());
  return file;
}

TEST(BmpEmbedded, PixelsAreThoseOfTheFileInside) {
  for (const Kind& kind : Kinds()) {
    for (const uint16_t bits : std::initializer_list<uint16_t>{8, 24}) {
      const Bytes inner = Inner(kind, bits);
      const Bytes file = FileOf(kind, inner).Build();
      const auto reader = test::OpenBytes(file);
      const PageDescription page = reader->Describe(0);
      EXPECT_EQ(reader->Format(), ImageFormat::kBmp);
      EXPECT_EQ(page.compressionText, kind.compression == 4 ? "JPEG" : "PNG");
      EXPECT_EQ(page.width, 40U);
      EXPECT_EQ(page.bitCount, bits);
      EXPECT_EQ(page.obstacle, "");
      const PageImage image = reader->Read(0);
      EXPECT_EQ(test::Colours(image.dib), test::Colours(test::ReadPage(inner).dib));
      EXPECT_EQ(image.metadata.resolution, ResolutionOfDpi(300));
      const LockedBlock lock(image.dib.get());
      EXPECT_EQ(DibView(lock.Bytes()).XPelsPerMeter(), 11811);
    }
  }
}

TEST(BmpEmbedded, AResolutionThatTheHeaderLacksIsTheOneInside) {
  for (const Kind& kind : Kinds()) {
    const Bytes inner =
        test::WritePage(kind.format, test::SmoothDib(40, 30, 24),
                        {.resolution = ResolutionOfDpi(150)}, {UsualCompression(kind.format, 24)});
    BitmapBuilder file = FileOf(kind, inner);
    file.xPelsPerMeter = file.yPelsPerMeter = 0;
    EXPECT_EQ(test::ReadPage(file.Build()).metadata.resolution,
              test::ReadPage(inner).metadata.resolution);
  }
}

TEST(BmpEmbedded, PipesAndUnknownLengthsAreReadNoFurtherThanTheFileInside) {
  for (const Kind& kind : Kinds()) {
    for (const bool told : {true, false}) {
      BitmapBuilder file = FileOf(kind, Inner(kind));
      file.sizeImage = told ? file.sizeImage : 0;
      const Bytes bytes = file.Build();
      test::EndlessTail tail(bytes, 'x');
      std::istream stream(&tail);
      const Page page = Page::FromStream(stream);
      EXPECT_EQ(page.Width(), 40U);
      EXPECT_LT(tail.Taken(), bytes.size() + 100'000);
    }
  }
}

TEST(BmpEmbedded, RawPagesAreTheSame) {
  for (const Kind& kind : Kinds()) {
    const Bytes file = FileOf(kind, Inner(kind)).Build();
    Page page = Page::FromBytes(file, {.raw = true});
    EXPECT_TRUE(page.IsPlain());
    page.To24();
    EXPECT_EQ(page.BitCount(), 24U);
  }
}

TEST(BmpEmbedded, SizesThatDisagreeAreTold) {
  for (const Kind& kind : Kinds()) {
    BitmapBuilder file = FileOf(kind, Inner(kind));
    file.width = 41;
    const Bytes bytes = file.Build();
    EXPECT_EQ(test::FaultOf([&] { test::OpenBytes(bytes)->Read(0); }), ImageFault::kDamaged);
  }
}

TEST(BmpEmbedded, OnlyAFileOfThatFormatIsTaken) {
  const auto kinds = Kinds();
  for (const Kind& kind : kinds) {
    for (const Bytes& inner : {Bytes(10), BitmapBuilder().Build(), FileOf(kind, {}).Build()}) {
      const Bytes bytes = FileOf(kind, inner).Build();
      EXPECT_EQ(test::FaultOf([&] { test::OpenBytes(bytes); }), ImageFault::kDamaged);
    }
  }
  if (kinds.size() == 2) {
    const Bytes bytes = FileOf(kinds[0], Inner(kinds[1])).Build();
    EXPECT_EQ(test::FaultOf([&] { test::OpenBytes(bytes); }), ImageFault::kDamaged);
  }
}

TEST(BmpEmbedded, WithoutTheCodecOneLineSaysSo) {
  for (const Kind& kind : {Kind{ImageFormat::kJpeg, 4}, Kind{ImageFormat::kPng, 5}}) {
    if (!IsBuiltIn(kind.format)) {
      const Bytes bytes = FileOf(kind, Bytes(100)).Build();
      const auto reader = test::OpenBytes(bytes);
      EXPECT_NE(reader->Describe(0).obstacle, "");
      EXPECT_EQ(test::FaultOf([&] { reader->Read(0); }), ImageFault::kCompressionNotConvertible);
    }
  }
}

TEST(BmpEmbedded, LimitsHoldForTheFileInsideToo) {
  for (const Kind& kind : Kinds()) {
    BitmapBuilder file = FileOf(kind, Inner(kind));
    file.width = file.height = 10;
    const Bytes bytes = file.Build();
    EXPECT_EQ(test::FaultOf([&] { test::OpenBytes(bytes, {.maxPixels = 100})->Read(0); }),
              ImageFault::kTooManyPixels);
  }
}

TEST(BmpEmbedded, FilesThatEndEarlyOrAreChangedAreReadOrTold) {
  for (const Kind& kind : Kinds()) {
    const Bytes file = FileOf(kind, Inner(kind)).Build();
    test::ExpectEveryEndTold(file, 7);
    test::ReadChangedFiles(file, 1000);
  }
}

TEST(BmpEmbedded, HandlesHoldThemToo) {
  for (const Kind& kind : Kinds()) {
    Bytes bytes = FileOf(kind, Inner(kind)).Build();
    bytes.erase(bytes.begin(), bytes.begin() + 14);
    OwnedBlock block(GlobalAlloc(GHND, static_cast<unsigned>(bytes.size())));
    std::copy(bytes.begin(), bytes.end(), LockedBlock(block.get()).Bytes().begin());
    const Page page = Page::FromHandle(block.release());
    EXPECT_EQ(page.Width(), 40U);
    EXPECT_EQ(page.DpiX(), 300U);
  }
}

}  // namespace
}  // namespace dibkit::host
