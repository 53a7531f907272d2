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

// A line of a report that is none, or a report that cannot be read (line 0).
struct UnreadableLine {
  std::string report;
  uint64_t line = 0;  // from 1
  std::string reason;
};

// What is known of all pages. Of several records of a page the last one counts, but "skipped" never
// hides "done". A record of a whole file (page 0) and those of its pages take each other's place.
class ReportMerge {
 public:
  // Adds all lines of a report; "-" is standard input. What cannot be read is kept in Unreadable().
  void AddReport(const std::string& path);
  void Add(const PageRecord& record);

  // Inputs that are to be there. Compared by name ("./a" is "a") and, where a name is not found, by
  // the file that it leads to on this machine.
  void Expect(const std::vector<std::string>& inputs);

  // What counts, by input (bytewise) and page.
  std::vector<PageRecord> Records() const;
  // Expected inputs of which nothing is known, in their order, and pages that a run was to make and
  // did not tell of.
  struct Gap {
    std::string input;
    uint32_t page = 0;  // 0: the whole input
  };
  std::vector<Gap> Missing() const;
  const std::vector<UnreadableLine>& Unreadable() const { return unreadable_; }

 private:
  struct File {
    std::map<uint32_t, PageRecord> pages;
  };
  std::map<std::string, File> files_;
  std::vector<std::string> expected_;
  std::vector<UnreadableLine> unreadable_;
};

}  // namespace dibkit::tool

#endif  // DIBKIT_TOOLS_BATCH_REPORT_REPORT_MERGE_H
