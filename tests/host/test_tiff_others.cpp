// SPDX-License-Identifier: Apache-2.0
//
// TIFF files made by other people's commands, and ours read by them.
#include <gtest/gtest.h>

#include <memory>

#include "dibkit/host/byte_sink.h"
#include "dibkit/host/dib_view.h"
#include "dibkit/host/locked_block.h"
#include "formats/tiff.h"
#include "image_pages.h"
#include "outside_tools.h"

namespace dibkit::host {
namespace {

using test::Bytes;
using test::CanRun;
using test::Colours;
using test::RunIn;

constexpr uint32_t kWidth = 75;
constexpr uint32_t kHeight = 52;

// Smooth colours and greys, and what is black and white of them, as TIFF and as portable files.
class OtherTiffs : public testing::Test {
 protected:
  void SetUp() override {
    colour_ = Keep(test::SmoothDib(kWidth, kHeight, 24), "colour");
    grey_ = Keep(test::SmoothDib(kWidth, kHeight, 8), "grey");
    const OwnedBlock bilevel = test::SomeDib(kWidth, kHeight, 1);
    test::SetTable(bilevel, {0xFFFFFF, 0});
    bilevel_ = Keep(bilevel, "bilevel");
    palette_ = Keep(test::SomeDib(kWidth, kHeight, 4), "palette");
  }

  std::vector<uint32_t> Keep(const OwnedBlock& dib, const std::string& name) const {
    directory_.Write(name + ".tif", test::WritePage(ImageFormat::kTiff, dib));
    directory_.Write(name + ".ppm", test::Ppm(Colours(dib), kWidth));
    return Colours(dib);
  }

  // True when the command is here and has made `made.tif`.
  bool Make(const std::string& command) const {
    if (!CanRun(command)) {
      return false;
    }
    const bool made = RunIn(directory_, "rm -f made.tif; " + command);
    EXPECT_TRUE(made) << command;
    return made;
  }

  Bytes Made() const { return test::ReadFile(directory_.Path("made.tif")); }

  void ExpectSame(const std::string& command, const std::vector<uint32_t>& colours,
                  unsigned bits) const {
    if (Make(command)) {
      const PageImage page = test::ReadPage(Made());
      EXPECT_EQ(Colours(page.dib), colours) << command;
      EXPECT_EQ(test::BitCountOf(page.dib), bits) << command;
    }
  }

  void ExpectClose(const std::string& command, const std::vector<uint32_t>& colours,
                   double decibels) const {
    if (Make(command)) {
      EXPECT_GT(test::Psnr(Colours(test::ReadPage(Made()).dib), colours), decibels) << command;
    }
  }

  Resolution MadeResolution() const { return test::ReadPage(Made()).metadata.resolution; }

  test::TemporaryDirectory directory_;
  std::vector<uint32_t> colour_;
  std::vector<uint32_t> grey_;
  std::vector<uint32_t> bilevel_;
  std::vector<uint32_t> palette_;
};

TEST_F(OtherTiffs, EveryCompressionOrderAndLayoutByTiffcp) {
  for (const std::string layout : {"", "-B", "-L", "-8", "-B -8", "-f lsb2msb", "-r 7", "-r 1000",
                                   "-p separate", "-p separate -r 5 -B", "-t -w 16 -l 16",
                                   "-t -w 48 -l 32 -p separate -B", "-t -w 256 -l 256"}) {
    for (const std::string packing : {"none", "lzw", "lzw:2", "zip", "zip:2", "packbits"}) {
      const std::string command = "tiffcp " + layout + " -c " + packing;
      ExpectSame(command + " colour.tif made.tif", colour_, 24);
      ExpectSame(command + " grey.tif made.tif", grey_, 8);
      // It makes planes of whole bytes only, and no differences of less.
      if (packing.find(':') == std::string::npos && layout.find("sep") == std::string::npos) {
        ExpectSame(command + " palette.tif made.tif", palette_, 4);
      }
    }
  }
}

TEST_F(OtherTiffs, FaxPagesByTiffcp) {
  for (const std::string layout : {"", "-B", "-f lsb2msb", "-r 9", "-r 1000",
                                   "-t -w 32 -l 16 -f lsb2msb", "-t -w 128 -l 64"}) {
    for (const std::string packing : {"none", "lzw", "zip", "packbits", "g3", "g3:1d", "g3:1d:fill",
                                      "g3:2d", "g3:2d:fill", "g4"}) {
      ExpectSame("tiffcp " + layout + " -c " + packing + " bilevel.tif made.tif", bilevel_, 1);
    }
  }
}

TEST_F(OtherTiffs, JpegPagesByTiffcp) {
  for (const std::string layout : {"-r 16", "-r 1000", "-t -w 32 -l 32", "-B -r 32"}) {
    ExpectClose("tiffcp " + layout + " -c jpeg:95 colour.tif made.tif", colour_, 33);
    ExpectClose("tiffcp " + layout + " -c jpeg:r:95 colour.tif made.tif", colour_, 33);
    ExpectClose("tiffcp " + layout + " -c jpeg:95 grey.tif made.tif", grey_, 38);
  }
}

TEST_F(OtherTiffs, OldFaxCodesByImageMagickAndGraphicsMagick) {
  for (const std::string tool : {"convert-im6.q16", "gm convert"}) {
    for (const std::string packing : {"None", "Fax", "Group4", "LZW", "Zip"}) {
      const std::string command = tool + " bilevel.ppm -type bilevel -depth 1 -compress " + packing;
      ExpectSame(command + " made.tif", bilevel_, 1);
    }
  }
}

TEST_F(OtherTiffs, DepthsAndColoursByImageMagick) {
  const std::string tool = "convert-im6.q16 ";
  for (const std::string options : {"", "-define tiff:endian=msb", "-interlace plane",
                                    "-define tiff:tile-geometry=32x32", "-compress LZW"}) {
    ExpectSame(tool + "colour.ppm " + options + " made.tif", colour_, 24);
    ExpectSame(tool + "colour.ppm -depth 16 " + options + " made.tif", colour_, 24);
    ExpectSame(tool + "grey.ppm -type grayscale -depth 16 " + options + " made.tif", grey_, 8);
    ExpectSame(tool + "grey.ppm -type grayscale -depth 8 " + options + " made.tif", grey_, 8);
    // Its tiles of 4 bits are not right.
    if (options.find("tile") == std::string::npos) {
      ExpectSame(tool + "palette.ppm -type palette " + options + " made.tif", palette_, 4);
    }
  }
  ExpectClose(tool + "colour.ppm -colorspace CMYK made.tif", colour_, 45);
  ExpectClose(tool + "colour.ppm -colorspace Lab -depth 8 made.tif", colour_, 24);
  ExpectSame(tool + "colour.ppm -alpha opaque made.tif", colour_, 24);
  ExpectClose(tool + "colour.ppm -compress JPEG -quality 95 made.tif", colour_, 30);
}

TEST_F(OtherTiffs, AlphaByImageMagick) {
  const std::string command =
      "convert-im6.q16 colour.ppm -alpha set -channel A -evaluate set 40% made.tif";
  if (Make(command + " && convert-im6.q16 made.tif -background white -flatten flat.ppm")) {
    const auto flat = test::ColoursOfPnm(test::ReadFile(directory_.Path("flat.ppm")));
    EXPECT_GT(test::Psnr(Colours(test::ReadPage(Made()).dib), flat), 48);
  }
}

TEST_F(OtherTiffs, OrientationsByTiffset) {
  for (unsigned orientation = 1; orientation <= 8; ++orientation) {
    const std::string number = std::to_string(orientation);
    if (!Make("tiffset -s 274 " + number + " colour.tif && cp colour.tif made.tif && " +
              "convert-im6.q16 made.tif -auto-orient flat.ppm")) {
      return;
    }
    const auto flat = test::ColoursOfPnm(test::ReadFile(directory_.Path("flat.ppm")));
    EXPECT_EQ(Colours(test::ReadPage(Made()).dib), flat) << number;
  }
}

TEST_F(OtherTiffs, ResolutionsInEveryUnit) {
  const std::string density = "convert-im6.q16 colour.ppm -density 300x118 ";
  if (Make(density + "-units PixelsPerInch made.tif")) {
    EXPECT_EQ(MadeResolution(), (Resolution{ResolutionUnit::kInch, {300, 1}, {118, 1}}));
  }
  if (Make(density + "-units PixelsPerCentimeter made.tif")) {
    EXPECT_EQ(MadeResolution(), (Resolution{ResolutionUnit::kCentimetre, {300, 1}, {118, 1}}));
  }
  if (Make(density + "-units Undefined made.tif")) {
    EXPECT_EQ(MadeResolution().unit, ResolutionUnit::kNone);
  }
}

TEST_F(OtherTiffs, SeveralPagesByEveryTool) {
  for (const std::string command :
       {"tiffcp colour.tif grey.tif bilevel.tif made.tif",
        "convert-im6.q16 colour.ppm grey.ppm bilevel.ppm -adjoin made.tif",
        "gm convert colour.ppm grey.ppm bilevel.ppm -adjoin made.tif"}) {
    if (Make(command)) {
      const Bytes file = Made();
      const auto reader = test::OpenBytes(file);
      ASSERT_EQ(reader->PageCount(), 3U) << command;
      EXPECT_EQ(Colours(reader->Read(2).dib), bilevel_);
      EXPECT_EQ(Colours(reader->Read(0).dib), colour_);
      EXPECT_EQ(Colours(reader->Read(1).dib), grey_);
    }
  }
}

TEST_F(OtherTiffs, PyramidsByVipsAreOnePage) {
  const std::string options = ",tile,tile-width=16,tile-height=16,pyramid";
  for (const std::string packing : {"none", "lzw", "deflate", "packbits"}) {
    const std::string command = "vips copy colour.ppm 'made.tif[compression=" + packing;
    ExpectSame(command + options + "]'", colour_, 24);
    if (Make(command + options + ",bigtiff]'")) {
      const Bytes file = Made();
      EXPECT_EQ(test::OpenBytes(file)->PageCount(), 1U);
      EXPECT_EQ(Colours(test::ReadPage(file).dib), colour_);
    }
    ExpectSame(command + ",predictor=horizontal]'", colour_, 24);
  }
  ExpectClose("vips copy colour.ppm 'made.tif[compression=jpeg,Q=95,tile]'", colour_, 33);
}

TEST_F(OtherTiffs, OldStyleJpegIsReadThroughLibtiff) {
  if (!Make("gm convert colour.ppm -sampling-factor 2x2 -quality 95 made.tif.jpg && touch "
            "made.tif")) {
    return;
  }
  const Bytes jpeg = test::ReadFile(directory_.Path("made.tif.jpg"));
  // A directory of the kind, its JPEG file behind it.
  const std::vector<std::array<uint32_t, 3>> tags{
      {256, 4, kWidth}, {257, 4, kHeight}, {258, 3, 8}, {259, 3, 6},
      {262, 3, 6},      {273, 4, 0},       {277, 3, 3}, {278, 4, kHeight},
      {279, 4, 1},      {513, 4, 0},       {514, 4, 1}, {530, 3, 0x00020002}};
  Bytes file{'I', 'I', 42, 0, 8, 0, 0, 0, static_cast<unsigned char>(tags.size()), 0};
  const auto jpegAt = static_cast<uint32_t>(10 + 12 * tags.size() + 4);
  for (const auto& [tag, type, value] : tags) {
    test::Append16(file, static_cast<uint16_t>(tag));
    test::Append16(file, static_cast<uint16_t>(type));
    test::Append32(file, tag == 530 ? 2 : 1);
    const bool isPlace = tag == 273 || tag == 513;
    const bool isSize = tag == 279 || tag == 514;
    test::Append32(file, isPlace ? jpegAt : isSize ? static_cast<uint32_t>(jpeg.size()) : value);
  }
  test::Append32(file, 0);
  file.insert(file.end(), jpeg.begin(), jpeg.end());
  const PageImage page = test::ReadPage(file);
  EXPECT_GT(test::Psnr(Colours(page.dib), colour_), 30);
}

// Ours, in other hands.

void ExpectTheyRead(const test::TemporaryDirectory& directory, const std::string& tool,
                    const std::vector<uint32_t>& colours) {
  if (CanRun(tool) && RunIn(directory, tool)) {
    EXPECT_EQ(test::ColoursOfPnm(test::ReadFile(directory.Path("theirs.ppm"))), colours) << tool;
  }
}

TEST_F(OtherTiffs, ReadOurs) {
  struct Case {
    OwnedBlock dib;
    std::vector<Compression> ways;
  };
  std::vector<Case> cases;
  const std::vector<Compression> usual{Compression::kNone, Compression::kLzw, Compression::kDeflate,
                                       Compression::kPackBits};
  cases.push_back({test::SmoothDib(kWidth, 700, 24), usual});
  cases.push_back({test::SomeDib(kWidth, 40, 24), usual});
  cases.push_back({test::SmoothDib(kWidth, 700, 8), usual});
  cases.push_back({test::SomeDib(kWidth, 40, 8), usual});
  cases.push_back({test::SomeDib(kWidth, 40, 4), usual});
  cases.push_back({test::SomeDib(kWidth, 400, 1), {Compression::kNone, Compression::kLzw}});
  const OwnedBlock white = test::SomeDib(kWidth, 400, 1);
  test::SetTable(white, {0xFFFFFF, 0});
  cases.push_back({test::SomeDib(kWidth, 400, 1), {}});
  test::SetTable(cases.back().dib, {0xFFFFFF, 0});
  cases.back().ways = {Compression::kG3, Compression::kG4, Compression::kDeflate};
  for (const Case& c : cases) {
    for (const Compression way : c.ways) {
      directory_.Write("ours.tif", test::WritePage(ImageFormat::kTiff, c.dib, {}, {way, 90}));
      for (const std::string tool :
           {"tifftopnm ours.tif > theirs.ppm", "convert-im6.q16 ours.tif -depth 8 theirs.ppm",
            "gm convert ours.tif -depth 8 theirs.ppm",
            "tiffcp -c none ours.tif plain.tif && gm convert plain.tif -depth 8 theirs.ppm"}) {
        ExpectTheyRead(directory_, tool, Colours(c.dib));
      }
    }
  }
}

TEST_F(OtherTiffs, ReadOurBigFiles) {
  MemorySink sink;
  const auto writer = MakeTiff(sink, 20'000);
  const OwnedBlock dib = test::SmoothDib(kWidth, kHeight, 24);
  for (int i = 0; i < 5; ++i) {
    const LockedBlock lock(dib.get());
    PageMetadata metadata;
    metadata.resolution = ResolutionOfDpi(300);
    writer->Add(DibView(lock.Bytes()), metadata, {Compression::kNone, 90});
  }
  writer->Finish();
  directory_.Write("ours.tif", sink.Bytes());
  for (const std::string page : {"0", "1", "4"}) {
    ExpectTheyRead(directory_, "convert-im6.q16 'ours.tif[" + page + "]' theirs.ppm", colour_);
  }
  if (CanRun("tiffinfo")) {
    EXPECT_TRUE(RunIn(directory_,
                      "test $(tiffinfo ours.tif | grep -c '300, 300 pixels/inch') = 5 "
                      "&& ! tiffinfo ours.tif 2>&1 | grep -i -E 'warning|error'"));
  }
}

}  // namespace
}  // namespace dibkit::host
