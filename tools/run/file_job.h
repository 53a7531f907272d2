// SPDX-License-Identifier: Apache-2.0
//
// One input file and what becomes of it, page by page.
#ifndef DIBKIT_TOOLS_RUN_FILE_JOB_H
#define DIBKIT_TOOLS_RUN_FILE_JOB_H

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "batch/files/plan.h"
#include "batch/jobs/memory_gate.h"
#include "batch/report/page_record.h"
#include "convert/conversion.h"
#include "convert/conversion_options.h"
#include "dibkit/host/document.h"
#include "failure.h"
#include "run/file_outputs.h"
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

// Called on the job's thread.
struct JobHooks {
  host::CancelHook cancelled;
  std::function<void(double share)> progress;  // of the file, 0 to 1
  std::function<void()> pageDone;
};

class FileJob {
 public:
  FileJob(const PlannedFile& plan, const JobContext& context, JobHooks hooks);

  // Tells of all that goes wrong, enters each page into the report, and returns the exit code. A
  // page that is bad is left out and the others are kept; but a file that all pages go into does
  // not appear without those that are worth another try. Throws Cancelled.
  int Run();

 private:
  void Open();
  void RequireOneFile() const;
  void DoPage(uint32_t number);
  void MakePage();
  void Convert(host::Page& page);
  void Complete();
  bool EndsFile(const Problem& problem) const;
  void EndWith(const Problem& problem);
  void Tell(const Problem& problem) const;
  std::string CompleteOutput();
  std::string WithPage(const std::string& message) const;
  void Enter(PageRecord record);
  PageRecord Record(PageStatus status, const std::string& message = "") const;
  void Writing(const std::function<void()>& work);

  const PlannedFile& plan_;
  const JobContext& context_;
  const JobHooks hooks_;
  Warnings warnings_;
  std::optional<host::Document> document_;
  std::optional<FileOutputs> outputs_;
  host::ImageFormat format_ = host::ImageFormat::kBmp;  // of the outputs
  uint32_t pageCount_ = 0;                              // of the input
  std::vector<uint32_t> pages_;                         // to make, from 1
  size_t begun_ = 0;                                    // how many of them
  uint32_t number_ = 0;                                 // the page in work; 0: none yet
  bool writing_ = false;                                // it is the output that makes trouble now
  int code_ = EXIT_CODE_DONE;
  std::vector<PageRecord> kept_;  // of pages whose file is not complete yet
};

}  // namespace dibkit::tool

#endif  // DIBKIT_TOOLS_RUN_FILE_JOB_H
