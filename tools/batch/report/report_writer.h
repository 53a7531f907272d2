// SPDX-License-Identifier: Apache-2.0
//
// A report that grows by a line for each page.
#ifndef DIBKIT_TOOLS_BATCH_REPORT_REPORT_WRITER_H
#define DIBKIT_TOOLS_BATCH_REPORT_REPORT_WRITER_H

#include <mutex>
#include <string>
#include <string_view>

#include "batch/report/page_record.h"

namespace dibkit::tool {

// Appends to the file, so that a run that is taken up again adds to its report; several processes
// of one machine may share a file. Each line is one write. For any number of threads.
class ReportWriter {
 public:
  // Opens or creates `path`; "-" is standard output. A last line that was cut off is ended first.
  // Throws FileError.
  explicit ReportWriter(const std::string& path);
  ReportWriter(const ReportWriter&) = delete;
  ReportWriter& operator=(const ReportWriter&) = delete;
  ~ReportWriter();

  // Throws FileError when the line could not be written whole.
  void Add(const PageRecord& record);

  // Makes the lines last on the disk and closes the file; to be called once, at the end. Throws
  // FileError.
  void Close();

 private:
  void Put(std::string_view line);

  std::mutex mutex_;
  int descriptor_ = -1;
  bool cut_ = false;  // the file does not end in a line feed
};

}  // namespace dibkit::tool

#endif  // DIBKIT_TOOLS_BATCH_REPORT_REPORT_WRITER_H
