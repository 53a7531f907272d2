// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

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
                              "  size: 4 x 3\n"
                              "  depth: 8 bits\n"
                              "  resolution: 300 x 300 dpi (11811 x 11811 pixels per metre)\n"
                              "  header: 40 bytes\n"
                              "  compression: none\n"
                              "  first row: bottom\n"
                              "  colour table: 256 entries\n"
                              "  resample: yes\n");
}

TEST(Info, TellsWhatStandsInTheWayOfAConversion) {
  const TemporaryDirectory directory;
  BitmapBuilder file;
  file.headerBytes = 64;
  file.compression = 4;
  file.bitCount = 24;
  file.xPelsPerMeter = 0;
  const Outcome outcome = RunTool({"info", directory.Write("in.bmp", file.Build())});
  EXPECT_EQ(outcome.exitCode, 0);
  EXPECT_NE(outcome.out.find("  first row: bottom\n"), std::string::npos);
  EXPECT_NE(outcome.out.find("  resolution: none (0 x 11811 pixels per metre)\n"),
            std::string::npos);
  EXPECT_NE(outcome.out.find("  resample: no, bitmaps with RLE24 pixels cannot"),
            std::string::npos);
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
  EXPECT_EQ(
      outcome.out,
      "{\"file\": \"" + first +
          "\", \"width\": 4, \"height\": 3, \"bits\": 8, \"dpi_x\": 300, \"dpi_y\": 300, "
          "\"pixels_per_metre_x\": 11811, \"pixels_per_metre_y\": 11811, \"header_bytes\": 40, "
          "\"compression\": \"none\", \"top_down\": false, \"table_entries\": 256, "
          "\"pixel_offset\": 1078, \"pixel_bytes\": 12, \"resample\": true}\n" +
          "{\"file\": \"" + second +
          "\", \"width\": 4, \"height\": 3, \"bits\": 24, \"dpi_x\": 300, \"dpi_y\": 300, "
          "\"pixels_per_metre_x\": 11811, \"pixels_per_metre_y\": 11811, \"header_bytes\": 40, "
          "\"compression\": \"none\", \"top_down\": true, \"table_entries\": 0, "
          "\"pixel_offset\": 54, \"pixel_bytes\": 36, \"resample\": true}\n" +
          "{\"file\": \"" + third +
          "\", \"width\": 4, \"height\": 3, \"bits\": 1, \"dpi_x\": 300, \"dpi_y\": 300, "
          "\"pixels_per_metre_x\": 11811, \"pixels_per_metre_y\": 11811, \"header_bytes\": 64, "
          "\"compression\": \"fax\", \"top_down\": false, \"table_entries\": 2, "
          "\"pixel_offset\": 86, \"pixel_bytes\": 12, \"resample\": false, "
          "\"obstacle\": \"bitmaps with fax pixels cannot be converted\"}\n");
}

TEST(Info, EscapesNamesInJson) {
  const TemporaryDirectory directory;
  const std::string name = "a\"b\\c\nd\xC3\xA4\xFF\xC3z.bmp";
  const std::string in = directory.Write(name, BitmapBuilder().Build());
  const Outcome outcome = RunTool({"info", "--json", in});
  EXPECT_EQ(outcome.exitCode, 0);
  EXPECT_NE(outcome.out.find("/a\\\"b\\\\c\\u000ad\xC3\xA4\xEF\xBF\xBD\xEF\xBF\xBDz.bmp\""),
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
  EXPECT_EQ(outcome.out.substr(0, 16), "-\n  size: 4 x 3\n");
}

}  // namespace
}  // namespace dibkit::test
