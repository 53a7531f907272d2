// SPDX-License-Identifier: Apache-2.0
#include "run/many_files.h"

#include <atomic>
#include <memory>
#include <optional>

#include "batch/jobs/interruption.h"
#include "batch/jobs/runner.h"
#include "batch/terminal/messages.h"
#include "batch/terminal/page_progress.h"
#include "progress.h"
#include "run/file_job.h"

namespace dibkit::tool {
namespace {

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
    if (plan_.size() > 1) {
      progress_.emplace(plan_.size(), options_.quiet);
    } else {
      bar_.emplace(options_.quiet);
    }
    RunFiles(plan_.size(), RunnerOptions(),
             [this](size_t index, const TaskHooks& hooks) { return BeginFile(index, hooks); });
    progress_.reset();
    bar_.reset();
    log_.Close();
    if (CaughtSignal() != 0) {
      TellInterrupted("");
    }
    if (IsSummedUp()) {
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

  std::unique_ptr<FileTask> BeginFile(size_t index, const TaskHooks& hooks) {
    if (plan_[index].skipped) {
      SkipFile(index);
      return nullptr;
    }
    log_.Begin(plan_[index].input.path);
    const JobContext context{conversion_, options_, gate_, log_, plan_.size() == 1};
    return std::make_unique<FileJob>(plan_[index], context, Hooks(index, hooks));
  }

  void EndFile(size_t index, FileEnd end, int code) {
    log_.End(plan_[index].input.path, end, code);
    if (progress_ && end != FileEnd::kStopped) {
      progress_->FileDone(index);
    }
  }

  void SkipFile(size_t index) {
    const PlannedFile& file = plan_[index];
    PageRecord record;
    record.input.path = file.input.path;
    record.output.path = file.IsNumbered() ? "" : file.OutputOf(1);
    record.status = PageStatus::kSkipped;
    log_.Add(record);
    log_.End(file.input.path, FileEnd::kSkipped, EXIT_CODE_DONE);
    if (progress_) {
      progress_->FileSkipped(index);
    }
  }

  JobHooks Hooks(size_t index, const TaskHooks& hooks) {
    const auto ended = [this, index](FileEnd end, int code) { EndFile(index, end, code); };
    if (bar_) {
      return {hooks, [this](double share) { bar_->Show(share); }, [] {}, ended};
    }
    return {hooks, [this, index](double share) { progress_->Update(index, share); },
            [this] { progress_->PageDone(); }, ended};
  }

  // The process ends in the middle of the work.
  void SayLastWords() {
    log_.Abandon();
    if (IsSummedUp()) {
      HastyMessage("dibkit: " + log_.Summary());
    }
  }

  // True for the first who asks, where there is to be a summary.
  bool IsSummedUp() { return plan_.size() > 1 && !options_.quiet && !summedUp_.exchange(true); }

  const std::vector<PlannedFile>& plan_;
  const Conversion& conversion_;
  const ConversionOptions& options_;
  MemoryGate gate_;
  RunLog log_;
  std::optional<PageProgress> progress_;  // of several files
  std::optional<PercentBar> bar_;         // of one
  std::atomic<bool> summedUp_{false};
};

}  // namespace

int RunFilesOf(const std::vector<PlannedFile>& plan, const Conversion& conversion,
               const ConversionOptions& options) {
  return Run(plan, conversion, options).Do();
}

}  // namespace dibkit::tool
