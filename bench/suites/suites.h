// SPDX-License-Identifier: Apache-2.0
//
// What is measured, by kind of work.
#ifndef DIBKIT_BENCH_SUITES_SUITES_H
#define DIBKIT_BENCH_SUITES_SUITES_H

#include <string>
#include <vector>

#include "task.h"

namespace dibkit::bench {

// Page-sized tasks.
void PlanScaling(Plans& plans);
void PlanReduction(Plans& plans);
void PlanConversions(Plans& plans);

// How cost grows with the picture and with the ratio of resolutions.
struct GrowthPoint {
  double x;           // megapixels of the source, or dots per inch of the result
  double megapixels;  // that the cost is told for
  Plan plan;
};
std::vector<GrowthPoint> PlanGrowth();
std::vector<GrowthPoint> PlanRatios();

// Whole calls on small pictures.
void PlanSmall(Plans& plans);
// Line makers alone: one row of a page, from warm caches.
void PlanLines(Plans& plans);

struct PeakMemory {
  std::string kind;
  double sourceMiB;
  double resultMiB;
  double peakMiB;  // what the process grew by during the call, the result included
};
std::vector<PeakMemory> MeasurePeakMemory();

}  // namespace dibkit::bench

#endif  // DIBKIT_BENCH_SUITES_SUITES_H
