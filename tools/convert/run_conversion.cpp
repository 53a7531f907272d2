// SPDX-License-Identifier: Apache-2.0
#include "convert/run_conversion.h"

#include <filesystem>
#include <optional>

#include "batch/files/inputs.h"
#include "batch/files/plan.h"
#include "batch/terminal/escaped_name.h"
#include "batch/terminal/messages.h"
#include "batch/terminal/page_progress.h"
#include "batch/usage_error.h"
#include "batch/work/interruption.h"
#include "batch/work/runner.h"
#include "command_line/shown_command.h"
#include "convert/dry_run.h"
#include "convert/file_job.h"
#include "dibkit/host/document.h"
#include "progress.h"

namespace dibkit::tool {
namespace {

// Two names are most often meant as input and output.
void RequireOutput(const std::string& subcommand, const ConversionOptions& options,
                   const Arguments& arguments) {
  if (!options.outputs.output.empty() || !options.outputs.outputDir.empty()) {
    return;
  }
  const std::vector<std::string>& names = arguments.operands;
  if (names.size() == 2 && options.inputs.filesFrom.empty()) {
    throw UsageError("both names are inputs; say which is the result with -o: " +
                     ShownCommand(subcommand, arguments.options, {"-o", names[1], names[0]}));
  }
  if (names.size() == 1) {
    throw UsageError("nothing says where the result goes; name it with -o: " +
                     ShownCommand(subcommand, arguments.options, {"-o", "FILE", names[0]}));
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
    auto document = host::Document::Open(path, {0, options.maxPixels, Interrupted, nullptr});
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

class Run {
 public:
  Run(const std::vector<PlannedFile>& plan, const Conversion& conversion,
      const ConversionOptions& options)
      : plan_(plan),
        conversion_(conversion),
        options_(options),
        gate_(MemoryOf(options), options.memory != 0),
        log_(plan.size(), options.report) {}

  int Do() {
    const LastWords lastWords([this] { SayLastWords(); });
    const bool many = plan_.size() > 1;
    if (many) {
      progress_.emplace(plan_.size(), options_.quiet);
    } else {
      bar_.emplace(options_.quiet);
    }
    RunFiles(plan_.size(), RunnerOptions(),
             [this](size_t index, const host::CancelHook& cancelled) {
               return DoFile(index, cancelled);
             });
    progress_.reset();
    bar_.reset();
    log_.Close();
    if (CaughtSignal() != 0) {
      TellInterrupted("");
    }
    if (many && !options_.quiet) {
      Message("dibkit: " + log_.Summary());
    }
    return CaughtSignal() != 0 ? EXIT_CODE_SIGNAL + CaughtSignal() : log_.Code();
  }

 private:
  RunOptions RunnerOptions() {
    RunOptions runner;
    runner.jobs = JobsOf(options_);
    runner.failFast = options_.failFast;
    runner.cancelled = [this] { return Interrupted() || log_.IsBroken(); };
    return runner;
  }

  int DoFile(size_t index, const host::CancelHook& cancelled) {
    const PlannedFile& file = plan_[index];
    const std::string& input = file.input.path;
    if (file.skipped) {
      EnterSkipped(file);
      log_.End(input, FileEnd::kSkipped, EXIT_CODE_DONE);
      if (progress_) {
        progress_->FileSkipped(index);
      }
      return EXIT_CODE_DONE;
    }
    log_.Begin(input);
    int code = EXIT_CODE_FAILED;
    try {
      code = FileJob(file, {conversion_, options_, gate_, log_, plan_.size() == 1},
                     Hooks(index, cancelled))
                 .Run();
    } catch (...) {
      log_.End(input, FileEnd::kStopped, EXIT_CODE_DONE);
      throw;
    }
    log_.End(input, code == EXIT_CODE_DONE ? FileEnd::kDone : FileEnd::kFailed, code);
    if (progress_) {
      progress_->FileDone(index);
    }
    return code;
  }

  JobHooks Hooks(size_t index, const host::CancelHook& cancelled) {
    if (bar_) {
      return {cancelled, [this](double share) { bar_->Show(share); }, [] {}};
    }
    return {cancelled, [this, index](double share) { progress_->Update(index, share); },
            [this] { progress_->PageDone(); }};
  }

  void EnterSkipped(const PlannedFile& file) {
    PageRecord record;
    record.input.path = file.input.path;
    record.output.path = file.IsNumbered() ? "" : file.OutputOf(1);
    record.status = PageStatus::kSkipped;
    log_.Add(record);
  }

  void SayLastWords() {
    log_.Abandon();
    if (plan_.size() > 1 && !options_.quiet) {
      HastyMessage("dibkit: " + log_.Summary());
    }
  }

  const std::vector<PlannedFile>& plan_;
  const Conversion& conversion_;
  const ConversionOptions& options_;
  MemoryGate gate_;
  RunLog log_;
  std::optional<PageProgress> progress_;  // of several files
  std::optional<PercentBar> bar_;         // of one
};

}  // namespace

int RunConversion(const std::string& subcommand, const Conversion& conversion,
                  ConversionOptions options, const Arguments& arguments) {
  RequireOutput(subcommand, options, arguments);
  options.inputs.paths = arguments.operands;
  const std::vector<PlannedFile> plan = PlanAll(conversion, options);
  if (!options.report.empty()) {
    CheckReport(plan, options);
  }
  if (options.dryRun) {
    return TellPlan(plan, conversion, options);
  }
  return Run(plan, conversion, options).Do();
}

}  // namespace dibkit::tool
