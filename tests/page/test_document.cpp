// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>
#include <thread>

#include "bitmap_builder.h"
#include "dibkit/host/document.h"
#include "temporary_directory.h"

namespace dibkit::host {
namespace {

using test::BitmapBuilder;
using test::Bytes;
using test::TemporaryDirectory;

TEST(Documents, OfOnePageHaveOnePage) {
  const Bytes file = BitmapBuilder().Build();
  Document document = Document::FromBytes(file);
  EXPECT_EQ(document.Format(), ImageFormat::kBmp);
  EXPECT_EQ(document.PageCount(), 1U);
  EXPECT_THROW(document.Describe(1), PageError);
  EXPECT_THROW(document.Read(1), PageError);
  EXPECT_EQ(document.Read(0).Width(), 4U);
  EXPECT_EQ(document.Read(0).Width(), 4U);
}

TEST(Documents, DescribeWhatReadingGives) {
  for (const uint16_t bits : std::initializer_list<uint16_t>{1, 2, 4, 8, 16, 24, 32}) {
    BitmapBuilder builder;
    builder.bitCount = bits;
    builder.height = -3;
    const Bytes file = builder.Build();
    Document document = Document::FromBytes(file);
    const PageDescription told = document.Describe(0);
    const Page page = document.Read(0);
    EXPECT_EQ(told.width, page.Width());
    EXPECT_EQ(told.height, page.Height());
    EXPECT_EQ(told.bitCount, page.BitCount());
    EXPECT_EQ(told.storedBits, bits);
    EXPECT_EQ(told.resolution, page.ExactResolution());
  }
}

TEST(Documents, AreOpenedAgainAsTheyWere) {
  const TemporaryDirectory directory;
  BitmapBuilder wide;
  wide.width = 9;
  const std::string path = directory.Write("in.bmp", wide.Build());
  std::optional<Document> second;
  {
    const Document first = Document::Open(path);
    ASSERT_TRUE(first.HasAnother());
    directory.Write("other.bmp", BitmapBuilder().Build());
    std::filesystem::rename(directory.Path("other.bmp"), path);
    second = first.Another();
  }
  ASSERT_TRUE(second);
  EXPECT_EQ(second->Read(0).Width(), 9U);
  EXPECT_EQ(second->Another()->Describe(0).width, 9U);
  // With hooks of its own.
  EXPECT_THROW(second->Another({.cancelled = [] { return true; }}), PageError);
}

TEST(Documents, ThatCanBeReadOnlyOnceHaveNoOther) {
  const Bytes file = BitmapBuilder().Build();
  std::istringstream stream(std::string(file.begin(), file.end()));
  const Document document = Document::FromStream(stream);
  EXPECT_FALSE(document.HasAnother());
  EXPECT_FALSE(document.Another());
  EXPECT_TRUE(Document::FromBytes(file).HasAnother());
}

// As document.h shows it.
TEST(DocumentWriters, TakePagesThatSeveralThreadsHavePacked) {
  if (!IsBuiltIn(ImageFormat::kTiff)) {
    GTEST_SKIP() << "TIFF is not built in: no files of several pages";
  }
  constexpr uint32_t kPages = 8;
  const TemporaryDirectory directory;
  DocumentWriter plain(directory.Path("in.tif"));
  DocumentWriter converted(directory.Path("out.tif"));
  for (uint32_t i = 0; i < kPages; ++i) {
    BitmapBuilder builder;
    builder.width = 50 + static_cast<int>(i);
    builder.height = 40;
    plain.Add(Page::FromBytes(builder.Build()));
    Page page = Page::FromBytes(builder.Build());
    page.To24();
    converted.Add(page);
  }
  plain.Commit();
  converted.Commit();

  const Document document = Document::Open(directory.Path("in.tif"));
  DocumentWriter writer(directory.Path("apart.tif"));
  std::vector<std::optional<EncodedPage>> pages(kPages);
  std::vector<std::thread> threads;
  for (uint32_t first : {0U, 1U}) {
    threads.emplace_back([&, first] {
      auto own = document.Another();
      for (uint32_t i = first; i < kPages; i += 2) {
        Page page = own->Read(i);
        page.To24();
        pages[i] = writer.Encode(page);
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  for (const auto& page : pages) {
    writer.Add(*page);
  }
  writer.Commit();
  EXPECT_EQ(test::ReadFile(directory.Path("apart.tif")), test::ReadFile(directory.Path("out.tif")));
}

TEST(DocumentWriters, RefuseASecondPageWhereThereIsNoPlace) {
  const TemporaryDirectory directory;
  const Page page = Page::FromBytes(BitmapBuilder().Build());
  {
    DocumentWriter writer(directory.Path("out.bmp"));
    writer.Add(page);
    try {
      writer.Add(page);
      FAIL() << "two pages in a bitmap file";
    } catch (const PageError& error) {
      EXPECT_EQ(error.Fault(), PageFault::kNotHeld);
    }
  }
  EXPECT_TRUE(directory.Names().empty());
}

TEST(DocumentWriters, ShowAFinishedFileBeforeItAppears) {
  const TemporaryDirectory directory;
  const std::string out = directory.Path("out.bmp");
  DocumentWriter writer(out);
  writer.Add(Page::FromBytes(BitmapBuilder().Build()));
  const Bytes finished = test::ReadFile(writer.Finish());
  EXPECT_NE(directory.Names(), std::vector<std::string>{"out.bmp"});
  writer.Commit();
  EXPECT_EQ(test::ReadFile(out), finished);
  EXPECT_EQ(directory.Names(), std::vector<std::string>{"out.bmp"});
}

TEST(DocumentWriters, LeaveNothingWithoutACommit) {
  const TemporaryDirectory directory;
  {
    DocumentWriter writer(directory.Path("out.bmp"));
    writer.Add(Page::FromBytes(BitmapBuilder().Build()));
    DocumentWriter moved = std::move(writer);
    EXPECT_EQ(directory.Names().size(), 1U);
  }
  EXPECT_TRUE(directory.Names().empty());
}

TEST(Formats, AreToldByTheirFirstBytes) {
  const auto of = [](std::string_view start) {
    const Bytes bytes(start.begin(), start.end());
    return FormatOfContent(bytes);
  };
  using namespace std::string_view_literals;
  EXPECT_EQ(of("BM"), ImageFormat::kBmp);
  EXPECT_EQ(of("II*\0"sv), ImageFormat::kTiff);
  EXPECT_EQ(of("MM\0*"sv), ImageFormat::kTiff);
  EXPECT_EQ(of("II+\0"sv), ImageFormat::kTiff);
  EXPECT_EQ(of("MM\0+"sv), ImageFormat::kTiff);
  EXPECT_EQ(of("\x89PNG\r\n\x1A\n"), ImageFormat::kPng);
  EXPECT_EQ(of("\xFF\xD8\xFF\xE0"), ImageFormat::kJpeg);
  EXPECT_EQ(of("BA\x28\0\0\0\0\0\0\0\0\0\0\0BM"sv), ImageFormat::kBmp);
  for (const std::string_view other : {"BA"sv, "BA rather long text"sv}) {
    EXPECT_EQ(of(other), std::nullopt);
  }
  for (const std::string_view other : {""sv, "B"sv, "II*"sv, "\x89PNG"sv, "GIF89a"sv, "%PDF"sv}) {
    EXPECT_EQ(of(other), std::nullopt);
  }
}

TEST(Formats, AreToldBySuffixesInAnyCase) {
  EXPECT_EQ(FormatOfName("a.b/scan.TIF"), ImageFormat::kTiff);
  EXPECT_EQ(FormatOfName("scan.tiff"), ImageFormat::kTiff);
  EXPECT_EQ(FormatOfName("scan.Jpeg"), ImageFormat::kJpeg);
  EXPECT_EQ(FormatOfName("scan.jpg"), ImageFormat::kJpeg);
  EXPECT_EQ(FormatOfName(".png"), ImageFormat::kPng);
  EXPECT_EQ(FormatOfName("scan.dib"), ImageFormat::kBmp);
  for (const char* other : {"", "scan", "a.png/scan", "scan.", "scan.gif", "png"}) {
    EXPECT_EQ(FormatOfName(other), std::nullopt) << other;
  }
}

TEST(Formats, TakeTheirUsualCompressionAtEveryDepthTheyHold) {
  for (const ImageFormat format :
       {ImageFormat::kBmp, ImageFormat::kTiff, ImageFormat::kPng, ImageFormat::kJpeg}) {
    for (const unsigned bits : {1U, 4U, 8U, 24U, 32U}) {
      EXPECT_TRUE(Holds(format, UsualCompression(format, bits), bits, false));
    }
    EXPECT_EQ(Holds(format, UsualCompression(format, 16), 16, false), format == ImageFormat::kBmp);
  }
}

}  // namespace
}  // namespace dibkit::host
