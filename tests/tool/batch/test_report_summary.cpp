// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <unistd.h>

#include "batch/report/report_line.h"
#include "batch/report/report_summary.h"
#include "batch/usage_error.h"
#include "captured_output.h"
#include "file_tree.h"

namespace dibkit::tool {
namespace {

using test::CapturedOutput;
using test::FileTree;
using test::StreamKind;
using test::WorkingDirectory;

class ReportSummary : public testing::Test {
 protected:
  void Add(const std::string& report, const std::string& input, PageStatus status,
           const std::string& message = "") {
    PageRecord record;
    record.input.path = input;
    record.page = 1;
    record.pages = 1;
    record.status = status;
    record.message = message;
    record.milliseconds = 700;
    record.peakBytes = 20480;
    texts_ += ReportLine(record);
    tree_.Write(report, texts_);
  }

  // Prints to text_; returns the exit code.
  int Run(const ReportOptions& options) {
    CapturedOutput output(STDOUT_FILENO, StreamKind::kFile);
    const int code = RunReport(options);
    text_ = output.Text();
    return code;
  }

  const FileTree tree_;
  const WorkingDirectory there_{tree_.Path(".")};
  std::string texts_;
  std::string text_;
};

TEST_F(ReportSummary, ARunWithoutFailuresIsWell) {
  Add("r", "a", PageStatus::kDone);
  Add("r", "b", PageStatus::kDone);
  Add("r", "c", PageStatus::kSkipped);
  tree_.Write("list", "a\nb\nc\n");
  ReportOptions options;
  options.reports = {"r"};
  options.filesFrom = "list";
  EXPECT_EQ(Run(options), EXIT_CODE_DONE);
  EXPECT_EQ(text_,
            "3 files: 2 pages done, 1 skipped, 0 failed, 0 interrupted, 0 missing; 2 s of work, at "
            "most 20.0 KiB of images at once for a page\n");
}

TEST_F(ReportSummary, FailuresAndWhatIsMissingAreNamed) {
  Add("r", "a\n", PageStatus::kFailed, "cannot read: Input/output error");
  Add("r", "b", PageStatus::kInterrupted);
  tree_.Write("r", texts_ + "nonsense\n{\"input\":\"c\",\"pa");
  tree_.Write("list", std::string("b\0d\ne\0", 6));
  ReportOptions options;
  options.reports = {"r"};
  options.filesFrom = "list";
  options.nullSeparated = true;
  EXPECT_EQ(Run(options), EXIT_CODE_FAILED);
  EXPECT_EQ(text_.substr(0, text_.find(';')),
            "failed: a\\n, page 1: cannot read: Input/output error\n"
            "interrupted: b, page 1\n"
            "missing: c\n"
            "missing: d\\ne\n"
            "unreadable: r, line 3: not a line of a report\n"
            "note: r, line 4: the line is cut off\n"
            "2 files: 0 pages done, 0 skipped, 1 failed, 1 interrupted, 2 missing, 1 unreadable");
  options.json = true;
  EXPECT_EQ(Run(options), EXIT_CODE_FAILED);
  const std::string last = text_.substr(text_.rfind('{'));
  EXPECT_EQ(last,
            "{\"files\":2,\"done\":0,\"skipped\":0,\"failed\":1,\"interrupted\":1,\"missing\":2,"
            "\"unreadable\":1,\"milliseconds\":1400,\"peak_bytes\":20480}\n");
  EXPECT_EQ(text_.find(texts_), 0U);
  EXPECT_NE(text_.find("{\"input\":\"d\\ne\",\"status\":\"missing\"}\n"
                       "{\"report\":\"r\",\"line\":3,\"error\":\"not a line of a report\"}\n"),
            std::string::npos);
}

TEST_F(ReportSummary, EachKindOfGapAloneIsAFailure) {
  ReportOptions options;
  options.reports = {"r"};
  tree_.Write("r", "nonsense\n");
  EXPECT_EQ(Run(options), EXIT_CODE_FAILED);
  options.reports = {"absent"};
  EXPECT_EQ(Run(options), EXIT_CODE_FAILED);
  EXPECT_EQ(text_.substr(0, text_.find('\n')),
            "unreadable: absent: cannot open: No such file or directory");
  tree_.Write("r", "");
  options.reports = {"r"};
  EXPECT_EQ(Run(options), EXIT_CODE_DONE);
  tree_.Write("list", "a\n");
  options.filesFrom = "list";
  EXPECT_EQ(Run(options), EXIT_CODE_FAILED);
  EXPECT_EQ(text_.substr(0, text_.find('\n')), "missing: a");
}

TEST_F(ReportSummary, WrongUsageIsTold) {
  EXPECT_THROW(RunReport({}), UsageError);
  EXPECT_THROW(RunReport({{"-", "-"}, "", false, false}), UsageError);
  EXPECT_THROW(RunReport({{"-"}, "-", false, false}), UsageError);
  EXPECT_THROW(RunReport({{"r"}, "absent", false, false}), Failure);
}

}  // namespace
}  // namespace dibkit::tool
