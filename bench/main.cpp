// SPDX-License-Identifier: Apache-2.0
//
// dibkit_bench [--quick] [--only=REGEX] [--output=DIRECTORY] [--name=NAME]
//
// Measures and prints the report as Markdown. --quick takes fewer turns. --only measures just those
// tasks whose name contains a match and leaves out growth and memory. --output writes the report
// and its plot there too, as NAME.md and NAME.svg ("speed" unless told).
#include <fstream>
#include <iostream>
#include <regex>
#include <sstream>
#include <string>

#include "report/markdown.h"
#include "report/plot.h"

namespace {

using namespace dibkit::bench;

struct Options {
  bool isQuick = false;
  std::string only;
  std::string output;
  std::string name = "speed";
};

// False when an option is not known.
bool Parse(int argc, char** argv, Options& options) {
  for (int i = 1; i < argc; ++i) {
    const std::string argument = argv[i];
    if (argument == "--quick") {
      options.isQuick = true;
    } else if (argument.starts_with("--only=")) {
      options.only = argument.substr(7);
    } else if (argument.starts_with("--output=")) {
      options.output = argument.substr(9);
    } else if (argument.starts_with("--name=")) {
      options.name = argument.substr(7);
    } else {
      return false;
    }
  }
  return true;
}

struct Efforts {
  Effort pages;
  Effort growth;
  Effort small;
};

constexpr Efforts kFull{{21, 3, 1.0}, {9, 9, 2.0}, {7, 7, 0.02}};
constexpr Efforts kQuick{{7, 1, 0.3}, {3, 3, 0.5}, {3, 3, 0.003}};

Plans Choose(void (*plan)(Plans&), const std::string& only) {
  Plans plans;
  plan(plans);
  const std::regex pattern(only);
  std::erase_if(plans, [&](const Plan& each) { return !std::regex_search(each.name, pattern); });
  return plans;
}

Result Describe(const Task& task) {
  Result result{.task = task.name,
                .page = task.page,
                .goals = task.goals,
                .standings = {},
                .prepared = {},
                .fresh = {}};
  for (const Contender& contender : task.contenders) {
    result.standings[contender.name] = contender.standing;
  }
  return result;
}

void Tell(const std::string& what) { std::cerr << what << "\n"; }

// The heap is set up once for each kind of memory: what one kind leaves behind in it would change
// the price of the other.
std::vector<Result> MeasurePages(const Plans& plans, const Effort& effort) {
  std::vector<Result> results;
  SetHeap(Heap::kFresh);
  for (const Plan& plan : plans) {
    Tell(plan.name + " (fresh)");
    Task task = plan.make();
    results.push_back(Describe(task));
    results.back().fresh = RunTask(task, Memory::kFresh, effort);
  }
  SetHeap(Heap::kWarm);
  for (size_t i = 0; i < plans.size(); ++i) {
    Tell(plans[i].name);
    Task task = plans[i].make();
    results[i].prepared = RunTask(task, Memory::kPrepared, effort);
  }
  return results;
}

std::vector<Result> MeasureSmall(const Plans& plans, const Effort& effort) {
  std::vector<Result> results;
  SetHeap(Heap::kFresh);
  for (const Plan& plan : plans) {
    Tell(plan.name);
    Task task = plan.make();
    results.push_back(Describe(task));
    results.back().prepared = RunSmallTask(task, effort);
  }
  return results;
}

std::vector<GrowthResult> MeasureGrowth(const std::vector<GrowthPoint>& points,
                                        const Effort& effort) {
  std::vector<GrowthResult> results;
  SetHeap(Heap::kWarm);
  for (const GrowthPoint& point : points) {
    Tell(point.plan.name);
    Task task = point.plan.make();
    results.push_back({point.x, point.megapixels, RunTask(task, Memory::kPrepared, effort)});
  }
  return results;
}

void PlanPages(Plans& plans) {
  PlanScaling(plans);
  PlanReduction(plans);
  PlanConversions(plans);
}

Results Measure(const Options& options) {
  const Efforts& efforts = options.isQuick ? kQuick : kFull;
  Results results;
  // First, while the process is small.
  if (options.only.empty()) {
    results.memory = MeasurePeakMemory();
  }
  results.small = MeasureSmall(Choose(PlanSmall, options.only), efforts.small);
  results.lines = MeasureSmall(Choose(PlanLines, options.only), efforts.small);
  results.pages = MeasurePages(Choose(PlanPages, options.only), efforts.pages);
  if (options.only.empty()) {
    results.growth = MeasureGrowth(PlanGrowth(), efforts.growth);
    results.ratios = MeasureGrowth(PlanRatios(), efforts.growth);
  }
  return results;
}

bool Write(const std::string& path, const std::string& content) {
  std::ofstream file(path);
  file << content;
  file.close();
  return file.good();
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  if (!Parse(argc, argv, options)) {
    std::cerr
        << "usage: dibkit_bench [--quick] [--only=REGEX] [--output=DIRECTORY] [--name=NAME]\n";
    return 2;
  }
  const Results results = Measure(options);
  std::ostringstream report;
  WriteMarkdown(results, KernelsOfThisCpu(), options.name + ".svg", report);
  std::cout << report.str();
  if (options.output.empty()) return 0;
  bool written = Write(options.output + "/" + options.name + ".md", report.str());
  if (!results.growth.empty()) {
    std::ostringstream plot;
    WritePlot(results, plot);
    written = written && Write(options.output + "/" + options.name + ".svg", plot.str());
  }
  return written ? 0 : 1;
}
