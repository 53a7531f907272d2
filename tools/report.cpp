// SPDX-License-Identifier: Apache-2.0
//
// dibkit report: what the reports of conversions say together.
#include <memory>

#include "batch/report/report_summary.h"
#include "subcommand.h"

namespace dibkit::tool {

Subcommand MakeReport() {
  auto options = std::make_shared<ReportOptions>();
  Subcommand subcommand;
  subcommand.name = "report";
  subcommand.summary = "Merges reports, and tells what failed and what is missing.";
  subcommand.operands = "REPORT...";
  subcommand.groups = {
      {"Report",
       {Text(
            "--files-from", 0, "LIST",
            "Tells what is missing of the inputs that the file LIST names, one a line; a hyphen is "
            "standard input.",
            options->filesFrom),
        Flag("--null", 0, "The names in LIST end in a zero byte instead.", options->nullSeparated),
        Flag("--json", 0, "Prints JSON objects, one a line.", options->json)}}};
  subcommand.notes = {
      "A report is what --report FILE of a conversion writes: a JSON object a line for each page, "
      "with the members input, page, pages, status (done, failed, skipped or interrupted), "
      "message, "
      "output, sha256 (of the output file), milliseconds, peak_bytes (of images in memory), and "
      "format, width, height, bits, dpi_x and dpi_y with input_ and output_ before them. What says "
      "nothing is left out. Of several lines about a page the last one counts.",
      "The exit status is 1 when anything failed, was interrupted, is missing or cannot be read."};
  subcommand.examples = {"dibkit report --files-from list.txt run-*.jsonl"};
  subcommand.run = [options](const Arguments& arguments) {
    options->reports = arguments.operands;
    return RunReport(*options);
  };
  return subcommand;
}

}  // namespace dibkit::tool
