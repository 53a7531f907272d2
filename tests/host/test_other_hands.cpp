// SPDX-License-Identifier: Apache-2.0
//
// PNG and JPEG files made by other people's commands, and ours read by them.
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>

#include "bitmap_suite.h"
#include "image_pages.h"
#include "outside_tools.h"

namespace dibkit::host {
namespace {

using test::Bytes;
using test::CanRun;
using test::Colours;
using test::ReadPage;
using test::RunIn;

constexpr uint32_t kWidth = 75;
constexpr uint32_t kHeight = 52;

class OtherHands : public testing::Test {
 protected:
  void SetUp() override {
    colour_ = Colours(test::SmoothDib(kWidth, kHeight, 24));
    grey_ = Colours(test::SmoothDib(kWidth, kHeight, 8));
    for (const uint32_t level : grey_) {
      bilevel_.push_back((level & 0xFF) < 128 ? 0 : 0xFFFFFF);
      few_.push_back((level & 0xF80000) | (0xFF00 - (level & 0xF800)));
    }
    directory_.Write("colour.ppm", test::Ppm(colour_, kWidth));
    directory_.Write("few.ppm", test::Ppm(few_, kWidth));
    WritePgm("grey.pgm", grey_, 1);
    WritePgm("deep.pgm", grey_, 2);
    WritePgm("bilevel.pgm", bilevel_, 1);
  }

  // Samples of two bytes have the level in both, which is the same grey.
  void WritePgm(const std::string& name, const std::vector<uint32_t>& greys, int bytes) const {
    const std::string header = "P5\n" + std::to_string(kWidth) + " " + std::to_string(kHeight) +
                               (bytes == 1 ? "\n255\n" : "\n65535\n");
    Bytes file(header.begin(), header.end());
    for (const uint32_t grey : greys) {
      file.insert(file.end(), static_cast<size_t>(bytes), static_cast<unsigned char>(grey));
    }
    directory_.Write(name, file);
  }

  // Makes `made` by the command and reads it; an empty handle when the command is not here.
  PageImage Make(const std::string& command, const std::string& made) const {
    if (!CanRun(command)) {
      return {};
    }
    if (!RunIn(directory_, command)) {
      ADD_FAILURE() << command;
      return {};
    }
    return ReadPage(test::ReadFile(directory_.Path(made)));
  }

  void ExpectSame(const std::string& command, const std::vector<uint32_t>& colours,
                  unsigned bits) const {
    const PageImage page = Make(command, "made.png");
    if (page.dib) {
      EXPECT_EQ(Colours(page.dib), colours) << command;
      EXPECT_EQ(test::BitCountOf(page.dib), bits) << command;
    }
  }

  void ExpectClose(const std::string& command, const std::vector<uint32_t>& colours, unsigned bits,
                   double decibels = 30) const {
    const PageImage page = Make(command, "made.jpg");
    if (page.dib) {
      EXPECT_GT(test::Psnr(Colours(page.dib), colours), decibels) << command;
      EXPECT_EQ(test::BitCountOf(page.dib), bits) << command;
    }
  }

  test::TemporaryDirectory directory_;
  std::vector<uint32_t> colour_;
  std::vector<uint32_t> grey_;
  std::vector<uint32_t> bilevel_;
  std::vector<uint32_t> few_;  // fewer than 256 colours
};

class PngByOthers : public OtherHands {
 protected:
  void SetUp() override {
    if (!IsBuiltIn(ImageFormat::kPng)) {
      GTEST_SKIP() << "PNG is not built in";
    }
    OtherHands::SetUp();
  }
};

TEST_F(PngByOthers, AreReadAsTheyAre) {
  ExpectSame("pnmtopng colour.ppm > made.png", colour_, 24);
  ExpectSame("pnmtopng -interlace colour.ppm > made.png", colour_, 24);
  ExpectSame("pnmtopng grey.pgm > made.png", grey_, 8);
  ExpectSame("pnmtopng -interlace grey.pgm > made.png", grey_, 8);
  ExpectSame("pnmtopng -force bilevel.pgm > made.png", bilevel_, 8);
  ExpectSame("pnmtopng bilevel.pgm > made.png", bilevel_, 1);
  ExpectSame("pnmtopng -interlace bilevel.pgm > made.png", bilevel_, 1);
  ExpectSame("convert-im6.q16 colour.ppm -depth 8 made.png", colour_, 24);
  ExpectSame("convert-im6.q16 colour.ppm -depth 8 -interlace PNG made.png", colour_, 24);
  ExpectSame("convert-im6.q16 colour.ppm -quality 05 PNG24:made.png", colour_, 24);
  ExpectSame("gm convert colour.ppm made.png", colour_, 24);
  ExpectSame("gm convert -interlace Line colour.ppm made.png", colour_, 24);
  ExpectSame("vips copy colour.ppm made.png", colour_, 24);
  ExpectSame("vips copy colour.ppm made.png[interlace,filter=all]", colour_, 24);
  ExpectSame("vips copy grey.pgm made.png[compression=0]", grey_, 8);
}

TEST_F(PngByOthers, SixteenBitsAreRounded) {
  ExpectSame("pnmtopng deep.pgm > made.png", grey_, 8);
  ExpectSame("pnmtopng -force -interlace deep.pgm > made.png", grey_, 8);
  ExpectSame("convert-im6.q16 colour.ppm PNG48:made.png", colour_, 24);
  ExpectSame("convert-im6.q16 colour.ppm PNG64:made.png", colour_, 24);
  ExpectSame("vips cast deep.pgm made.png ushort", grey_, 8);
}

TEST_F(PngByOthers, PalettesAreKept) {
  ExpectSame("pnmtopng few.ppm > made.png", few_, 8);
  ExpectSame("pnmtopng -interlace few.ppm > made.png", few_, 8);
  ExpectSame("convert-im6.q16 few.ppm PNG8:made.png", few_, 8);
}

TEST_F(PngByOthers, AlphaIsLaidOverWhite) {
  // What is wholly transparent in a mask of the bilevel picture is white.
  std::vector<uint32_t> masked = colour_;
  for (size_t i = 0; i < masked.size(); ++i) {
    masked[i] = bilevel_[i] == 0 ? 0xFFFFFF : masked[i];
  }
  ExpectSame("pnmtopng -alpha=bilevel.pgm colour.ppm > made.png", masked, 24);
  ExpectSame(
      "convert-im6.q16 colour.ppm bilevel.pgm -alpha off -compose CopyOpacity -composite "
      "-depth 8 PNG32:made.png",
      masked, 24);
  std::vector<uint32_t> keyed = few_;
  for (uint32_t& colour : keyed) {
    colour = colour == few_[0] ? 0xFFFFFF : colour;
  }
  char name[16];
  std::snprintf(name, sizeof name, "rgb:%02x/%02x/%02x", few_[0] >> 16, few_[0] >> 8 & 0xFF,
                few_[0] & 0xFF);
  ExpectSame(std::string("pnmtopng -transparent =") + name + " few.ppm > made.png", keyed, 8);
  ExpectSame(std::string("pnmtopng -force -transparent =") + name + " few.ppm > made.png", keyed,
             24);
}

TEST_F(PngByOthers, ResolutionsAndTextsAreRead) {
  const PageImage page = Make(
      "convert-im6.q16 colour.ppm -density 118.11 -units PixelsPerCentimeter -set Title Mine "
      "made.png",
      "made.png");
  if (page.dib) {
    EXPECT_EQ(page.metadata.resolution,
              (Resolution{ResolutionUnit::kMetre, {11811, 1}, {11811, 1}}));
    ASSERT_FALSE(page.metadata.texts.empty());
    EXPECT_EQ(page.metadata.texts[0], (PageText{TextKind::kDocumentName, "Mine"}));
  }
}

class JpegByOthers : public OtherHands {
 protected:
  void SetUp() override {
    if (!IsBuiltIn(ImageFormat::kJpeg)) {
      GTEST_SKIP() << "JPEG is not built in";
    }
    OtherHands::SetUp();
  }
};

TEST_F(JpegByOthers, AreReadAsTheyAre) {
  ExpectClose("cjpeg -quality 95 colour.ppm > made.jpg", colour_, 24);
  ExpectClose("cjpeg -quality 95 -progressive colour.ppm > made.jpg", colour_, 24);
  ExpectClose("cjpeg -quality 95 -restart 1 colour.ppm > made.jpg", colour_, 24);
  ExpectClose("cjpeg -quality 95 -arithmetic colour.ppm > made.jpg", colour_, 24);
  ExpectClose("cjpeg -quality 95 -sample 1x1 colour.ppm > made.jpg", colour_, 24, 40);
  ExpectClose("cjpeg -quality 95 -rgb colour.ppm > made.jpg", colour_, 24, 40);
  ExpectClose("cjpeg -quality 95 grey.pgm > made.jpg", grey_, 8, 40);
  ExpectClose("convert-im6.q16 colour.ppm -quality 95 made.jpg", colour_, 24, 40);
  ExpectClose("gm convert -quality 95 -interlace Line colour.ppm made.jpg", colour_, 24);
  ExpectClose("vips copy colour.ppm made.jpg[Q=95,interlace]", colour_, 24);
}

TEST_F(JpegByOthers, InksAreRead) {
  ExpectClose("convert-im6.q16 colour.ppm -colorspace CMYK -quality 97 made.jpg", colour_, 24, 36);
}

// Turned so that the tag brings it back.
TEST_F(JpegByOthers, OrientationsAreApplied) {
  // Whole blocks, which can be turned without loss.
  const OwnedBlock blocks = test::SmoothDib(80, 48, 24);
  directory_.Write("colour.ppm", test::Ppm(Colours(blocks), 80));
  const PageImage upright = Make("cjpeg -quality 95 colour.ppm > made.jpg", "made.jpg");
  const char* const kBack[] = {"",           "-flip horizontal", "-rotate 180", "-flip vertical",
                               "-transpose", "-rotate 270",      "-transverse", "-rotate 90"};
  for (int orientation = 1; upright.dib && orientation <= 8; ++orientation) {
    const std::string turn = std::string("jpegtran -copy all -perfect ") + kBack[orientation - 1] +
                             " made.jpg > turned.jpg";
    const std::string number = std::to_string(orientation);
    for (const std::string& tag :
         {"exiftool -q -overwrite_original -Orientation#=" + number + " turned.jpg",
          "exiv2 -M\"set Exif.Image.Orientation " + number + "\" turned.jpg"}) {
      if (CanRun(turn) && CanRun(tag)) {
        ASSERT_TRUE(RunIn(directory_, turn + " && " + tag)) << tag;
        const Bytes file = test::ReadFile(directory_.Path("turned.jpg"));
        EXPECT_EQ(test::OpenBytes(file)->Describe(0).orientation,
                  static_cast<unsigned>(orientation));
        EXPECT_GT(test::Psnr(Colours(ReadPage(file).dib), Colours(upright.dib)), 45) << tag;
      }
    }
  }
}

TEST_F(JpegByOthers, ExifResolutionsAreRead) {
  const PageImage page = Make(
      "exiv2 -V && cjpeg colour.ppm > made.jpg && exiv2 -M'set Exif.Image.XResolution 301/2' "
      "-M'set Exif.Image.YResolution 300/1' -M'set Exif.Image.ResolutionUnit 2' "
      "-M'set Exif.Image.Artist Me' made.jpg",
      "made.jpg");
  if (page.dib) {
    EXPECT_EQ(page.metadata.resolution, (Resolution{ResolutionUnit::kInch, {301, 2}, {300, 1}}));
    EXPECT_EQ(page.metadata.texts, (std::vector<PageText>{{TextKind::kArtist, "Me"}}));
  }
}

class OursByOthers : public OtherHands {
 protected:
  // The colours that another's command gives of our file.
  std::vector<uint32_t> Given(const Bytes& file, const std::string& command) const {
    directory_.Write("ours", file);
    EXPECT_TRUE(RunIn(directory_, command)) << command;
    return test::ColoursOfPnm(test::ReadFile(directory_.Path("given.pnm")));
  }
};

TEST_F(OursByOthers, PngFilesAreReadByOthers) {
  const char* const kCommand = "pngtopnm ours > given.pnm";
  if (!IsBuiltIn(ImageFormat::kPng) || !CanRun(kCommand)) {
    GTEST_SKIP() << "the format or the command is not here";
  }
  std::vector<OwnedBlock> dibs;
  for (const uint16_t bits : std::initializer_list<uint16_t>{1, 4, 8, 24, 32}) {
    dibs.push_back(test::SomeDib(kWidth, kHeight, bits));
  }
  dibs.push_back(test::SomeDib(kWidth, kHeight, 8, true));
  dibs.push_back(test::SmoothDib(kWidth, kHeight, 24));
  const PageMetadata metadata{
      ResolutionOfDpi(300), Bytes(), {{TextKind::kDescription, "\xCE\xA9 \xC3\xBC"}}};
  for (const OwnedBlock& dib : dibs) {
    const Bytes file =
        test::WritePage(ImageFormat::kPng, dib, metadata, {Compression::kDeflate, 90});
    EXPECT_EQ(Given(file, kCommand), Colours(dib));
  }
}

TEST_F(OursByOthers, JpegFilesAreReadByOthers) {
  const char* const kCommand = "djpeg -pnm ours > given.pnm";
  if (!IsBuiltIn(ImageFormat::kJpeg) || !CanRun(kCommand)) {
    GTEST_SKIP() << "the format or the command is not here";
  }
  for (const uint16_t bits : std::initializer_list<uint16_t>{8, 24}) {
    const OwnedBlock dib = test::SmoothDib(kWidth, kHeight, bits);
    const Bytes file = test::WritePage(ImageFormat::kJpeg, dib, {}, {Compression::kJpeg, 90});
    EXPECT_EQ(Given(file, kCommand), Colours(ReadPage(file).dib));
  }
}

TEST_F(OursByOthers, TheScansAreReadAsOthersReadThem) {
  const auto scans = test::SuiteDirectory().parent_path() / "scans";
  if (!std::filesystem::is_directory(scans)) {
    GTEST_SKIP() << "no scans at " << scans << ": set DIBKIT_SAMPLES_DIR to run this test";
  }
  for (const auto& entry : std::filesystem::directory_iterator(scans)) {
    const auto format = FormatOfName(entry.path().string());
    const std::string command = format == ImageFormat::kPng
                                    ? "pngtopnm ours | pamdepth 255 > given.pnm"
                                    : "djpeg -pnm ours > given.pnm";
    const bool isOurs = format == ImageFormat::kPng || format == ImageFormat::kJpeg;
    if (isOurs && IsBuiltIn(*format) && CanRun(command)) {
      const Bytes file = test::ReadFile(entry.path().string());
      EXPECT_EQ(Given(file, command), Colours(ReadPage(file).dib)) << entry.path();
    }
  }
}

}  // namespace
}  // namespace dibkit::host
