// SPDX-License-Identifier: Apache-2.0
//
// What a report says of one page.
#ifndef DIBKIT_TOOLS_BATCH_REPORT_PAGE_RECORD_H
#define DIBKIT_TOOLS_BATCH_REPORT_PAGE_RECORD_H

#include <cstdint>
#include <string>

namespace dibkit::tool {

enum class PageStatus { kDone, kFailed, kSkipped, kInterrupted };

// "done", "failed", "skipped", "interrupted".
const char* StatusName(PageStatus status);

// A page before or after. What is not known is 0 or empty and does not appear.
struct PageSide {
  std::string path;    // any bytes
  std::string format;  // host::FormatName
  uint32_t width = 0;
  uint32_t height = 0;
  unsigned bits = 0;
  unsigned dpiX = 0;
  unsigned dpiY = 0;
  bool operator==(const PageSide&) const = default;
};

struct PageRecord {
  PageSide input;
  PageSide output;
  uint32_t page = 0;   // of the input, from 1; 0: the record is of the whole file
  uint32_t pages = 0;  // of the input that the run was to make; 0: not known
  PageStatus status = PageStatus::kDone;
  std::string message;        // why it failed
  uint64_t milliseconds = 0;  // that the page took
  uint64_t peakBytes = 0;     // of images in memory at once for the page
  std::string sha256;         // of the whole output file, once that is complete
  bool operator==(const PageRecord&) const = default;
};

}  // namespace dibkit::tool

#endif  // DIBKIT_TOOLS_BATCH_REPORT_PAGE_RECORD_H
