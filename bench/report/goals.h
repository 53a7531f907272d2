// SPDX-License-Identifier: Apache-2.0
//
// Which goals were reached.
#ifndef DIBKIT_BENCH_REPORT_GOALS_H
#define DIBKIT_BENCH_REPORT_GOALS_H

#include "report/results.h"

namespace dibkit::bench {

// One line of the summary: the worst of all tasks that share a goal.
struct Verdict {
  Goal goal;
  size_t tasks = 0;    // that have the goal and what it is told against
  size_t reached = 0;  // of these
  double worst = 0;
  std::string worstTask;
};

// The instructions that goals depend on.
enum class Kernels { kAvx512, kAvx2, kPortable };
Kernels KernelsOfThisCpu();

// The goals of all tasks, in the order of the tasks.
std::vector<Verdict> Judge(const Results& results, Kernels kernels);

}  // namespace dibkit::bench

#endif  // DIBKIT_BENCH_REPORT_GOALS_H
