// SPDX-License-Identifier: Apache-2.0
//
// One input file and what becomes of it, its pages side by side.
#ifndef DIBKIT_TOOLS_RUN_FILE_JOB_H
#define DIBKIT_TOOLS_RUN_FILE_JOB_H

#include <atomic>
#include <cstdint>
#include <functional>
#include <limits>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "batch/files/plan.h"
#include "batch/jobs/in_order.h"
#include "batch/jobs/memory_gate.h"
#include "batch/jobs/runner.h"
#include "batch/report/page_record.h"
#include "convert/conversion.h"
#include "convert/conversion_options.h"
#include "failure.h"
#include "run/page_job.h"
#include "run/run_log.h"
#include "warnings.h"

namespace dibkit::tool {

// What the jobs of a run share; all of it outlives them.
struct JobContext {
  const Conversion& conversion;
  const ConversionOptions& options;
  MemoryGate& gate;
  RunLog& log;
  bool single;  // the run has one file, whose interruption is told by its name
};

// Called on any of the threads that work on the file.
struct JobHooks {
  TaskHooks task;
  std::function<void(double share)> progress;  // of the file, 0 to 1; on several threads at once
  std::function<void()> pageDone;              // by one thread at a time
  std::function<void(FileEnd end, int code)> ended;
};

// Tells of all that goes wrong and enters each page into the report, in the order of the pages
// whatever the order in which they are made. A page that is bad is left out and the others are
// kept; but a file that all pages go into does not appear without those that are worth another try.
class FileJob : public FileTask {
 public:
  FileJob(const PlannedFile& plan, const JobContext& context, JobHooks hooks);

  Offer Take() override;
  bool IsOver() const override;
  int Code() const override { return code_; }

 private:
  // What the whole file ends with.
  struct Ending {
    Problem problem;
    uint32_t number = 0;   // the page; 0: none
    bool writing = false;  // it is the output that made trouble
  };

  bool HasMore() const;
  void Do(const std::function<void()>& piece) noexcept;
  void Open();
  void RequireOneFile() const;
  void DoPage(size_t index);
  MadePage MakeOrSkip(size_t index, const std::function<void()>& admitted);
  void Settle(size_t index, MadePage& page);
  void Accept(MadePage& page);
  void Enter(uint32_t number, MadePage& page);
  void ShowProgress(unsigned percents);
  bool EndsFile(const MadePage& page) const;
  void StopBehind(size_t index);
  void EndWith(const Ending& ending);
  void End() noexcept;
  void Complete();
  void TellEnding(Ending ending);
  void Tell(const Ending& ending) const;
  std::string WithPage(uint32_t number, const std::string& message) const;
  PageRecord Named(PageRecord record, uint32_t number) const;

  const PlannedFile& plan_;
  const JobContext context_;
  const JobHooks hooks_;
  const size_t mostAhead_;  // pages that are begun beyond the one whose turn it is

  // Set by Open.
  std::optional<InputReaders> readers_;
  std::optional<FileOutputs> outputs_;
  std::optional<PageSetting> setting_;
  uint32_t pageCount_ = 0;       // of the input
  std::vector<uint32_t> pages_;  // to make, from 1

  InOrder<MadePage> order_;
  std::atomic<uint64_t> percents_{0};  // of all pages together
  // No page behind this one of `pages_` is worth any work.
  std::atomic<size_t> last_{std::numeric_limits<size_t>::max()};

  // For the one page whose turn it is, and for the end.
  Warnings warnings_;
  int code_ = EXIT_CODE_DONE;
  std::vector<PageRecord> kept_;  // of pages whose file is not complete yet

  mutable std::mutex mutex_;  // for all below
  enum class Stage { kNew, kOpening, kOpen, kOver } stage_ = Stage::kNew;
  size_t taken_ = 0;        // how many pages were begun
  bool admitting_ = false;  // one of them is not admitted yet
  size_t atWork_ = 0;       // pieces
  std::optional<Ending> ending_;
};

}  // namespace dibkit::tool

#endif  // DIBKIT_TOOLS_RUN_FILE_JOB_H
