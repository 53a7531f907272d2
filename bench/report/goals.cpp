// SPDX-License-Identifier: Apache-2.0
#include "report/goals.h"

#include <algorithm>

#include "common/cpu.h"

namespace dibkit::bench {
namespace {

Verdict& VerdictFor(const Goal& goal, std::vector<Verdict>& verdicts) {
  const auto found = std::find_if(verdicts.begin(), verdicts.end(), [&](const Verdict& verdict) {
    return verdict.goal.row == goal.row && verdict.goal.against == goal.against;
  });
  if (found != verdicts.end()) return *found;
  verdicts.push_back({.goal = goal, .worstTask = {}});
  return verdicts.back();
}

void Add(const Goal& goal, const std::string& task, double ratio, Kernels kernels,
         std::vector<Verdict>& verdicts) {
  Verdict& verdict = VerdictFor(goal, verdicts);
  const double limit = kernels == Kernels::kAvx512 ? goal.withAvx512 : goal.withAvx2;
  ++verdict.tasks;
  verdict.reached += ratio <= limit ? 1 : 0;
  if (ratio > verdict.worst) {
    verdict.worst = ratio;
    verdict.worstTask = task;
  }
}

void AddAll(const std::vector<Result>& results, Kernels kernels, std::vector<Verdict>& verdicts) {
  for (const Result& result : results) {
    for (const Goal& goal : result.goals) {
      const std::optional<double> ratio = RatioTo(result, result.prepared, goal.against);
      if (ratio) {
        Add(goal, result.task + ", " + result.page, *ratio, kernels, verdicts);
      }
    }
  }
}

// A pixel of a large picture costs hardly more than one of a page.
void AddGrowth(const std::vector<GrowthResult>& growth, Kernels kernels,
               std::vector<Verdict>& verdicts) {
  const auto costAt = [&](double megapixels) -> std::optional<double> {
    for (const GrowthResult& point : growth) {
      if (point.x == megapixels && TimeOf(point.medians, kDibkitName)) {
        return *TimeOf(point.medians, kDibkitName) / megapixels;
      }
    }
    return std::nullopt;
  };
  const Goal goal{"growth: a pixel at 64 megapixels", "one at 4 megapixels", 1.15, 1.15};
  if (costAt(64) && costAt(4)) {
    Add(goal, "24-bit 300→200", *costAt(64) / *costAt(4), kernels, verdicts);
  }
}

}  // namespace

Kernels KernelsOfThisCpu() {
  switch (BestCpuLevel()) {
    case CpuLevel::kAvx512:
      return Kernels::kAvx512;
    case CpuLevel::kAvx2:
      return Kernels::kAvx2;
    default:
      return Kernels::kPortable;
  }
}

std::vector<Verdict> Judge(const Results& results, Kernels kernels) {
  std::vector<Verdict> verdicts;
  AddAll(results.pages, kernels, verdicts);
  AddAll(results.small, kernels, verdicts);
  AddGrowth(results.growth, kernels, verdicts);
  return verdicts;
}

}  // namespace dibkit::bench
