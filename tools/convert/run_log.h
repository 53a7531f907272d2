// SPDX-License-Identifier: Apache-2.0
//
// What a run keeps account of: the report, the files in work, and how the files ended.
#ifndef DIBKIT_TOOLS_CONVERT_RUN_LOG_H
#define DIBKIT_TOOLS_CONVERT_RUN_LOG_H

#include <atomic>
#include <cstddef>
#include <exception>
#include <mutex>
#include <optional>
#include <set>
#include <string>

#include "batch/report/page_record.h"
#include "batch/report/report_writer.h"
#include "failure.h"

namespace dibkit::tool {

enum class FileEnd { kDone, kFailed, kSkipped, kStopped };

// For any number of threads.
class RunLog {
 public:
  // `files` in all. `report` is where the report goes, empty for none. Throws FileError.
  RunLog(size_t files, const std::string& report);

  void Begin(const std::string& input);
  void End(const std::string& input, FileEnd end, int code);

  bool HasReport() const { return report_.has_value(); }
  // Does nothing without a report. When it cannot be written the log is broken.
  void Add(const PageRecord& record);
  // The run should stop.
  bool IsBroken() const { return broken_; }
  // Ends the report. Throws FileError when it is not whole.
  void Close();

  // "12 files done, 1 failed, 3 skipped, 4 not done".
  std::string Summary() const;
  // As CodeTally has it.
  int Code() const;

  // The process ends now: enters the files in work as interrupted.
  void Abandon();

 private:
  const size_t files_;
  std::optional<ReportWriter> report_;
  std::atomic<bool> broken_{false};
  mutable std::mutex mutex_;  // for all below
  std::exception_ptr failure_;
  std::multiset<std::string> inWork_;
  size_t done_ = 0;
  CodeTally codes_;
  size_t skipped_ = 0;
};

}  // namespace dibkit::tool

#endif  // DIBKIT_TOOLS_CONVERT_RUN_LOG_H
