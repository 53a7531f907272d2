// SPDX-License-Identifier: Apache-2.0
//
// What reports say as lines of text, one JSON object each, and page records back from them.
//
// Members: input, page, pages, status, message, output, sha256, milliseconds, peak_bytes, and with
// input_ and output_ before them format, width, height, bits, dpi_x, dpi_y. A member that says
// nothing is left out. JSON holds characters and names are bytes: where a name is not UTF-8 its
// faulty bytes appear as U+FFFD and a member input_bytes or output_bytes has them all as
// hexadecimal digits, which counts when the line is read.
#ifndef DIBKIT_TOOLS_BATCH_REPORT_REPORT_LINE_H
#define DIBKIT_TOOLS_BATCH_REPORT_REPORT_LINE_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "batch/report/page_record.h"

namespace dibkit::tool {

// Each line ends in a line feed and holds no other.
std::string ReportLine(const PageRecord& record);

// None when the line is not such an object: cut off, no input, an unknown status, a member of the
// wrong type or out of range. Unknown members are passed over.
std::optional<PageRecord> ParseReportLine(std::string_view line);

// The input that a line tells of which was cut off, as by a power cut; empty where it was cut
// before that. None for a line that is not the beginning of one of ReportLine's.
std::optional<std::string> InputOfCutLine(std::string_view line);

// So many pages of an input are missing, 0 for all of it: input, status "missing", pages.
std::string MissingLine(const std::string& input, uint64_t pages);

// A fault in a report, line 0 for all of it: report, line, error.
std::string FaultLine(const std::string& report, uint64_t line, const std::string& error);

// Members with numbers, in their order.
std::string NumbersLine(const std::vector<std::pair<std::string, uint64_t>>& numbers);

}  // namespace dibkit::tool

#endif  // DIBKIT_TOOLS_BATCH_REPORT_REPORT_LINE_H
