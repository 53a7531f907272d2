// SPDX-License-Identifier: Apache-2.0
//
// Reports of many runs and machines as one.
#ifndef DIBKIT_TOOLS_BATCH_REPORT_REPORT_MERGE_H
#define DIBKIT_TOOLS_BATCH_REPORT_REPORT_MERGE_H

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "batch/report/page_record.h"

namespace dibkit::tool {

// A line of a report that cannot be read, or a report, line 0.
struct ReportFault {
  std::string report;
  uint64_t line = 0;  // from 1
  std::string reason;
  bool cutOff = false;  // the machine stopped while it was written, which is no fault of the report
};

// What is missing of an input: so many pages, 0 for all of it.
struct ReportGap {
  std::string input;
  uint64_t pages = 0;
};

// What is known of all pages. Of several records of a page the last one counts, a record of a whole
// file (page 0) and those of its pages taking each other's place; but "skipped" says only that an
// output was there: it hides no "done", and as no output holds a page that failed, it hides no
// failure beside pages that are done.
class ReportMerge {
 public:
  // Adds all lines of a report; "-" is standard input. What cannot be read goes to Faults(), and
  // the input of a line that was cut off is expected.
  void AddReport(const std::string& path);
  void Add(const PageRecord& record);

  // Inputs that are to be there. Compared by name ("./a" is "a"), and, where a name is not found,
  // by the file that it leads to on this machine; for a folder anything below it will do.
  void Expect(const std::vector<std::string>& inputs);

  // What counts, by input (bytewise) and page.
  std::vector<PageRecord> Records() const;
  // Expected inputs of which nothing is known, then inputs with fewer pages than their run was to
  // make.
  std::vector<ReportGap> Missing() const;
  const std::vector<ReportFault>& Faults() const { return faults_; }
  size_t FileCount() const { return files_.size(); }

 private:
  struct File {
    std::map<uint32_t, PageRecord> pages;  // 0, or pages from 1
    bool outputThere = false;              // as a record "skipped" told: no page is missing
  };

  static void AddSkipped(File& file, const PageRecord& record);
  void AddLine(const std::string& report, uint64_t number, std::string_view line);
  bool Knows(const std::string& input) const;
  std::vector<std::string> UnknownInputs() const;

  std::map<std::string, File> files_;
  std::vector<std::string> expected_;
  std::vector<ReportFault> faults_;
};

}  // namespace dibkit::tool

#endif  // DIBKIT_TOOLS_BATCH_REPORT_REPORT_MERGE_H
