// SPDX-License-Identifier: Apache-2.0
//
// The report as a page of documentation.
#ifndef DIBKIT_BENCH_REPORT_MARKDOWN_H
#define DIBKIT_BENCH_REPORT_MARKDOWN_H

#include <ostream>
#include <string>

#include "report/goals.h"

namespace dibkit::bench {

// `plot`: the file that the page shows.
void WriteMarkdown(const Results& results, Kernels kernels, const std::string& plot,
                   std::ostream& out);

}  // namespace dibkit::bench

#endif  // DIBKIT_BENCH_REPORT_MARKDOWN_H
