// SPDX-License-Identifier: Apache-2.0
#include "batch/report/report_summary.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <utility>

#include "batch/files/name_list.h"
#include "batch/jobs/size_text.h"
#include "batch/report/report_line.h"
#include "batch/report/report_merge.h"
#include "batch/terminal/escaped_name.h"
#include "batch/usage_error.h"
#include "dibkit/host/output_file.h"

namespace dibkit::tool {
namespace {

// All that is told, in one form or the other.
struct Findings {
  std::vector<PageRecord> failures;  // failed or interrupted
  std::vector<ReportGap> gaps;
  std::vector<ReportFault> faults;
  std::array<uint64_t, 4> counts{};  // of records, by status
  uint64_t files = 0;
  uint64_t milliseconds = 0;
  uint64_t peakBytes = 0;

  uint64_t Count(PageStatus status) const { return counts[static_cast<size_t>(status)]; }
  uint64_t BadLines() const {
    return static_cast<uint64_t>(
        std::count_if(faults.begin(), faults.end(), [](const auto& f) { return !f.cutOff; }));
  }
  bool AllIsWell() const { return failures.empty() && gaps.empty() && BadLines() == 0; }
};

Findings Look(const ReportMerge& merge) {
  Findings findings;
  for (PageRecord& record : merge.Records()) {
    ++findings.counts[static_cast<size_t>(record.status)];
    findings.milliseconds += record.milliseconds;
    findings.peakBytes = std::max(findings.peakBytes, record.peakBytes);
    if (record.status == PageStatus::kFailed || record.status == PageStatus::kInterrupted) {
      findings.failures.push_back(std::move(record));
    }
  }
  findings.gaps = merge.Missing();
  findings.faults = merge.Faults();
  findings.files = merge.FileCount();
  return findings;
}

// ---- for people --------------------------------------------------------------------------------

std::string FailureText(const PageRecord& record) {
  const std::string page = record.page != 0 ? ", page " + std::to_string(record.page) : "";
  const std::string reason = record.message.empty() ? "" : ": " + EscapedName(record.message);
  return std::string(StatusName(record.status)) + ": " + EscapedName(record.input.path) + page +
         reason + "\n";
}

std::string GapText(const ReportGap& gap) {
  const std::string pages =
      gap.pages == 0 ? ""
                     : ", " + std::to_string(gap.pages) + (gap.pages == 1 ? " page" : " pages");
  return "missing: " + EscapedName(gap.input) + pages + "\n";
}

std::string FaultText(const ReportFault& fault) {
  const std::string line = fault.line != 0 ? ", line " + std::to_string(fault.line) : "";
  return std::string(fault.cutOff ? "note: " : "unreadable: ") + EscapedName(fault.report) + line +
         ": " + fault.reason + "\n";
}

std::string TotalsText(const Findings& findings) {
  const auto count = [&](PageStatus status) { return std::to_string(findings.Count(status)); };
  std::string text = std::to_string(findings.files) + (findings.files == 1 ? " file" : " files") +
                     ": " + count(PageStatus::kDone) + " pages done, " +
                     count(PageStatus::kSkipped) + " skipped, " + count(PageStatus::kFailed) +
                     " failed, " + count(PageStatus::kInterrupted) + " interrupted, " +
                     std::to_string(findings.gaps.size()) + " missing";
  if (findings.BadLines() != 0) {
    text += ", " + std::to_string(findings.BadLines()) + " unreadable";
  }
  return text + "; " + std::to_string(findings.milliseconds / 1000) + " s of work, at most " +
         SizeText(findings.peakBytes) + " of images at once for a page\n";
}

std::string PlainText(const Findings& findings) {
  std::string text;
  for (const PageRecord& record : findings.failures) {
    text += FailureText(record);
  }
  for (const ReportGap& gap : findings.gaps) {
    text += GapText(gap);
  }
  for (const ReportFault& fault : findings.faults) {
    text += FaultText(fault);
  }
  return text + TotalsText(findings);
}

// ---- for programs ------------------------------------------------------------------------------

std::string JsonText(const Findings& findings) {
  std::string text;
  for (const PageRecord& record : findings.failures) {
    text += ReportLine(record);
  }
  for (const ReportGap& gap : findings.gaps) {
    text += MissingLine(gap.input, gap.pages);
  }
  for (const ReportFault& fault : findings.faults) {
    text += FaultLine(fault.report, fault.line, fault.reason);
  }
  return text + NumbersLine({{"files", findings.files},
                             {"done", findings.Count(PageStatus::kDone)},
                             {"skipped", findings.Count(PageStatus::kSkipped)},
                             {"failed", findings.Count(PageStatus::kFailed)},
                             {"interrupted", findings.Count(PageStatus::kInterrupted)},
                             {"missing", findings.gaps.size()},
                             {"unreadable", findings.BadLines()},
                             {"milliseconds", findings.milliseconds},
                             {"peak_bytes", findings.peakBytes}});
}

void CheckOptions(const ReportOptions& options) {
  if (options.reports.empty()) {
    throw UsageError("no report is named");
  }
  const auto uses = std::count(options.reports.begin(), options.reports.end(), "-") +
                    (options.filesFrom == "-" ? 1 : 0);
  if (uses > 1) {
    throw UsageError("standard input can be read only once");
  }
}

}  // namespace

int RunReport(const ReportOptions& options) {
  CheckOptions(options);
  ReportMerge merge;
  for (const std::string& report : options.reports) {
    merge.AddReport(report);
  }
  if (!options.filesFrom.empty()) {
    merge.Expect(ReadNameList(options.filesFrom, options.nullSeparated));
  }
  const Findings findings = Look(merge);
  const std::string text = options.json ? JsonText(findings) : PlainText(findings);
  host::OutputFile output("-");
  output.Write({reinterpret_cast<const unsigned char*>(text.data()), text.size()});
  output.Commit();
  return findings.AllIsWell() ? EXIT_CODE_DONE : EXIT_CODE_FAILED;
}

}  // namespace dibkit::tool
