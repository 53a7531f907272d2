// SPDX-License-Identifier: Apache-2.0
//
// Page records as lines of text, one JSON object each, and back.
//
// Members: input, page, pages, status, message, output, sha256, milliseconds, peak_bytes, and with
// input_ and output_ before them format, width, height, bits, dpi_x, dpi_y. A member that says
// nothing is left out. JSON holds characters and names are bytes: where a name is not UTF-8 its
// faulty bytes appear as U+FFFD and a member input_bytes or output_bytes has them all as
// hexadecimal digits, which counts when the line is read.
#ifndef DIBKIT_TOOLS_BATCH_REPORT_REPORT_LINE_H
#define DIBKIT_TOOLS_BATCH_REPORT_REPORT_LINE_H

#include <optional>
#include <string>
#include <string_view>

#include "batch/report/page_record.h"

namespace dibkit::tool {

// Ends in a line feed and holds no other.
std::string ReportLine(const PageRecord& record);

// None when the line is not such an object: cut off, no input, an unknown status, a member of the
// wrong type or out of range. Unknown members are passed over.
std::optional<PageRecord> ParseReportLine(std::string_view line);

}  // namespace dibkit::tool

#endif  // DIBKIT_TOOLS_BATCH_REPORT_REPORT_LINE_H
