// SPDX-License-Identifier: Apache-2.0
//
// dibkit report: what the reports of many runs and machines say together.
#include <memory>

#include "batch/report/report_summary.h"
#include "subcommand.h"

namespace dibkit::tool {

Subcommand MakeReport() {
  const auto options = std::make_shared<ReportOptions>();
  Subcommand report;
  report.name = "report";
  report.summary = "Merges reports of many runs and tells what failed or is missing.";
  report.operands = "FILES...";
  report.groups = {
      {"Report",
       {Text("--files-from", 0, "LIST",
             "The inputs that are to be there, one a line; - is standard input.",
             options->filesFrom),
        Flag("--null", 0, "The names in the list end in zero bytes.", options->nullSeparated),
        Flag("--json", 0, "One JSON object per line.", options->json)}}};
  report.notes = {
      "FILES are what --report has written; - is standard input. Of several lines for a page the "
      "last one counts, but \"skipped\" hides no \"done\".",
      "The exit status is 1 when a page failed, was interrupted or is missing, or when a line is "
      "no line of a report. A line that was cut off, as by a power cut, is told; its page is "
      "missing unless another run made it."};
  report.examples = {"dibkit report run.jsonl",
                     "dibkit report --files-from pages.txt task-*.jsonl"};
  report.run = [options](const Arguments& arguments) {
    options->reports = arguments.operands;
    return RunReport(*options);
  };
  return report;
}

}  // namespace dibkit::tool
