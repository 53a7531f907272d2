// SPDX-License-Identifier: Apache-2.0
//
// What was measured.
#ifndef DIBKIT_BENCH_REPORT_RESULTS_H
#define DIBKIT_BENCH_REPORT_RESULTS_H

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "runner.h"
#include "suites/suites.h"
#include "task.h"

namespace dibkit::bench {

struct Result {
  std::string task;
  std::string page;
  std::vector<Goal> goals;
  std::map<std::string, Standing> standings;
  Medians prepared;
  Medians fresh;  // empty where it was not measured
};

struct GrowthResult {
  double x;
  double megapixels;
  Medians medians;
};

struct Results {
  std::vector<Result> pages;
  std::vector<Result> small;
  std::vector<Result> lines;
  std::vector<GrowthResult> growth;
  std::vector<GrowthResult> ratios;
  std::vector<PeakMemory> memory;
};

// Nanoseconds of a contender; none when it did not take part.
std::optional<double> TimeOf(const Medians& medians, const std::string& name);

// The fastest peer with its time; none when there was no peer.
struct Best {
  std::string name;
  double time;
};
std::optional<Best> BestPeer(const Result& result, const Medians& medians);

// Our time divided by that of a contender, kBestPeer or kFloorName.
std::optional<double> RatioTo(const Result& result, const Medians& medians,
                              const std::string& against);

}  // namespace dibkit::bench

#endif  // DIBKIT_BENCH_REPORT_RESULTS_H
