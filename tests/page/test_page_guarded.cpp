// SPDX-License-Identifier: Apache-2.0
//
// Every file of the suite, read as a page into blocks between inaccessible pages, and handed to
// every exported function that takes an image. What reads or writes beyond a block ends the test,
// masked vector loads included, which no sanitizer sees.
#include <gtest/gtest.h>

#include "Cnv_res_mem.h"
#include "Col_bin.h"
#include "DIBApi.h"
#include "DIBHelp.h"
#include "ImgConverter.h"
#include "NiGoRo2.h"
#include "bitmap_suite.h"
#include "dibkit/host/page.h"
#include "support/host_test.h"

namespace dibkit::test {
namespace {

namespace fs = std::filesystem;

using dibtest::TakeLeaked;
using host::Page;

class GuardedPages : public dibtest::HostTest, public testing::WithParamInterface<bool> {
 protected:
  void SetUp() override {
    if (!fs::is_directory(SuiteDirectory())) {
      GTEST_SKIP() << "no bitmap suite at " << SuiteDirectory()
                   << ": set DIBKIT_SAMPLES_DIR to run this test";
    }
    HostTest::SetUp();
    dibtest::PlaceBlocksAtStart(GetParam());
  }
};

void FreeResult(tagHANDLE* result) {
  if (result != nullptr) {
    EXPECT_EQ(dibtest::LockCount(result), 0U);
    GlobalFree(result);
  }
}

void CallConversions(tagHANDLE* dib) {
  unsigned long size = 0;
  EXPECT_EQ(GetTransformImageMemorySize(TRANSFORM_SRC_MEMORY, &dib, 200, &size), 0);
  EXPECT_EQ(GetBufferSize(dib, 200, &size), 0);
  for (const unsigned short dpi : std::initializer_list<unsigned short>{100, 200, 299, 300, 450}) {
    tagHANDLE* result = nullptr;
    EXPECT_EQ(ConvertResolution(dib, &result, nullptr, dpi, 128), CNV_OK);
    EXPECT_NE(result, nullptr);
    TakeLeaked({dib, result});
    FreeResult(result);
  }
  tagHANDLE* widened = nullptr;
  ConvertImage(dib, &widened);
  FreeResult(widened);
  ConvertImage2(dib, &widened);
  FreeResult(widened);
  unsigned long colors = 0;
  EXPECT_EQ(GetBaseColors(dib, &colors), 0);
}

void CallEngine(tagHANDLE* dib) {
  unsigned long size = 0;
  ASSERT_EQ(GetTransformImageMemorySize(TRANSFORM_SRC_MEMORY, &dib, 200, &size), 0);
  tagHANDLE* block = GlobalAlloc(GHND, static_cast<unsigned>(size));
  ASSERT_NE(block, nullptr);
  const int status = LinearTransformMain(TRANSFORM_SRC_MEMORY | TRANSFORM_DST_MEMORY, &dib, &block,
                                         nullptr, 200, 128);
  EXPECT_EQ(status, CNV_OK);
  GlobalFree(block);
}

void CallMakers(unsigned char* image) {
  for (const auto function : {RestoreRLE8, RestoreRLE4, RestoreRLE, TopDownToBottomUp, NormalizeDIB,
                              ConvertTo16BPPDIB, ConvertTo24BPPDIB}) {
    FreeResult(function(image));
  }
  for (const unsigned short colors : std::initializer_list<unsigned short>{1, 16, 256}) {
    FreeResult(CNiGoRo2(image, colors, 5, 0).QuantizeBitmap(0, 0));
  }
}

void CallAccessors(unsigned char* image) {
  const int width = DIBWidth(image);
  const int height = DIBHeight(image);
  EXPECT_NE(DIBBits(image), nullptr);
  EXPECT_GT(DIBSize(image), 40U);
  for (int index = -1; index <= 256; ++index) {
    const unsigned long color = GetIndexColor(image, index);
    EXPECT_EQ(color == 0xFF000000UL, index < 0 || index >= DIBNumColors(image));
  }
  GetColorIndex(image, 0xFFFFFF);
  unsigned long red = 1;
  unsigned long green = 1;
  unsigned long blue = 1;
  EXPECT_EQ(DIBMask(image, red, green, blue), 0);
  for (const int x : {0, width / 2, width - 1}) {
    for (const int y : {0, height - 1}) {
      EXPECT_EQ(GetBitIndex(image, x, y) >= 0, DIBBitCount(image) <= 8);
    }
  }
}

void CallConverter(tagHANDLE* dib, unsigned char* image) {
  CImgConverter converter(dib, reinterpret_cast<BITMAPINFOHEADER*>(image),
                          reinterpret_cast<tagRGBQUAD*>(image + 40), DIBBits(image));
  EXPECT_GT(converter.GetGray256ImageSize(), 0U);
  EXPECT_GT(converter.GetFullColorImageSize(), 0U);
  int grey = -1;
  converter.CheckColorMap(grey);
  tagHANDLE* block = nullptr;
  converter.MakeGray256Image(block);
  FreeResult(block);
  converter.MakeFullColorImage(block);
  FreeResult(block);
}

void CallEverything(Page page) {
  tagHANDLE* dib = page.Handle();
  dibtest::MakeReadOnly(dib);
  CallConversions(dib);
  CallEngine(dib);
  auto* image = static_cast<unsigned char*>(GlobalLock(dib));
  ASSERT_NE(image, nullptr);
  CallMakers(image);
  CallAccessors(image);
  CallConverter(dib, image);
  GlobalUnlock(dib);
}

void CallEveryStep(const std::string& path) {
  for (const bool grey : {false, true}) {
    Page page = Page::Open(path);
    page.Resample({.dpi = 200, .fromDpi = 300});
    TakeLeaked({page.Handle()});
    grey ? page.ToGrey() : page.Quantize();
    page.To24();
    page.To16();
    page.Normalize();
  }
}

// A host that does not look at the header takes streams and fields for rows.
void ConvertUnseen(tagHANDLE* dib) {
  for (const unsigned short dpi : std::initializer_list<unsigned short>{200, 300, 450}) {
    tagHANDLE* result = nullptr;
    ConvertResolution(dib, &result, nullptr, dpi, 128);
    TakeLeaked({dib, result});
    FreeResult(result);
  }
}

void CallRawSteps(const std::string& path) {
  const std::initializer_list<void (*)(Page&)> steps{
      [](Page& page) { page.Normalize(); }, [](Page& page) { page.To24(); },
      [](Page& page) { page.To16(); }, [](Page& page) { page.ToGrey(); }};
  for (const auto step : steps) {
    Page page = Page::Open(path, {.raw = true});
    page.SetDpi(300);
    dibtest::MakeReadOnly(page.Handle());
    try {
      step(page);
      EXPECT_TRUE(page.IsPlain());
    } catch (const host::PageError& error) {
      EXPECT_EQ(error.Fault(), host::PageFault::kUnsupported) << error.what();
    }
  }
}

TEST_P(GuardedPages, ThatAreRawGoThroughEveryFunctionThatIsSoundForThem) {
  for (const SuiteFile& file : BitmapSuite()) {
    if (file.fault || (file.embedded && !host::IsBuiltIn(*file.embedded))) {
      continue;
    }
    SCOPED_TRACE(file.name);
    const std::string path = SuitePath(file).string();
    CallRawSteps(path);
    Page page = Page::Open(path, {.raw = true});
    page.SetDpi(300);
    tagHANDLE* dib = page.Handle();
    dibtest::MakeReadOnly(dib);
    auto* image = static_cast<unsigned char*>(GlobalLock(dib));
    CallMakers(image);
    const bool topDown = DIBHeight(image) < 0;
    GlobalUnlock(dib);
    if (!topDown) {
      ConvertUnseen(dib);
    }
  }
}

TEST_P(GuardedPages, OfTheSuiteGoThroughEveryFunction) {
  for (const SuiteFile& file : BitmapSuite()) {
    if (file.fault || (file.embedded && !host::IsBuiltIn(*file.embedded))) {
      continue;
    }
    SCOPED_TRACE(file.name);
    const std::string path = SuitePath(file).string();
    CallEveryStep(path);
    Page page = Page::Open(path);
    page.SetDpi(300);
    CallEverything(std::move(page));
    Page widened = Page::Open(path);
    widened.SetDpi(300);
    widened.To24();
    CallEverything(std::move(widened));
  }
}

INSTANTIATE_TEST_SUITE_P(BlocksAt, GuardedPages, testing::Bool(),
                         [](const auto& side) { return side.param ? "TheirStart" : "TheirEnd"; });

}  // namespace
}  // namespace dibkit::test
