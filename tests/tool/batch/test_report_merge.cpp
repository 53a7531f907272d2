// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "batch/report/report_line.h"
#include "batch/report/report_merge.h"
#include "file_tree.h"

namespace dibkit::tool {
namespace {

using test::FileTree;
using test::WorkingDirectory;

constexpr PageStatus kDone = PageStatus::kDone;
constexpr PageStatus kFailed = PageStatus::kFailed;
constexpr PageStatus kSkipped = PageStatus::kSkipped;
constexpr PageStatus kInterrupted = PageStatus::kInterrupted;

PageRecord Record(const std::string& input, uint32_t page, PageStatus status, uint32_t pages = 0) {
  PageRecord record;
  record.input.path = input;
  record.page = page;
  record.pages = pages;
  record.status = status;
  return record;
}

// "a/1 done, b failed": what counts.
std::string Known(const ReportMerge& merge) {
  std::string text;
  for (const PageRecord& record : merge.Records()) {
    text += (text.empty() ? "" : ", ") + record.input.path +
            (record.page != 0 ? std::string("/").append(std::to_string(record.page)) : "") + " " +
            StatusName(record.status);
  }
  return text;
}

std::string KnownAfter(const std::vector<PageRecord>& records) {
  ReportMerge merge;
  for (const PageRecord& record : records) {
    merge.Add(record);
  }
  return Known(merge);
}

std::string Gaps(const ReportMerge& merge) {
  std::string text;
  for (const ReportGap& gap : merge.Missing()) {
    text += (text.empty() ? "" : ", ") + gap.input + " " + std::to_string(gap.pages);
  }
  return text;
}

TEST(ReportMerge, TheLastStatusOfAPageCounts) {
  EXPECT_EQ(
      KnownAfter({Record("b", 1, kFailed), Record("a", 2, kInterrupted), Record("a", 1, kDone),
                  Record("a", 2, kDone), Record("b", 1, kDone), Record("b", 1, kFailed)}),
      "a/1 done, a/2 done, b/1 failed");
}

TEST(ReportMerge, SkippedHidesNothingThatIsDone) {
  EXPECT_EQ(KnownAfter({Record("a", 1, kDone), Record("a", 1, kSkipped)}), "a/1 done");
  EXPECT_EQ(KnownAfter({Record("a", 1, kDone), Record("a", 0, kSkipped)}), "a/1 done");
  EXPECT_EQ(KnownAfter({Record("a", 0, kSkipped), Record("a", 1, kDone)}), "a/1 done");
  EXPECT_EQ(KnownAfter({Record("a", 0, kSkipped)}), "a skipped");
}

TEST(ReportMerge, SkippedEndsWhatFailedAsAWholeButNotAPageThatAnOutputLacks) {
  EXPECT_EQ(KnownAfter({Record("a", 0, kInterrupted), Record("a", 0, kSkipped)}), "a skipped");
  EXPECT_EQ(KnownAfter({Record("a", 1, kInterrupted), Record("a", 0, kSkipped)}), "a skipped");
  EXPECT_EQ(KnownAfter({Record("a", 1, kFailed), Record("a", 1, kSkipped)}), "a/1 skipped");
  EXPECT_EQ(KnownAfter({Record("a", 1, kDone), Record("a", 2, kFailed), Record("a", 0, kSkipped)}),
            "a/1 done, a/2 failed");
}

TEST(ReportMerge, RecordsOfAFileAndOfItsPagesTakeEachOthersPlace) {
  EXPECT_EQ(KnownAfter({Record("a", 0, kFailed), Record("a", 1, kDone), Record("a", 2, kDone)}),
            "a/1 done, a/2 done");
  EXPECT_EQ(KnownAfter({Record("a", 1, kDone), Record("a", 0, kFailed)}), "a failed");
}

TEST(ReportMerge, AllReportsCountTogether) {
  const FileTree tree;
  tree.Write("1",
             ReportLine(Record("a", 1, kFailed)) + "\r\n\n" + ReportLine(Record("b", 1, kDone)));
  tree.Write("2", ReportLine(Record("./a", 1, kDone)));
  ReportMerge merge;
  merge.AddReport(tree.Path("1"));
  merge.AddReport(tree.Path("2"));
  EXPECT_EQ(Known(merge), "./a/1 done, b/1 done");
  EXPECT_EQ(merge.FileCount(), 2U);
  EXPECT_TRUE(merge.Faults().empty());
}

TEST(ReportMerge, LinesThatAreNoneAreTold) {
  const FileTree tree;
  const std::string path =
      tree.Write("r", ReportLine(Record("a", 1, kDone)) + "what?\n" +
                          ReportLine(Record("b", 1, kDone)) + std::string("\0\0\0\n", 4));
  ReportMerge merge;
  merge.AddReport(path);
  merge.AddReport("/nowhere/r");
  merge.AddReport(tree.Path("."));
  ASSERT_EQ(merge.Faults().size(), 4U);
  EXPECT_EQ(merge.Faults()[0].line, 2U);
  EXPECT_EQ(merge.Faults()[0].report, path);
  EXPECT_EQ(merge.Faults()[1].line, 4U);
  EXPECT_EQ(merge.Faults()[2].reason, "cannot open: No such file or directory");
  EXPECT_EQ(merge.Faults()[3].reason, "cannot read: Is a directory");
  EXPECT_EQ(Known(merge), "a/1 done, b/1 done");
}

TEST(ReportMerge, ALineThatWasCutOffIsNoFaultButItsInputIsMissed) {
  const FileTree tree;
  const std::string a = ReportLine(Record("a", 1, kDone, 1));
  const std::string b = ReportLine(Record("b", 1, kDone, 1));
  tree.Write("1", a + b.substr(0, b.size() - 5));
  ReportMerge merge;
  merge.AddReport(tree.Path("1"));
  ASSERT_EQ(merge.Faults().size(), 1U);
  EXPECT_TRUE(merge.Faults()[0].cutOff);
  EXPECT_EQ(Gaps(merge), "b 0");
  // The run was taken up again.
  tree.Write("2", a + b.substr(0, b.size() - 5) + "\n" + b);
  ReportMerge again;
  again.AddReport(tree.Path("2"));
  EXPECT_EQ(Gaps(again), "");
  EXPECT_EQ(Known(again), "a/1 done, b/1 done");
}

TEST(ReportMerge, WhatIsExpectedAndNotKnownIsMissing) {
  ReportMerge merge;
  merge.Add(Record("./scans/a.tif", 1, kDone));
  merge.Add(Record("more/x/b.tif", 0, kFailed));
  merge.Expect({"scans//a.tif", "more", "more/", "mor", "c\xFF.tif", "scans/d.tif"});
  EXPECT_EQ(Gaps(merge), "mor 0, c\xFF.tif 0, scans/d.tif 0");
}

TEST(ReportMerge, AnExpectedFileUnderAnotherNameIsFound) {
  const FileTree tree;
  const WorkingDirectory there(tree.Path("."));
  tree.Write("scans/a.tif");
  tree.Link("scans/a.tif", "link.tif");
  ReportMerge merge;
  merge.Add(Record("scans/a.tif", 1, kDone));
  merge.Expect({"link.tif", tree.Path("scans/a.tif"), "scans/../scans/a.tif"});
  EXPECT_EQ(Gaps(merge), "");
}

TEST(ReportMerge, PagesThatARunDidNotComeToAreMissing) {
  ReportMerge merge;
  merge.Add(Record("a", 1, kDone, 5));
  merge.Add(Record("a", 2, kDone, 5));
  merge.Add(Record("b", 1, kDone, 1));
  EXPECT_EQ(Gaps(merge), "a 3");
  // The output turned out to be there when the run was taken up again.
  merge.Add(Record("a", 0, kSkipped));
  EXPECT_EQ(Gaps(merge), "");
}

}  // namespace
}  // namespace dibkit::tool
