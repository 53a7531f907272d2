// SPDX-License-Identifier: Apache-2.0
//
// The report as a page of documentation.
#ifndef DIBKIT_BENCH_REPORT_MARKDOWN_H
#define DIBKIT_BENCH_REPORT_MARKDOWN_H

#include <ostream>

#include "report/goals.h"

namespace dibkit::bench {

void WriteMarkdown(const Results& results, Kernels kernels, std::ostream& out);

}  // namespace dibkit::bench

#endif  // DIBKIT_BENCH_REPORT_MARKDOWN_H
