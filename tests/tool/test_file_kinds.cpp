// SPDX-License-Identifier: Apache-2.0
//
// Files of other programs, and what the options make of files, by command.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <filesystem>

#include "dibkit/host/document.h"
#include "outside_tools.h"
#include "page_folder.h"

namespace dibkit::test {
namespace {

using Arguments = std::vector<std::string>;
using host::ImageFormat;

class FileKinds : public testing::Test {
 protected:
  std::string Path(const std::string& name) const { return directory_.Path(name); }

  // A picture with an edge in it, 64 x 48.
  std::vector<uint32_t> Picture() const {
    std::vector<uint32_t> colours;
    for (uint32_t y = 0; y < 48; ++y) {
      for (uint32_t x = 0; x < 64; ++x) {
        colours.push_back(x < 20 + y / 2 ? 0x204060 + x * 0x010101 : 0xF0E0D0 - y * 0x020202);
      }
    }
    return colours;
  }

  bool Make(const std::string& command) const {
    directory_.Write("in.ppm", Ppm(Picture(), 64));
    return CanRun(command) && RunIn(directory_, command);
  }

  std::string Bitmap() const {
    BitmapBuilder page;
    page.bitCount = 24;
    page.width = page.height = 100;
    return directory_.Write("in.bmp", page.Build());
  }

  TemporaryDirectory directory_;
};

bool HasAll(const std::vector<ImageFormat>& formats) {
  return std::all_of(formats.begin(), formats.end(), host::IsBuiltIn);
}

TEST_F(FileKinds, FormatsHaveTheNamesOfTheirSuffixesToo) {
  const std::string in = Bitmap();
  constexpr std::array<std::pair<const char*, ImageFormat>, 6> kNames{{{"tif", ImageFormat::kTiff},
                                                                       {"tiff", ImageFormat::kTiff},
                                                                       {"jpg", ImageFormat::kJpeg},
                                                                       {"jpeg", ImageFormat::kJpeg},
                                                                       {"png", ImageFormat::kPng},
                                                                       {"bmp", ImageFormat::kBmp}}};
  for (const auto& [name, format] : kNames) {
    if (!host::IsBuiltIn(format)) {
      continue;
    }
    const Outcome outcome = RunTool({"normalize", "--format", name, "-fo", Path("out"), in});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
    EXPECT_EQ(host::Document::Open(Path("out")).Format(), format);
  }
  EXPECT_NE(RunTool({"normalize", "--help"}).out.find("--format bmp|tiff|png|jpeg"),
            std::string::npos);
  EXPECT_EQ(RunTool({"normalize", "--format", "gif", "-fo", Path("out"), in}).exitCode, 2);
}

TEST_F(FileKinds, LessQualityGivesASmallerJpeg) {
  if (!HasAll({ImageFormat::kJpeg})) {
    GTEST_SKIP() << "JPEG is not built in";
  }
  const std::string in = Bitmap();
  const auto size = [&](const Arguments& options) {
    Arguments arguments{"normalize", "-fo", Path("out.jpg"), in};
    arguments.insert(arguments.end(), options.begin(), options.end());
    EXPECT_EQ(RunTool(arguments).exitCode, 0);
    return std::filesystem::file_size(Path("out.jpg"));
  };
  EXPECT_LT(size({"--quality", "20"}), size({"--quality", "70"}));
  EXPECT_LT(size({"--quality", "70"}), size({}));
  EXPECT_EQ(size({"--quality", "90"}), size({}));
}

TEST_F(FileKinds, ResolutionsOfEveryUnitAreUnderstood) {
  if (!HasAll({ImageFormat::kTiff})) {
    GTEST_SKIP() << "TIFF is not built in";
  }
  const std::string write = "gm convert in.ppm -density ";
  const Arguments resample{"resample", "--dpi", "127", "-fo", Path("out.tif"), Path("made.tif")};
  if (Make(write + "100 -units PixelsPerCentimeter made.tif")) {
    EXPECT_NE(RunTool({"info", Path("made.tif")}).out.find("254 x 254 dpi (100 x 100 per centi"),
              std::string::npos);
    EXPECT_EQ(RunTool(resample).exitCode, 0);
    EXPECT_EQ(host::Document::Open(Path("out.tif")).Describe(0).width, 32U);
  }
  if (Make(write + "254 -units PixelsPerInch made.tif")) {
    EXPECT_EQ(RunTool(resample).exitCode, 0);
    EXPECT_EQ(host::Document::Open(Path("out.tif")).Describe(0).width, 32U);
  }
  if (Make(write + "254 -units Undefined made.tif")) {
    const Outcome refused = RunTool(resample);
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_NE(refused.err.find("--from-dpi"), std::string::npos) << refused.err;
    Arguments told = resample;
    told.insert(told.begin() + 1, {"--from-dpi", "254"});
    EXPECT_EQ(RunTool(told).exitCode, 0);
    EXPECT_EQ(host::Document::Open(Path("out.tif")).Describe(0).width, 32U);
  }
}

TEST_F(FileKinds, FilesOfGraphicsMagickAreRead) {
  for (const char* made :
       {"-compress none a.tif", "-compress lzw a.tif", "-compress zip a.tif", "-compress rle a.tif",
        "-endian MSB -compress lzw a.tif", "-define tiff:tile a.tif", "a.png", "-depth 16 a.png",
        "-depth 16 a.tif", "a.bmp", "-interlace line a.png"}) {
    const std::string name = std::string(made).substr(std::string(made).rfind(' ') + 1);
    if (!HasAll({*host::FormatOfName(name)}) || !Make(std::string("gm convert in.ppm ") + made)) {
      continue;
    }
    const Outcome outcome = RunTool({"to24", "-fo", Path("out.bmp"), Path(name)});
    EXPECT_EQ(outcome.exitCode, 0) << made << outcome.err;
    ASSERT_TRUE(RunIn(directory_, "gm convert out.bmp back.ppm"));
    EXPECT_EQ(ColoursOfPnm(ReadFile(Path("back.ppm"))), Picture()) << made;
  }
}

// The word is the command's own.
TEST_F(FileKinds, WarningsSayOnceThatTheyAre) {
  if (!HasAll({ImageFormat::kJpeg})) {
    GTEST_SKIP() << "JPEG is not built in";
  }
  ASSERT_EQ(RunTool({"normalize", "-o", Path("in.jpg"), Bitmap()}).exitCode, 0);
  Bytes bytes = ReadFile(Path("in.jpg"));
  ASSERT_EQ(bytes.at(6), 'J');
  bytes.at(11) = 9;  // the revision of JFIF
  directory_.Write("odd.jpg", bytes);
  const Outcome outcome = RunTool({"normalize", "-fo", Path("out.bmp"), Path("odd.jpg")});
  EXPECT_EQ(outcome.exitCode, 0);
  EXPECT_EQ(outcome.err.find("dibkit: " + Path("odd.jpg") + ": warning: unknown JFIF"), 0U)
      << outcome.err;
}

}  // namespace
}  // namespace dibkit::test
