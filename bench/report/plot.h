// SPDX-License-Identifier: Apache-2.0
//
// The growth of cost as a picture.
#ifndef DIBKIT_BENCH_REPORT_PLOT_H
#define DIBKIT_BENCH_REPORT_PLOT_H

#include <ostream>

#include "report/results.h"

namespace dibkit::bench {

// An SVG with two panels: milliseconds a megapixel over megapixels, and over dots per inch.
void WritePlot(const Results& results, std::ostream& out);

}  // namespace dibkit::bench

#endif  // DIBKIT_BENCH_REPORT_PLOT_H
