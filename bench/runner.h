// SPDX-License-Identifier: Apache-2.0
//
// Runs tasks under Google Benchmark: contenders take turns, each turn is one call in process CPU
// time, and the median of a contender's turns counts.
#ifndef DIBKIT_BENCH_RUNNER_H
#define DIBKIT_BENCH_RUNNER_H

#include <map>
#include <string>

#include "task.h"

namespace dibkit::bench {

// Where the memory of results and of temporary blocks comes from.
enum class Memory {
  kPrepared,  // zeroed and mapped beforehand, in no cache
  kFresh,     // calloc, within the measured time
};

struct Effort {
  int rounds;           // at most so many turns for each contender
  int roundsFarBehind;  // the same for peers that are far slower than the fastest one
  double secondsEach;   // of CPU time; a task takes no more rounds after that, but at least three
};

// CPU nanoseconds of one turn by the contender's name. Who failed is not in it.
using Medians = std::map<std::string, double>;

// Page-sized turns: everything that the turn reads is taken out of the caches beforehand.
Medians RunTask(Task& task, Memory memory, const Effort& effort);

// Small turns: each is repeated until `secondsEach` has passed, from warm caches and with blocks
// from calloc; `rounds` times in alternation.
Medians RunSmallTask(Task& task, const Effort& effort);

}  // namespace dibkit::bench

#endif  // DIBKIT_BENCH_RUNNER_H
