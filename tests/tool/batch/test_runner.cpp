// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <mutex>
#include <numeric>
#include <set>
#include <thread>
#include <vector>

#include "batch/jobs/memory_gate.h"
#include "batch/jobs/runner.h"
#include "dibkit/host/page_error.h"
#include "failure.h"

namespace dibkit::tool {
namespace {

using std::chrono::milliseconds;

RunOptions Jobs(unsigned jobs) {
  RunOptions options;
  options.jobs = jobs;
  return options;
}

TEST(Runner, DoesEachFileOnce) {
  for (const unsigned jobs : {0U, 1U, 2U, 7U, 100U}) {
    std::vector<std::atomic<int>> done(50);
    std::vector<size_t> told;
    const RunTally tally = RunFiles(
        50, Jobs(jobs),
        [&](size_t index, const host::CancelHook& cancelled) {
          EXPECT_FALSE(cancelled());
          ++done[index];
          return EXIT_CODE_DONE;
        },
        [&](const FileOutcome& outcome) { told.push_back(outcome.index); });
    EXPECT_TRUE(std::all_of(done.begin(), done.end(), [](const auto& n) { return n == 1; }));
    EXPECT_EQ(std::set<size_t>(told.begin(), told.end()).size(), 50U);
    EXPECT_EQ(told.size(), 50U);
    EXPECT_EQ(tally.done, 50U);
    EXPECT_EQ(tally.failed + tally.cancelled + tally.notStarted, 0U);
    EXPECT_EQ(tally.code, EXIT_CODE_DONE);
  }
}

TEST(Runner, OneJobWorksOnTheCallersThreadInOrder) {
  std::vector<size_t> order;
  const auto caller = std::this_thread::get_id();
  RunFiles(20, Jobs(1), [&](size_t index, const host::CancelHook&) {
    EXPECT_EQ(std::this_thread::get_id(), caller);
    order.push_back(index);
    return 0;
  });
  std::vector<size_t> expected(20);
  std::iota(expected.begin(), expected.end(), 0U);
  EXPECT_EQ(order, expected);
}

TEST(Runner, SeveralJobsWorkAtOnce) {
  std::atomic<int> inside{0};
  RunFiles(3, Jobs(3), [&](size_t, const host::CancelHook&) {
    ++inside;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (inside < 3 && std::chrono::steady_clock::now() < deadline) {
      std::this_thread::yield();
    }
    EXPECT_EQ(inside, 3);
    return 0;
  });
}

TEST(Runner, NoFilesAreNoWork) {
  const RunTally tally = RunFiles(0, Jobs(4), [](size_t, const host::CancelHook&) { return 1; });
  EXPECT_EQ(tally.done + tally.failed + tally.notStarted, 0U);
}

TEST(Runner, AFailureIsItsFilesOwn) {
  std::vector<FileOutcome> outcomes;
  const RunTally tally = RunFiles(
      6, Jobs(2),
      [](size_t index, const host::CancelHook&) -> int {
        if (index == 1) throw Failure("full", EXIT_CODE_RETRY);
        if (index == 2) throw std::bad_alloc();
        if (index == 3) throw 7;
        return index == 4 ? EXIT_CODE_FAILED : EXIT_CODE_DONE;
      },
      [&](const FileOutcome& outcome) { outcomes.push_back(outcome); });
  EXPECT_EQ(tally.done, 2U);
  EXPECT_EQ(tally.failed, 4U);
  EXPECT_EQ(tally.code, EXIT_CODE_RETRY);
  ASSERT_EQ(outcomes.size(), 6U);
  for (const FileOutcome& outcome : outcomes) {
    EXPECT_EQ(outcome.failure != nullptr, outcome.index >= 1 && outcome.index <= 3);
    EXPECT_EQ(outcome.code, outcome.index == 1                         ? EXIT_CODE_RETRY
                            : outcome.index >= 2 && outcome.index <= 4 ? EXIT_CODE_FAILED
                                                                       : EXIT_CODE_DONE);
  }
}

TEST(Runner, FailFastStopsAllOthers) {
  RunOptions options = Jobs(2);
  options.failFast = true;
  std::atomic<bool> otherRuns{false};
  const RunTally tally =
      RunFiles(100, options, [&](size_t index, const host::CancelHook& cancelled) {
        if (index == 0) {
          while (!otherRuns) std::this_thread::yield();
          return EXIT_CODE_FAILED;
        }
        otherRuns = true;
        while (!cancelled()) std::this_thread::yield();
        throw host::PageError(host::PageFault::kCancelled, "cancelled");
      });
  EXPECT_EQ(tally.failed, 1U);
  EXPECT_EQ(tally.cancelled, 1U);
  EXPECT_EQ(tally.notStarted, 98U);
  EXPECT_EQ(tally.code, EXIT_CODE_FAILED);
}

TEST(Runner, CancellingStopsPromptlyAlsoWhoWaitsForMemory) {
  std::atomic<bool> stop{false};
  RunOptions options = Jobs(4);
  options.cancelled = [&] { return stop.load(); };
  MemoryGate gate(10);
  std::thread canceller([&] {
    while (gate.InUse() == 0) std::this_thread::yield();
    std::this_thread::sleep_for(milliseconds(20));
    stop = true;
  });
  const RunTally tally = RunFiles(50, options, [&](size_t, const host::CancelHook& cancelled) {
    const MemoryGate::Share share = gate.Acquire(10, cancelled);
    while (!cancelled()) std::this_thread::sleep_for(milliseconds(1));
    host::StopIf(cancelled);
    return 0;
  });
  canceller.join();
  EXPECT_EQ(tally.done, 0U);
  EXPECT_EQ(tally.cancelled, 4U);
  EXPECT_EQ(tally.notStarted, 46U);
}

TEST(Runner, TheCallbackIsCalledByOneThreadAtATime) {
  int plain = 0;
  std::atomic<int> inside{0};
  RunFiles(
      400, Jobs(8), [](size_t, const host::CancelHook&) { return 0; },
      [&](const FileOutcome&) {
        EXPECT_EQ(++inside, 1);
        ++plain;
        --inside;
      });
  EXPECT_EQ(plain, 400);
}

TEST(Runner, AnExceptionOfTheCallbackEndsTheRun) {
  std::atomic<int> begun{0};
  const auto run = [&] {
    RunFiles(
        1000, Jobs(2),
        [&](size_t, const host::CancelHook&) {
          ++begun;
          return 0;
        },
        [](const FileOutcome& outcome) {
          if (outcome.index >= 3) throw host::FileError("cannot write the report", ENOSPC);
        });
  };
  EXPECT_THROW(run(), host::FileError);
  EXPECT_LT(begun, 1000);
}

}  // namespace
}  // namespace dibkit::tool
