// SPDX-License-Identifier: Apache-2.0
#include "run/run_conversion.h"

#include <filesystem>

#include "batch/files/inputs.h"
#include "batch/files/plan.h"
#include "batch/jobs/interruption.h"
#include "batch/terminal/escaped_name.h"
#include "batch/usage_error.h"
#include "command_line/shown_command.h"
#include "dibkit/host/document.h"
#include "run/dry_run.h"
#include "run/many_files.h"

namespace dibkit::tool {
namespace {

// Two names are most often meant as input and output.
void RequireOutput(const std::string& subcommand, const ConversionOptions& options,
                   const Arguments& arguments) {
  if (!options.outputs.output.empty() || !options.outputs.outputDir.empty()) {
    return;
  }
  const std::vector<std::string>& names = arguments.operands;
  const auto shown = [&](const std::string& output, const std::string& input) {
    std::vector<std::string> rest{"-o", output, input};
    if (input.starts_with('-') && input != "-") {
      rest.insert(rest.end() - 1, "--");
    }
    return ShownCommand(subcommand, arguments.options, rest);
  };
  if (names.size() == 2 && options.inputs.filesFrom.empty()) {
    throw UsageError("both names are inputs; say which is the result with -o: " +
                     shown(names[1], names[0]));
  }
  if (names.size() == 1) {
    throw UsageError("nothing says where the result goes; name it with -o: " +
                     shown("FILE", names[0]));
  }
  throw UsageError("nothing says where the results go; name a folder with --output-dir DIR");
}

// What the headers of a regular file tell; a pipe can be read only once.
InputPages PagesOf(const std::string& path, const ConversionOptions& options) {
  InputPages pages;
  std::error_code error;
  if (!std::filesystem::is_regular_file(path, error)) {
    return pages;
  }
  try {
    auto document =
        host::Document::Open(path, {0, options.maxPixels, Interrupted, nullptr, options.raw});
    pages.chosen = options.pages.Of(document.PageCount());
    pages.count = document.PageCount();
  } catch (const std::exception&) {
    // It fails when its turn comes, and says why.
  }
  return pages;
}

std::vector<PlannedFile> PlanAll(const Conversion& conversion, ConversionOptions& options) {
  OutputOptions outputs = options.outputs;
  if (!outputs.format && !outputs.outputDir.empty()) {
    outputs.format = conversion.usualFormat;
  }
  CheckCompression(outputs.format, options.compression);
  auto plan = PlanOutputs(ListInputs(options.inputs), outputs,
                          [&options](const std::string& path) { return PagesOf(path, options); });
  host::StopIf(Interrupted);
  for (const PlannedFile& file : plan) {
    CheckCompression(file.format, options.compression);
  }
  return plan;
}

// A report is added to, which would spoil an image.
void CheckReport(const std::vector<PlannedFile>& plan, const ConversionOptions& options) {
  const std::string& report = options.report;
  if (report == "-" && options.outputs.output == "-") {
    throw UsageError("the result and the report cannot both go to standard output");
  }
  std::error_code none;
  const auto place = std::filesystem::weakly_canonical(report, none);
  for (const PlannedFile& file : plan) {
    const bool isInput = std::filesystem::equivalent(report, file.input.path, none);
    const bool isOutput =
        !file.IsNumbered() && std::filesystem::weakly_canonical(file.OutputOf(1), none) == place;
    if (isInput || isOutput) {
      throw Failure(EscapedName(report) + " is " + (isInput ? "an input" : "an output") +
                    ", it cannot be the report");
    }
  }
}

}  // namespace

int RunConversion(const std::string& subcommand, const MakeConversionOf& make,
                  ConversionOptions options, const Arguments& arguments) {
  RequireOutput(subcommand, options, arguments);
  const Conversion conversion = make(options);
  options.inputs.paths = arguments.operands;
  const std::vector<PlannedFile> plan = PlanAll(conversion, options);
  if (!options.report.empty()) {
    CheckReport(plan, options);
  }
  if (options.dryRun) {
    return TellPlan(plan, conversion, options);
  }
  return RunFilesOf(plan, conversion, options);
}

}  // namespace dibkit::tool
