// SPDX-License-Identifier: Apache-2.0
//
// Every file of the suite through every call of a page.
#include <gtest/gtest.h>

#include <sstream>

#include "bitmap_suite.h"
#include "dibkit/host/page.h"

namespace dibkit::test {
namespace {

namespace fs = std::filesystem;

using host::Page;

class PageSuite : public testing::Test {
 protected:
  void SetUp() override {
    if (!fs::is_directory(SuiteDirectory())) {
      GTEST_SKIP() << "no bitmap suite at " << SuiteDirectory()
                   << ": set DIBKIT_SAMPLES_DIR to run this test";
    }
  }
};

// Of the pixels at 24 bits, top row first, as red, green, blue.
uint64_t PixelChecksum(const Page& page) {
  Checksum checksum;
  const host::PageRows rows = page.Rows();
  for (uint32_t y = 0; y < rows.Height(); ++y) {
    const auto row = rows.Row(y);
    for (size_t x = 0; x < size_t{rows.Width()} * 3; ++x) {
      const size_t channel = x % 3;
      checksum.Add(row[x - channel + 2 - channel]);
    }
  }
  return checksum.Value();
}

void ExpectFault(const SuiteFile& file) {
  try {
    Page::Open(SuitePath(file).string());
    FAIL() << "this file should be refused";
  } catch (const host::PageError& error) {
    EXPECT_TRUE(error.Fault() == host::PageFault::kDamaged ||
                error.Fault() == host::PageFault::kUnsupported ||
                error.Fault() == host::PageFault::kTooManyPixels ||
                error.Fault() == host::PageFault::kTooLarge ||
                error.Fault() == host::PageFault::kNotAnImage)
        << error.what();
  }
}

void ExpectSize(const Page& page, uint32_t width, uint32_t height) {
  EXPECT_EQ(page.Width(), width);
  EXPECT_EQ(page.Height(), height);
}

void RunEveryCall(const SuiteFile& file) {
  const std::string path = SuitePath(file).string();
  for (const unsigned dpi : {200U, 300U, 600U}) {
    Page page = Page::Open(path);
    page.Normalize();
    page.Resample({.dpi = dpi, .fromDpi = 300});
    EXPECT_EQ(page.DpiX(), dpi);
  }
  Page grey = Page::Open(path);
  grey.ToGrey();
  EXPECT_TRUE(grey.Rows().HasGreyTable());
  Page few = Page::Open(path);
  few.Quantize({.colors = 16});
  EXPECT_EQ(few.BitCount(), 8U);
  Page narrow = Page::Open(path);
  narrow.To16();
  EXPECT_EQ(narrow.BitCount(), 16U);
  for (const Page* page : {&grey, &few, &narrow}) {
    ExpectSize(*page, file.width, file.height);
  }
  std::ostringstream stream;
  narrow.Save(stream, {.format = host::ImageFormat::kBmp});
  EXPECT_GT(stream.str().size(), size_t{file.width} * file.height * 2);
}

TEST_F(PageSuite, EveryFileComesOutRightOrIsRefused) {
  for (const SuiteFile& file : BitmapSuite()) {
    SCOPED_TRACE(file.name);
    if (file.fault || (file.embedded && !host::IsBuiltIn(*file.embedded))) {
      ExpectFault(file);
      continue;
    }
    Page page = Page::Open(SuitePath(file).string());
    page.To24();
    ExpectSize(page, file.width, file.height);
    EXPECT_EQ(PixelChecksum(page), file.checksum);
    RunEveryCall(file);
  }
  EXPECT_EQ(host::ReadMemoryCounters().liveBlocks, 0U);
}

}  // namespace
}  // namespace dibkit::test
