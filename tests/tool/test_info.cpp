// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <tuple>

#include "process.h"

namespace dibkit::test {
namespace {

TEST(Info, TellsWhatAFileHolds) {
  const TemporaryDirectory directory;
  const std::string in = directory.Write("in.bmp", BitmapBuilder().Build());
  const Outcome outcome = RunTool({"info", in});
  EXPECT_EQ(outcome.exitCode, 0);
  EXPECT_EQ(outcome.err, "");
  EXPECT_EQ(outcome.out, in + "\n"
                              "  format: BMP\n"
                              "  pages: 1\n"
                              "  size: 4 x 3\n"
                              "  depth: 8 bits\n"
                              "  colour: grey\n"
                              "  compression: none\n"
                              "  resolution: 300 x 300 dpi (11811 x 11811 pixels per metre)\n"
                              "  orientation: 1, upright\n"
                              "  profile: none\n"
                              "  header: 40 bytes\n"
                              "  first row: bottom\n"
                              "  colour table: 256 entries\n"
                              "  resample: yes\n");
}

TEST(Info, TellsTheKindsOfOs2) {
  const TemporaryDirectory directory;
  for (const auto& [compression, bits, name] :
       {std::tuple{4U, uint16_t{24}, "RLE24"}, {3U, uint16_t{1}, "fax"}}) {
    BitmapBuilder file;
    file.headerBytes = 64;
    file.compression = compression;
    file.bitCount = bits;
    const Outcome outcome = RunTool({"info", directory.Write("in.bmp", file.Build())});
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_NE(outcome.out.find("  compression: " + std::string(name) + "\n"), std::string::npos);
    EXPECT_NE(outcome.out.find("  resample: yes\n"), std::string::npos);
  }
}

TEST(Info, TellsWhatStandsInTheWayOfAConversion) {
  const TemporaryDirectory directory;
  BitmapBuilder file;
  file.xPelsPerMeter = 0;
  const Outcome outcome = RunTool({"info", directory.Write("in.bmp", file.Build())});
  EXPECT_EQ(outcome.exitCode, 0);
  EXPECT_NE(outcome.out.find("  first row: bottom\n"), std::string::npos);
  EXPECT_NE(outcome.out.find("  resolution: none (0 x 11811 pixels per metre)\n"),
            std::string::npos);
  EXPECT_NE(outcome.out.find("  resample: no, the file gives no resolution"), std::string::npos);
}

TEST(Info, TakesImagesOfAnySize) {
  const TemporaryDirectory directory;
  BitmapBuilder file;
  file.bitCount = 1;
  file.width = 70'000;
  const Outcome outcome = RunTool({"info", directory.Write("in.bmp", file.Build())});
  EXPECT_EQ(outcome.exitCode, 0);
  EXPECT_NE(outcome.out.find("  size: 70000 x 3\n"), std::string::npos);
}

TEST(Info, WritesOneJsonObjectPerLine) {
  const TemporaryDirectory directory;
  BitmapBuilder topDown;
  topDown.height = -3;
  topDown.bitCount = 24;
  BitmapBuilder fax;
  fax.headerBytes = 64;
  fax.compression = 3;
  fax.bitCount = 1;
  const std::string first = directory.Write("a.bmp", BitmapBuilder().Build());
  const std::string second = directory.Write("b.bmp", topDown.Build());
  const std::string third = directory.Write("c.bmp", fax.Build());
  const Outcome outcome = RunTool({"info", "--json", first, second, third});
  EXPECT_EQ(outcome.exitCode, 0);
  const std::string resolution =
      R"("dpi_x":300,"dpi_y":300,"resolution_unit":"inch","resolution_x":"300",)"
      R"("resolution_y":"300","orientation":1,"profile":false,"pixels_per_metre_x":11811,)"
      R"("pixels_per_metre_y":11811,)";
  EXPECT_EQ(
      outcome.out,
      R"({"file":")" + first +
          R"(","format":"BMP","page":1,"pages":1,"width":4,"height":3,"bits":8,"colour":"grey",)"
          R"("compression":"none",)" +
          resolution +
          R"("header_bytes":40,"top_down":false,"table_entries":256,"pixel_offset":1078,)"
          R"("pixel_bytes":12,"resample":true})"
          "\n" +
          R"({"file":")" + second +
          R"(","format":"BMP","page":1,"pages":1,"width":4,"height":3,"bits":24,"colour":"RGB",)"
          R"("compression":"none",)" +
          resolution +
          R"("header_bytes":40,"top_down":true,"table_entries":0,"pixel_offset":54,)"
          R"("pixel_bytes":36,"resample":true})"
          "\n" +
          R"({"file":")" + third +
          R"(","format":"BMP","page":1,"pages":1,"width":4,"height":3,"bits":1,)"
          R"("colour":"bilevel","compression":"fax",)" +
          resolution +
          R"("header_bytes":64,"top_down":false,"table_entries":2,"pixel_offset":86,)"
          R"("pixel_bytes":12,"resample":true})"
          "\n");
}

TEST(Info, AFailureIsAnObjectToo) {
  const TemporaryDirectory directory;
  const std::string bad = directory.Write("bad.bmp", Bytes{'B', 'M'});
  const std::string good = directory.Write("good.bmp", BitmapBuilder().Build());
  const Outcome outcome = RunTool({"info", "--json", bad, good});
  EXPECT_EQ(outcome.exitCode, 1);
  EXPECT_EQ(outcome.err, "dibkit: " + bad + ": the file ends inside its headers, after 2 bytes\n");
  const std::string object =
      R"({"file":")" + bad + R"(","error":"the file ends inside its headers, after 2 bytes"})";
  EXPECT_EQ(outcome.out.substr(0, object.size() + 1), object + "\n");
  EXPECT_NE(outcome.out.find(good), std::string::npos);
}

TEST(Info, SaysWhyResampleWouldRefuse) {
  const TemporaryDirectory directory;
  BitmapBuilder none;
  none.xPelsPerMeter = none.yPelsPerMeter = 0;
  BitmapBuilder absurd;
  absurd.yPelsPerMeter = 3;
  BitmapBuilder wide;
  wide.bitCount = 1;
  wide.width = 70'000;
  BitmapBuilder many;
  many.width = many.height = 100;
  for (const auto& [file, reason] :
       {std::pair{none, "the file gives no resolution; say what it is with --from-dpi N"},
        std::pair{absurd,
                  "the file gives a resolution that cannot be, 11811 x 3 per metre; say what it is "
                  "with --from-dpi N"},
        std::pair{wide,
                  "the image is 70000 x 3, more than 65535 columns or rows cannot be converted"},
        std::pair{many,
                  "the image has 100 x 100 pixels, more than the 9999 that are allowed; "
                  "--max-pixels N allows more"}}) {
    const std::string in = directory.Write("in.bmp", file.Build());
    const std::string limit = file.height == 100 ? "9999" : "250000000";
    const Outcome outcome = RunTool({"info", "--max-pixels", limit, in});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
    EXPECT_NE(outcome.out.find("  resample: no, " + std::string(reason) + "\n"), std::string::npos)
        << outcome.out;
    EXPECT_NE(RunTool({"resample", "--dpi", "300", "--max-pixels", limit, "-o",
                       directory.Path("out.bmp"), in})
                  .exitCode,
              0);
  }
}

TEST(Info, EscapesNamesInJson) {
  const TemporaryDirectory directory;
  const std::string name = "a\"b\\c\nd\xC3\xA4\xFF\xC3z.bmp";
  const std::string in = directory.Write(name, BitmapBuilder().Build());
  const Outcome outcome = RunTool({"info", "--json", in});
  EXPECT_EQ(outcome.exitCode, 0);
  EXPECT_NE(outcome.out.find("/a\\\"b\\\\c\\nd\xC3\xA4\xEF\xBF\xBD\xEF\xBF\xBDz.bmp\""),
            std::string::npos)
      << outcome.out;
}

TEST(Info, GoesOnAfterAFailure) {
  const TemporaryDirectory directory;
  const std::string bad = directory.Write("bad.bmp", Bytes{'B', 'M'});
  const std::string good = directory.Write("good.bmp", BitmapBuilder().Build());
  const Outcome outcome = RunTool({"info", bad, good});
  EXPECT_EQ(outcome.exitCode, 1);
  EXPECT_EQ(outcome.err, "dibkit: " + bad + ": the file ends inside its headers, after 2 bytes\n");
  EXPECT_EQ(outcome.out.substr(0, good.size()), good);
}

TEST(Info, ReadsStandardInput) {
  const TemporaryDirectory directory;
  Start start;
  start.arguments = {"info", "-"};
  start.inputPath = directory.Write("in.bmp", BitmapBuilder().Build());
  const Outcome outcome = RunTool(start);
  EXPECT_EQ(outcome.exitCode, 0);
  EXPECT_EQ(outcome.out.substr(0, 16), "-\n  format: BMP\n");
}

}  // namespace
}  // namespace dibkit::test
