// SPDX-License-Identifier: Apache-2.0
//
// dibkit report: what the reports of many runs say together.
#ifndef DIBKIT_TOOLS_BATCH_REPORT_REPORT_SUMMARY_H
#define DIBKIT_TOOLS_BATCH_REPORT_REPORT_SUMMARY_H

#include <string>
#include <vector>

namespace dibkit::tool {

struct ReportOptions {
  std::vector<std::string> reports;  // "-": standard input
  std::string filesFrom;             // the inputs that are to be there; empty: not told
  bool nullSeparated = false;
  bool json = false;  // objects, one a line
};

// Prints totals, failures and what is missing on standard output. Returns EXIT_CODE_FAILED when
// anything failed, was interrupted, is missing or cannot be read, else EXIT_CODE_DONE. Throws
// Failure (the list cannot be read), UsageError and FileError.
int RunReport(const ReportOptions& options);

}  // namespace dibkit::tool

#endif  // DIBKIT_TOOLS_BATCH_REPORT_REPORT_SUMMARY_H
