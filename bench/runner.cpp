// SPDX-License-Identifier: Apache-2.0
#include "runner.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <numeric>

#include "bench_host.h"

namespace dibkit::bench {
namespace {

constexpr int kFewestRounds = 3;

// CPU time too: how much is measured does not depend on what else the machine does.
double SecondsSince(std::clock_t start) {
  return static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
}

// Collects the times of the turns instead of printing them.
class Collector : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context&) override { return true; }

  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (!run.error_occurred && run.run_type == Run::RT_Iteration) {
        times_[run.run_name.function_name].push_back(run.GetAdjustedCPUTime());
      }
    }
  }

  Medians TakeMedians() {
    Medians medians;
    for (auto& [name, times] : times_) {
      const auto middle = times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2);
      std::nth_element(times.begin(), middle, times.end());
      medians[name] = *middle;
    }
    return medians;
  }

 private:
  std::map<std::string, std::vector<double>> times_;
};

// A contender that did its first turn, and the blocks that a turn of it asks for.
struct Entrant {
  Contender* contender;
  std::vector<unsigned> blockSizes;
  double seconds;
};

// The mean byte of a result: enough to tell it from another picture.
double MeanOf(Bytes bytes) {
  const auto sum = std::accumulate(bytes.begin(), bytes.end(), uint64_t{0});
  return static_cast<double>(sum) / static_cast<double>(bytes.size());
}

void CleanUp(const Contender& contender) {
  if (contender.after) {
    contender.after();
  }
  ReclaimBlocks();
}

// The first turn is not measured: it shows that the contender does its work, and which blocks it
// asks for. Contenders that fail or whose result is another picture do not enter.
std::vector<Entrant> FirstTurns(Task& task) {
  std::vector<Entrant> entrants;
  double ourMean = -1;
  for (Contender& contender : task.contenders) {
    AllocateFresh();
    const std::clock_t start = std::clock();
    const Bytes result = contender.turn();
    const double seconds = SecondsSince(start);
    const double mean = result.empty() ? -1 : MeanOf(result);
    if (contender.standing == Standing::kDibkit) {
      ourMean = mean;
    }
    const bool isRight =
        contender.standing != Standing::kPeer || std::abs(mean - ourMean) <= task.meanTolerance;
    if (!result.empty() && isRight) {
      entrants.push_back({&contender, SizesAskedFor(), seconds});
    } else {
      std::fprintf(stderr, "%s, %s: %s is left out (%s)\n", task.name.c_str(), task.page.c_str(),
                   contender.name.c_str(), result.empty() ? "failed" : "other result");
    }
    CleanUp(contender);
  }
  return entrants;
}

void MeasureTurn(benchmark::State& state, const Entrant& entrant, Memory memory) {
  const Contender& contender = *entrant.contender;
  if (memory == Memory::kPrepared) {
    PrepareBlocks(entrant.blockSizes);
  } else {
    AllocateFresh();
  }
  for (const Bytes& range : contender.cold) {
    Evict(range);
  }
  EvictHeap();
  Bytes result;
  for (auto _ : state) {
    result = contender.turn();
  }
  if (result.empty()) {
    state.SkipWithError("the turn failed");
  }
  CleanUp(contender);
}

void Register(const Entrant& entrant, Memory memory) {
  benchmark::RegisterBenchmark(
      entrant.contender->name.c_str(),
      [&entrant, memory](benchmark::State& state) { MeasureTurn(state, entrant, memory); })
      ->Iterations(1)
      ->Unit(benchmark::kNanosecond)
      ->MeasureProcessCPUTime();
}

void MeasureSmall(benchmark::State& state, const Contender& contender) {
  AllocateFresh();
  Bytes result;
  for (auto _ : state) {
    result = contender.turn();
    CleanUp(contender);
  }
  if (result.empty()) {
    state.SkipWithError("the turn failed");
  }
}

// A peer that is far behind takes part in few rounds: more would only tell the same.
std::vector<int> RoundsOf(const std::vector<Entrant>& entrants, const Effort& effort) {
  constexpr double kFarBehind = 4;
  double fastest = 1e9;
  for (const Entrant& entrant : entrants) {
    if (entrant.contender->standing == Standing::kPeer) {
      fastest = std::min(fastest, entrant.seconds);
    }
  }
  std::vector<int> rounds;
  for (const Entrant& entrant : entrants) {
    const bool isPeer = entrant.contender->standing != Standing::kDibkit &&
                        entrant.contender->standing != Standing::kFloor;
    const bool isFarBehind = isPeer && entrant.seconds > kFarBehind * fastest;
    rounds.push_back(isFarBehind ? effort.roundsFarBehind : effort.rounds);
  }
  return rounds;
}

}  // namespace

Medians RunTask(Task& task, Memory memory, const Effort& effort) {
  const std::vector<Entrant> entrants = FirstTurns(task);
  const std::vector<int> rounds = RoundsOf(entrants, effort);
  Collector collector;
  const std::clock_t start = std::clock();
  for (int round = 0; round < effort.rounds; ++round) {
    if (round >= kFewestRounds && SecondsSince(start) > effort.secondsEach) break;
    benchmark::ClearRegisteredBenchmarks();
    for (size_t i = 0; i < entrants.size(); ++i) {
      if (round < rounds[i]) {
        Register(entrants[i], memory);
      }
    }
    benchmark::RunSpecifiedBenchmarks(&collector);
  }
  benchmark::ClearRegisteredBenchmarks();
  DropPreparedBlocks();
  return collector.TakeMedians();
}

Medians RunSmallTask(Task& task, const Effort& effort) {
  Collector collector;
  const std::vector<Entrant> entrants = FirstTurns(task);
  for (int round = 0; round < effort.rounds; ++round) {
    benchmark::ClearRegisteredBenchmarks();
    for (const Entrant& entrant : entrants) {
      benchmark::RegisterBenchmark(
          entrant.contender->name.c_str(),
          [&entrant](benchmark::State& state) { MeasureSmall(state, *entrant.contender); })
          ->MinTime(effort.secondsEach)
          ->Unit(benchmark::kNanosecond)
          ->MeasureProcessCPUTime();
    }
    benchmark::RunSpecifiedBenchmarks(&collector);
  }
  benchmark::ClearRegisteredBenchmarks();
  return collector.TakeMedians();
}

}  // namespace dibkit::bench
