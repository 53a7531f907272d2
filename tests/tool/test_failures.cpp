// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

#include "dibkit/host/image_format.h"
#include "process.h"

namespace dibkit::test {
namespace {

using Names = std::vector<std::string>;

class Failures : public testing::Test {
 protected:
  // Resamples the file and expects status 1, one line on standard error and no trace of an output
  // file.
  void ExpectFailure(const BitmapBuilder& file, const std::string& message,
                     std::vector<std::string> options = {}) {
    const std::string in = directory_.Write("in.bmp", file.Build());
    std::vector<std::string> arguments{"resample", "-o", directory_.Path("out.bmp"), in};
    if (std::find(options.begin(), options.end(), "--dpi") == options.end()) {
      options.insert(options.end(), {"--dpi", "200"});
    }
    arguments.insert(arguments.end(), options.begin(), options.end());
    const Outcome outcome = RunTool(arguments);
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, "dibkit: " + in + ": " + message + "\n");
    EXPECT_EQ(directory_.Names(), Names{"in.bmp"});
  }

  TemporaryDirectory directory_;
};

BitmapBuilder With(const std::function<void(BitmapBuilder&)>& change) {
  BitmapBuilder file;
  change(file);
  return file;
}

TEST_F(Failures, UnsoundFiles) {
  ExpectFailure(With([](auto& file) {
                  file.magic = {'P', '6'};
                }),
                "not a BMP, TIFF, PNG or JPEG file");
  ExpectFailure(With([](auto& file) { file.headerBytes = 66; }),
                "there is no bitmap header of 66 bytes");
  ExpectFailure(With([](auto& file) { file.planes = 3; }), "the number of planes is 3, not 1");
  ExpectFailure(With([](auto& file) {
                  file.bitCount = 5;
                  file.table = Bytes();
                }),
                "there is no bitmap of 5 bits");
  ExpectFailure(With([](auto& file) {
                  file.width = -4;
                  file.pixels = Bytes(12);
                }),
                "the width is -4");
  ExpectFailure(With([](auto& file) {
                  file.height = 0;
                  file.pixels = Bytes(12);
                }),
                "the height is 0");
  ExpectFailure(With([](auto& file) { file.compression = 9; }), "there is no compression number 9");
  ExpectFailure(With([](auto& file) { file.compression = 2; }),
                "RLE4 compression does not exist at 8 bits");
  ExpectFailure(With([](auto& file) {
                  file.compression = 1;
                  file.height = -3;
                }),
                "a compressed bitmap cannot be stored top row first");
  ExpectFailure(With([](auto& file) { file.colorsUsed = 0x80000000; }),
                "the colour table should have 2147483648 entries, but there is room for 256");
  ExpectFailure(With([](auto& file) { file.pixelOffset = 20; }),
                "the pixels would begin at byte 20, inside the headers");
  ExpectFailure(With([](auto& file) { file.pixelOffset = 5000; }),
                "the pixels would begin at byte 5000, behind the end of the file");
  ExpectFailure(With([](auto& file) { file.pixels = Bytes(11); }),
                "the rows need 12 bytes, but the file holds 11 of them");
  ExpectFailure(With([](auto& file) {
                  file.width = 46341;
                  file.height = 46341;
                  file.pixels = Bytes(100);
                }),
                "the rows need 2147627304 bytes, but the file holds 100 of them",
                {"--max-pixels", "3000000000"});
  ExpectFailure(With([](auto& file) {
                  file.compression = 1;
                  file.sizeImage = 20;
                }),
                "the compressed pixels need 20 bytes, but the file holds 12 of them");
}

TEST_F(Failures, FilesThatEndInTheirHeaders) {
  Bytes bytes = BitmapBuilder().Build();
  bytes.resize(30);
  const std::string in = directory_.Write("in.bmp", bytes);
  const Outcome outcome =
      RunTool({"resample", "--dpi", "200", "-o", directory_.Path("out.bmp"), in});
  EXPECT_EQ(outcome.exitCode, 1);
  EXPECT_EQ(outcome.err, "dibkit: " + in + ": the file ends inside its headers, after 30 bytes\n");
}

TEST_F(Failures, EmbeddedFilesThatAreNone) {
  for (const auto& [compression, format] :
       {std::pair{4U, host::ImageFormat::kJpeg}, {5U, host::ImageFormat::kPng}}) {
    const std::string name = host::FormatName(format);
    ExpectFailure(With([number = compression](auto& file) {
                    file.headerBytes = 124;
                    file.compression = number;
                    file.bitCount = 0;
                    file.table = Bytes();
                    file.pixels = Bytes(10);
                  }),
                  host::IsBuiltIn(format)
                      ? "the pixels should be an embedded " + name + " file, but are none"
                      : "the pixels are an embedded " + name + " file, and " + name +
                            " files are not built in here");
  }
}

TEST_F(Failures, MissingAndImpossibleResolutions) {
  const std::string missing = "the file gives no resolution; say what it is with --from-dpi N";
  const auto absurd = [](const std::string& x, const std::string& y) {
    return "the file gives a resolution that cannot be, " + x + " x " + y +
           " per metre; say what it is with --from-dpi N";
  };
  ExpectFailure(With([](auto& file) { file.xPelsPerMeter = file.yPelsPerMeter = 0; }), missing);
  ExpectFailure(With([](auto& file) { file.xPelsPerMeter = -11811; }), missing);
  ExpectFailure(With([](auto& file) { file.yPelsPerMeter = 38; }), absurd("11811", "38"));
  ExpectFailure(With([](auto& file) { file.xPelsPerMeter = 2580315; }), absurd("2580315", "11811"));
}

// Such as 1 dpi, which some programs write where they know nothing.
TEST_F(Failures, ResolutionsThatMakeTheResultTooLarge) {
  ExpectFailure(With([](auto& file) {
                  file.width = 2000;
                  file.xPelsPerMeter = file.yPelsPerMeter = 40;
                }),
                "at 200 dpi the result would have more than 65535 columns; the file gives 1 dpi, "
                "if that is wrong say what it is with --from-dpi N");
}

TEST_F(Failures, SidesThatAreTooLong) {
  BitmapBuilder wide;
  wide.bitCount = 1;
  wide.width = 65536;
  ExpectFailure(wide,
                "the image is 65536 x 3, more than 65535 columns or rows cannot be converted");
  BitmapBuilder high;
  high.bitCount = 1;
  high.height = 65536;
  ExpectFailure(high,
                "the image is 4 x 65536, more than 65535 columns or rows cannot be converted");
  BitmapBuilder growing;
  growing.width = 300;
  ExpectFailure(growing, "at 65535 dpi the result would have more than 65535 columns",
                {"--from-dpi", "299", "--dpi", "65535"});
  std::swap(growing.width, growing.height);
  ExpectFailure(growing, "at 65535 dpi the result would have more than 65535 rows",
                {"--from-dpi", "299", "--dpi", "65535"});
}

TEST_F(Failures, ResultsWithoutColumnsOrRows) {
  BitmapBuilder file;
  ExpectFailure(file, "at 74 dpi the result would have no columns", {"--dpi", "74"});
  file.width = 40;
  ExpectFailure(file, "at 99 dpi the result would have no rows", {"--dpi", "99"});
}

TEST_F(Failures, PaletteRowsThatCannotBeWidened) {
  for (const uint16_t bits : std::initializer_list<uint16_t>{4, 8}) {
    BitmapBuilder file;
    file.bitCount = bits;
    file.width = 21845;
    file.table = file.Table();
    file.table->back() = 0;
    file.table->at(0) = 1;
    ExpectFailure(file,
                  "palette images in colour can have 21844 columns at most, this one has 21845",
                  {"--raw"});
  }
  BitmapBuilder grey;
  grey.bitCount = 4;
  grey.width = 65533;
  ExpectFailure(grey, "palette images in grey can have 65532 columns at most, this one has 65533",
                {"--raw"});
}

TEST_F(Failures, TopDownRowsThatTheLibraryDoesNotResample) {
  BitmapBuilder file;
  file.height = -3;
  ExpectFailure(file,
                "the library resamples no image that has its top row first; normalize it before",
                {"--raw"});
}

TEST_F(Failures, MorePixelsThanAllowed) {
  BitmapBuilder file;
  file.width = 100;
  file.height = 100;
  ExpectFailure(file,
                "the image has 100 x 100 pixels, more than the 9999 that are allowed; "
                "--max-pixels N allows more",
                {"--max-pixels", "9999"});
  ExpectFailure(file,
                "the result has 200 x 200 pixels, more than the 39999 that are allowed; "
                "--max-pixels N allows more",
                {"--max-pixels", "39999", "--dpi", "600"});
  ExpectFailure(file,
                "the result has 40000 x 40000 pixels, more than the 250000000 that are allowed; "
                "--max-pixels N allows more",
                {"--from-dpi", "100", "--dpi", "40000"});
}

TEST_F(Failures, ResultsThatNoBlockCanHold) {
  BitmapBuilder file;
  file.bitCount = 24;
  file.width = 100;
  file.height = 100;
  ExpectFailure(
      file, "the result of 40000 x 40000 pixels would need more bytes than one block can hold",
      {"--from-dpi", "100", "--dpi", "40000", "--max-pixels", "5000000000", "--memory", "100G"});
}

TEST_F(Failures, InputsThatDoNotOpen) {
  const std::string in = directory_.Path("none.bmp");
  const Outcome outcome =
      RunTool({"resample", "--dpi", "200", "-o", directory_.Path("out.bmp"), in});
  EXPECT_EQ(outcome.exitCode, 1);
  EXPECT_EQ(outcome.err, "dibkit: " + in + ": cannot open: No such file or directory\n");
}

TEST_F(Failures, OutputsThatCannotBeWritten) {
  const std::string in = directory_.Write("in.bmp", BitmapBuilder().Build());
  const std::string out = directory_.Path("none/out.bmp");
  const Outcome outcome = RunTool({"resample", "--dpi", "300", "-fo", out, in});
  EXPECT_EQ(outcome.exitCode, 1);
  EXPECT_EQ(outcome.err, "dibkit: " + out + ": cannot write: No such file or directory\n");
}

TEST_F(Failures, AFailureLeavesAnOlderOutputAsItWas) {
  BitmapBuilder file;
  file.pixels = Bytes(5);
  const std::string in = directory_.Write("in.bmp", file.Build());
  const std::string out = directory_.Write("out.bmp", Bytes{1, 2, 3});
  EXPECT_EQ(RunTool({"resample", "--dpi", "300", "-fo", out, in}).exitCode, 1);
  EXPECT_EQ(ReadFile(out), (Bytes{1, 2, 3}));
  EXPECT_EQ(directory_.Names(), (Names{"in.bmp", "out.bmp"}));
}

TEST_F(Failures, AFullDiskIsWorthAnotherTry) {
  const std::string in = directory_.Write("in.bmp", BitmapBuilder().Build());
  const Outcome file = RunTool({"resample", "--dpi", "300", "-o", "/dev/full", in});
  EXPECT_EQ(file.exitCode, 75);
  EXPECT_EQ(file.err, "dibkit: /dev/full: cannot write: No space left on device\n");
  Start start;
  start.outputPath = "/dev/full";
  start.arguments = {"resample", "--dpi", "300", "-o", "-", in};
  EXPECT_EQ(RunTool(start).exitCode, 75);
  start.arguments = {"info", in};
  EXPECT_EQ(RunTool(start).exitCode, 75);
}

TEST_F(Failures, TooLittleMemoryIsWorthAnotherTry) {
  if (IsSanitized()) {
    GTEST_SKIP() << "a sanitizer needs the address space for itself";
  }
  BitmapBuilder file;
  file.bitCount = 24;
  file.width = file.height = 100;
  const std::string in = directory_.Write("in.bmp", file.Build());
  Start start;
  start.arguments = {
      "resample", "--from-dpi", "100", "--dpi", "15000", "-o", directory_.Path("out.bmp"), in};
  start.addressSpace = 256U << 20;
  const Outcome outcome = RunTool(start);
  EXPECT_EQ(outcome.exitCode, 75);
  EXPECT_NE(outcome.err.find("MiB that this machine has to spare"), std::string::npos);
  start.arguments.insert(start.arguments.end(), {"--memory", "100G"});
  const Outcome tried = RunTool(start);
  EXPECT_EQ(tried.exitCode, 75);
  EXPECT_EQ(tried.err, "dibkit: " + in + ": there is not enough memory for the conversion\n");
  EXPECT_EQ(directory_.Names(), Names{"in.bmp"});
}

TEST_F(Failures, ALargeClaimOnAPipeTakesNoMemory) {
  BitmapBuilder file;
  file.bitCount = 24;
  file.width = file.height = 26754;  // 2 GiB
  file.pixels = Bytes(46);
  Start start;
  start.arguments = {"resample", "--dpi", "200", "-o", "-", "-"};
  start.inputPath = directory_.Write("in.bmp", file.Build());
  EXPECT_EQ(RunTool(start).exitCode, 1);
  start.arguments = {"normalize", "--max-pixels", "1000000000", "--memory",
                     "100G",      "-o",           "-",          "/dev/stdin"};
  start.inputPipe = true;
  Process process(start);
  process.Feed(file.Build());
  process.CloseInput();
  const Outcome outcome = process.Wait();
  EXPECT_EQ(outcome.exitCode, 1);
  EXPECT_NE(outcome.err.find("the file holds 46 of them"), std::string::npos) << outcome.err;
  if (!IsSanitized()) {
    EXPECT_LT(outcome.peakKilobytes, 20'000U);
  }
}

}  // namespace
}  // namespace dibkit::test
