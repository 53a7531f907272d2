// SPDX-License-Identifier: Apache-2.0
//
// dibkit report: what the reports of many runs and machines say together.
#include <CLI/CLI.hpp>
#include <memory>

#include "batch/report/report_summary.h"
#include "command.h"

namespace dibkit::tool {

void AddReport(CLI::App& app, Work& work) {
  auto options = std::make_shared<ReportOptions>();
  CLI::App* command = app.add_subcommand(
      "report", "Merge the reports of many runs; tell what failed or is missing");
  command->add_option("FILES", options->reports, "Reports of --report; - is standard input")
      ->required();
  CLI::Option* list = command->add_option("--files-from", options->filesFrom,
                                          "List of the inputs that are to be there; - is standard "
                                          "input");
  command->add_flag("--null", options->nullSeparated, "The list's names end in zero bytes")
      ->needs(list);
  command->add_flag("--json", options->json, "One JSON object per line");
  command->footer(
      "Of several lines for a page the last one counts, but \"skipped\" hides no \"done\". The\n"
      "exit status is 1 when a page failed, was interrupted or is missing, or a line is no report\n"
      "line; a line that was cut off is told, and its page is missing unless another run made it.");
  command->callback([&work, options] { work = [options] { return RunReport(*options); }; });
}

}  // namespace dibkit::tool
