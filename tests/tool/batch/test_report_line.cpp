// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>

#include "batch/report/report_line.h"

namespace dibkit::tool {
namespace {

PageRecord FullRecord() {
  PageRecord record;
  record.input = {"scans/a \"b\"\n.tif", "TIFF", 2480, 3508, 1, 300, 299};
  record.output = {"out/a.png", "PNG", 1654, 2339, 8, 200, 200};
  record.page = 3;
  record.pages = 5;
  record.status = PageStatus::kFailed;
  record.message = "no, memory}";
  record.milliseconds = 1234;
  record.peakBytes = uint64_t{5} << 32;
  record.sha256 = std::string(64, 'a');
  return record;
}

TEST(ReportLine, HoldsEverythingAndComesBackTheSame) {
  const PageRecord record = FullRecord();
  const std::string line = ReportLine(record);
  EXPECT_EQ(line,
            "{\"input\":\"scans/a \\\"b\\\"\\n.tif\",\"page\":3,\"pages\":5,\"status\":\"failed\","
            "\"message\":\"no, memory}\",\"output\":\"out/a.png\",\"sha256\":\"" +
                std::string(64, 'a') +
                "\",\"milliseconds\":1234,\"peak_bytes\":21474836480,"
                "\"input_format\":\"TIFF\",\"input_width\":2480,\"input_height\":3508,"
                "\"input_bits\":1,\"input_dpi_x\":300,\"input_dpi_y\":299,"
                "\"output_format\":\"PNG\",\"output_width\":1654,\"output_height\":2339,"
                "\"output_bits\":8,\"output_dpi_x\":200,\"output_dpi_y\":200}\n");
  EXPECT_EQ(ParseReportLine(line), record);
}

TEST(ReportLine, LeavesOutWhatIsNotKnown) {
  PageRecord record;
  record.input.path = "a.tif";
  EXPECT_EQ(ReportLine(record), "{\"input\":\"a.tif\",\"status\":\"done\"}\n");
  for (const PageStatus status :
       {PageStatus::kDone, PageStatus::kFailed, PageStatus::kSkipped, PageStatus::kInterrupted}) {
    record.status = status;
    EXPECT_EQ(ParseReportLine(ReportLine(record)), record);
  }
}

TEST(ReportLine, NamesOfAnyBytesComeBackTheSame) {
  PageRecord record;
  record.input.path = "gr\xFC\xDF/\xE2\x82\xAC.tif";
  record.output.path = "\xFF\xFE\x01";
  record.message = "bad \xFF byte";
  const std::string line = ReportLine(record);
  EXPECT_EQ(line.find("\"input\":\"gr\xEF\xBF\xBD\xEF\xBF\xBD/\xE2\x82\xAC.tif\","
                      "\"input_bytes\":\"6772fcdf2fe282ac2e746966\""),
            1U);
  EXPECT_EQ(std::count(line.begin(), line.end(), '\n'), 1);
  const auto read = ParseReportLine(line);
  ASSERT_TRUE(read);
  EXPECT_EQ(read->input.path, record.input.path);
  EXPECT_EQ(read->output.path, record.output.path);
  EXPECT_EQ(read->message, "bad \xEF\xBF\xBD byte");
}

TEST(ReportLine, UnknownMembersArePassedOver) {
  const auto record = ParseReportLine(
      "{\"colour\":[1,{\"deep\":null}],\"status\":\"skipped\",\"input\":\"a\",\"page\":2}");
  ASSERT_TRUE(record);
  EXPECT_EQ(record->status, PageStatus::kSkipped);
  EXPECT_EQ(record->page, 2U);
}

TEST(ReportLine, WhatIsNoRecordIsNotTaken) {
  for (const char* line :
       {"", "{}", "[]", "null", "x", "{\"input\":\"a\"}", "{\"status\":\"done\"}",
        "{\"input\":\"\",\"status\":\"done\"}", "{\"input\":\"a\",\"status\":\"gone\"}",
        "{\"input\":7,\"status\":\"done\"}", "{\"input\":\"a\",\"status\":\"done\",\"page\":-1}",
        "{\"input\":\"a\",\"status\":\"done\",\"page\":1.5}",
        "{\"input\":\"a\",\"status\":\"done\",\"page\":4294967296}",
        "{\"input\":\"a\",\"status\":\"done\",\"milliseconds\":\"1\"}",
        "{\"input\":\"a\",\"status\":\"done\",\"input_bytes\":\"6\"}",
        "{\"input\":\"a\",\"status\":\"done\",\"input_bytes\":\"6g\"}",
        "{\"input\":\"a\",\"status\":\"done\"} {}"}) {
    EXPECT_FALSE(ParseReportLine(line)) << line;
  }
  EXPECT_FALSE(ParseReportLine(std::string(1'000'000, '[')));
}

TEST(ReportLine, CutAnywhereItIsNoRecordButKnowsItsInput) {
  const std::string line = ReportLine(FullRecord());
  const size_t inputEnds = line.find(",\"page\"");
  for (size_t length = 1; length + 2 <= line.size(); ++length) {
    const std::string cut = line.substr(0, length);
    EXPECT_FALSE(ParseReportLine(cut)) << cut;
    if (cut.ends_with('}')) {
      continue;  // looks like a whole line
    }
    const auto input = InputOfCutLine(cut);
    ASSERT_TRUE(input) << cut;
    EXPECT_EQ(*input, length < inputEnds + 2 ? "" : FullRecord().input.path) << cut;
  }
}

TEST(ReportLine, WhatIsNoBeginningOfALineIsNoCutOne) {
  for (const char* line : {"x", "{\"x", "{\"input\":\"a\",\"status\":\"gone\"}", "[", "{}",
                           "{\"input\":7,\"page\":"}) {
    EXPECT_FALSE(InputOfCutLine(line)) << line;
  }
}

TEST(ReportLine, FindingsAreObjectsToo) {
  EXPECT_EQ(MissingLine("a\xFF", 0),
            "{\"input\":\"a\xEF\xBF\xBD\",\"input_bytes\":\"61ff\",\"status\":\"missing\"}\n");
  EXPECT_EQ(MissingLine("a", 3), "{\"input\":\"a\",\"status\":\"missing\",\"pages\":3}\n");
  EXPECT_EQ(FaultLine("r", 7, "bad"), "{\"report\":\"r\",\"line\":7,\"error\":\"bad\"}\n");
  EXPECT_EQ(NumbersLine({{"b", 1}, {"a", 0}}), "{\"b\":1,\"a\":0}\n");
}

}  // namespace
}  // namespace dibkit::tool
