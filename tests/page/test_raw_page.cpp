// SPDX-License-Identifier: Apache-2.0
//
// Pages that are opened raw: the bytes of the library's own functions for a file as it stands.
#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "dibkit/Color.h"
#include "dibkit/DIBApi.h"
#include "dibkit/host/page.h"
#include "loaded_dib.h"

namespace dibkit::host {
namespace {

using test::BitmapBuilder;
using test::Bytes;

struct Kind {
  const char* name;
  BitmapBuilder file;
};

BitmapBuilder FileOf(uint16_t bits, int32_t height) {
  BitmapBuilder file;
  file.bitCount = bits;
  file.width = 13;
  file.height = height;
  if (bits <= 8) {
    file.table = file.Table();
    file.table->at(0) = 77;  // a colour
  }
  return file;
}

BitmapBuilder RunLength(uint16_t bits) {
  BitmapBuilder file = FileOf(bits, 300);
  file.compression = bits == 8 ? 1 : 2;
  file.pixels = Bytes{13, 0x12, 0, 0, 5, 0x34, 0, 3, 0x56, 0x70, 0x70, 0, 0, 1};
  return file;
}

BitmapBuilder Fields(uint16_t bits, int32_t height) {
  BitmapBuilder file = FileOf(bits, height);
  file.compression = 3;
  file.masks =
      bits == 16 ? test::Words({0xF800, 0x07E0, 0x001F}) : test::Words({0x3F, 0xFFC0, 0xFFFF0000});
  return file;
}

std::vector<Kind> Kinds() {
  std::vector<Kind> kinds{{"RLE8", RunLength(8)},
                          {"RLE4", RunLength(4)},
                          {"fields of 16 bits", Fields(16, 5)},
                          {"fields of 32 bits", Fields(32, 5)},
                          {"top-down fields of 16 bits", Fields(16, -5)},
                          {"top-down fields of 32 bits", Fields(32, -5)}};
  for (const uint16_t bits : std::initializer_list<uint16_t>{1, 2, 4, 8, 16, 24, 32}) {
    kinds.push_back({"plain", FileOf(bits, 5)});
    kinds.push_back({"top-down", FileOf(bits, -5)});
  }
  return kinds;
}

Page RawPage(const BitmapBuilder& file) { return Page::FromBytes(file.Build(), {.raw = true}); }

Bytes BlockOf(tagHANDLE* dib) {
  const LockedBlock lock(dib);
  return Bytes(lock.Bytes().begin(), lock.Bytes().end());
}

// What `function` makes of the file, with the resolution that its results lack.
Bytes Exported(const BitmapBuilder& file, tagHANDLE* (*function)(unsigned char*)) {
  const OwnedBlock source = test::Load(file);
  const LockedBlock lock(source.get());
  const OwnedBlock result(function(lock.Bytes().data()));
  if (!result) {
    return {};
  }
  const LockedBlock made(result.get());
  std::copy_n(lock.Bytes().begin() + 24, 8, made.Bytes().begin() + 24);
  return Bytes(made.Bytes().begin(), made.Bytes().end());
}

std::string MessageOf(PageFault fault, const std::function<void()>& work) {
  try {
    work();
    ADD_FAILURE() << "nothing was thrown";
    return "";
  } catch (const PageError& error) {
    EXPECT_EQ(error.Fault(), fault) << error.what();
    return error.what();
  }
}

bool IsRunLength(const BitmapBuilder& file) {
  return file.compression == 1 || file.compression == 2;
}

class RawPages : public testing::Test {
 protected:
  void TearDown() override { EXPECT_EQ(ReadMemoryCounters().liveBlocks, 0U); }
};

TEST_F(RawPages, HoldTheDibThatTheFileStores) {
  for (const auto& [name, file] : Kinds()) {
    SCOPED_TRACE(std::string(name) + ", " + std::to_string(file.bitCount));
    const Page page = RawPage(file);
    Bytes stored = test::BlockBytes(test::Load(file));
    const Bytes held = BlockOf(page.Handle());
    ASSERT_GE(held.size(), stored.size());
    stored.resize(held.size());  // behind a stream stand zeros
    EXPECT_EQ(held, stored);
    EXPECT_EQ(page.Width(), 13U);
    EXPECT_EQ(page.Height(), static_cast<uint32_t>(std::abs(file.height)));
    EXPECT_EQ(page.BitCount(), file.bitCount == 2 ? 4U : file.bitCount);
    EXPECT_EQ(page.DpiX(), 300U);
  }
}

TEST_F(RawPages, RunLengthStreamsHaveRoomForTheirRows) {
  for (const uint16_t bits : std::initializer_list<uint16_t>{4, 8}) {
    const Page page = RawPage(RunLength(bits));
    EXPECT_GE(BlockOf(page.Handle()).size(), LayoutOf(13, 300, bits).blockBytes);
  }
}

TEST_F(RawPages, At24BitsAreTheExportedFunctions) {
  for (const auto& [name, file] : Kinds()) {
    SCOPED_TRACE(std::string(name) + ", " + std::to_string(file.bitCount));
    Page page = RawPage(file);
    page.To24();
    EXPECT_EQ(BlockOf(page.Handle()), Exported(file, ConvertTo24BPPDIB));
    EXPECT_TRUE(page.IsPlain());
    EXPECT_EQ(page.Rows().BitCount(), 24U);
  }
}

TEST_F(RawPages, At16BitsAreTheExportedFunctions) {
  for (const auto& [name, file] : Kinds()) {
    SCOPED_TRACE(std::string(name) + ", " + std::to_string(file.bitCount));
    Page page = RawPage(file);
    if (file.compression == 3 && file.bitCount == 16 && file.height > 0) {
      EXPECT_NE(MessageOf(PageFault::kUnsupported, [&] { page.To16(); }).find("24 bits first"),
                std::string::npos);
      EXPECT_FALSE(page.IsPlain());
      continue;
    }
    page.To16();
    EXPECT_EQ(BlockOf(page.Handle()), Exported(file, ConvertTo16BPPDIB));
    EXPECT_TRUE(page.IsPlain());
  }
}

TEST_F(RawPages, InGreyFollowTheRuleFromTheExported24Bits) {
  for (const auto& [name, file] : Kinds()) {
    SCOPED_TRACE(std::string(name) + ", " + std::to_string(file.bitCount));
    Page colours = RawPage(file);
    colours.To24();
    Page grey = RawPage(file);
    grey.ToGrey({.rule = GreyRule::kMinMax});
    ASSERT_TRUE(grey.Rows().HasGreyTable());
    for (uint32_t y = 0; y < grey.Height(); ++y) {
      const PageRows from = colours.Rows();
      const PageRows to = grey.Rows();
      for (size_t x = 0; x < grey.Width(); ++x) {
        const auto pixel = from.Row(y).subspan(3 * x, 3);
        const unsigned long colour =
            pixel[2] | static_cast<unsigned long>(pixel[1]) << 8 | (pixel[0] * 65536UL);
        ASSERT_EQ(to.Row(y)[x], ColorToMono256MinMax(colour) & 0xFF);
      }
    }
  }
}

TEST_F(RawPages, NormalizedAreExpandedWidenedAndTurnedByTheLibrary) {
  for (const auto& [name, file] : Kinds()) {
    SCOPED_TRACE(std::string(name) + ", " + std::to_string(file.bitCount));
    Page page = RawPage(file);
    const Bytes before = BlockOf(page.Handle());
    page.Normalize();
    EXPECT_TRUE(page.IsPlain());
    const Bytes after = BlockOf(page.Handle());
    if (IsRunLength(file)) {
      EXPECT_EQ(after, Exported(file, file.bitCount == 8 ? RestoreRLE8 : RestoreRLE4));
    } else if (file.compression == 3) {
      EXPECT_EQ(after, Exported(file, ConvertTo24BPPDIB));
    } else if (file.height < 0) {
      EXPECT_EQ(after, Exported(file, TopDownToBottomUp));
    } else {
      EXPECT_EQ(after, before);
    }
  }
}

TEST_F(RawPages, ThatAreNotPlainSayWhatToCall) {
  for (const auto& [name, file] : Kinds()) {
    SCOPED_TRACE(std::string(name) + ", " + std::to_string(file.bitCount));
    Page page = RawPage(file);
    const bool plain = file.compression == 0 && file.height > 0;
    EXPECT_EQ(page.IsPlain(), plain);
    if (plain) {
      continue;
    }
    std::ostringstream stream;
    const std::vector<std::function<void()>> refused{
        [&] { page.Rows(); }, [&] { page.Save(stream, {.format = ImageFormat::kBmp}); },
        [&] { page.PackingFor(ImageFormat::kBmp, {}); }};
    for (const auto& work : refused) {
      EXPECT_NE(MessageOf(PageFault::kNotPlain, work).find("Normalize"), std::string::npos);
    }
    EXPECT_EQ(stream.str(), "");
    page.SetDpi(200);
    page.Normalize();
    EXPECT_EQ(page.DpiX(), 200U);
    page.Save(stream, {.format = ImageFormat::kBmp});
    EXPECT_NE(stream.str(), "");
  }
}

TEST_F(RawPages, OfHandlesAreAsThoseOfFiles) {
  for (const auto& [name, file] : Kinds()) {
    SCOPED_TRACE(std::string(name) + ", " + std::to_string(file.bitCount));
    if (file.bitCount == 2) {
      continue;  // no block holds 2 bits
    }
    const Page page = Page::FromHandle(test::Load(file).release(), kUsualMaxPixels, true);
    EXPECT_EQ(BlockOf(page.Handle()), BlockOf(RawPage(file).Handle()));
  }
}

TEST_F(RawPages, StayRawWhenTheyArePlain) {
  Page page = RawPage(FileOf(24, 5));
  page.To16();
  Bytes copy = BlockOf(page.Handle());
  const OwnedBlock expected(ConvertTo24BPPDIB(copy.data()));
  page.To24();
  const Bytes made = BlockOf(page.Handle());
  const Bytes wanted = BlockOf(expected.get());
  EXPECT_EQ(Bytes(made.begin() + 40, made.end()), Bytes(wanted.begin() + 40, wanted.end()));
}

}  // namespace
}  // namespace dibkit::host
