// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <mutex>
#include <numeric>
#include <set>
#include <thread>
#include <utility>
#include <vector>

#include "batch/jobs/memory_gate.h"
#include "batch/jobs/runner.h"
#include "failure.h"

namespace dibkit::tool {
namespace {

using std::chrono::milliseconds;
using Work = std::function<void(size_t piece)>;

// A file of so many pieces, which may all be done side by side.
class Pieces : public FileTask {
 public:
  Pieces(size_t count, Work work, int code = EXIT_CODE_DONE)
      : count_(count), work_(std::move(work)), code_(code) {}

  Offer Take() override {
    if (taken_ == count_) {
      return {};
    }
    return {[this, piece = taken_++] {
      work_(piece);
      ++done_;
    }};
  }
  bool IsOver() const override { return done_ == count_; }
  int Code() const override { return code_; }

 private:
  const size_t count_;
  const Work work_;
  const int code_;
  size_t taken_ = 0;
  std::atomic<size_t> done_{0};
};

RunOptions Jobs(unsigned jobs) {
  RunOptions options;
  options.jobs = jobs;
  return options;
}

void WaitUntil(const std::function<bool()>& condition) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (!condition() && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::yield();
  }
}

TEST(Runner, DoesEachPieceOfEachFileOnce) {
  for (const unsigned jobs : {0U, 1U, 2U, 7U, 100U}) {
    std::vector<std::atomic<int>> done(50 * 3);
    RunFiles(50, Jobs(jobs), [&](size_t index, const TaskHooks& hooks) {
      return std::make_unique<Pieces>(3, [&, index](size_t piece) {
        EXPECT_FALSE(hooks.cancelled());
        ++done[index * 3 + piece];
      });
    });
    EXPECT_TRUE(std::all_of(done.begin(), done.end(), [](const auto& n) { return n == 1; }));
  }
}

TEST(Runner, OneJobWorksOnTheCallersThreadInOrder) {
  std::vector<size_t> order;
  const auto caller = std::this_thread::get_id();
  RunFiles(20, Jobs(1), [&](size_t index, const TaskHooks&) {
    return std::make_unique<Pieces>(2, [&, index](size_t piece) {
      EXPECT_EQ(std::this_thread::get_id(), caller);
      order.push_back(index * 2 + piece);
    });
  });
  std::vector<size_t> expected(40);
  std::iota(expected.begin(), expected.end(), 0U);
  EXPECT_EQ(order, expected);
}

// As many files as there are jobs, or one file with as many pieces.
TEST(Runner, SeveralJobsWorkAtOnce) {
  for (const size_t files : {1U, 3U}) {
    std::atomic<int> inside{0};
    RunFiles(files, Jobs(3), [&](size_t, const TaskHooks&) {
      return std::make_unique<Pieces>(3 / files, [&](size_t) {
        ++inside;
        WaitUntil([&] { return inside == 3; });
        EXPECT_EQ(inside, 3);
      });
    });
  }
}

TEST(Runner, ALaterFileBeginsWhenNoPieceOfAnEarlierOneIsLeft) {
  std::mutex mutex;
  std::vector<size_t> begun;
  RunFiles(4, Jobs(3), [&](size_t index, const TaskHooks&) {
    return std::make_unique<Pieces>(10, [&, index](size_t) {
      const std::lock_guard guard(mutex);
      begun.push_back(index);
    });
  });
  ASSERT_EQ(begun.size(), 40U);
  // Pieces of the file before may still be in work, no more than the other threads have.
  for (size_t i = 0; i < begun.size(); ++i) {
    EXPECT_LE(begun[i], (i + 2) / 10) << i;
  }
}

// A piece of the first file is said to come soon, and comes.
TEST(Runner, WaitsForAPieceThatComesSoon) {
  class Slow : public FileTask {
   public:
    Slow(const TaskHooks& hooks, std::function<void()> beforeItComes)
        : hooks_(hooks), beforeItComes_(std::move(beforeItComes)) {}
    Offer Take() override {
      ++asked_;
      if (taken_ == 0 || (taken_ == 1 && open_)) {
        return {[this, piece = taken_++] { Do(piece); }};
      }
      return {nullptr, taken_ == 1};
    }
    bool IsOver() const override { return done_ == 2; }
    int Code() const override { return 0; }

   private:
    void Do(int piece) {
      if (piece == 0) {
        WaitUntil([this] { return asked_ >= 2; });
        std::this_thread::sleep_for(milliseconds(20));
        beforeItComes_();
        open_ = true;
        hooks_.changed();
        WaitUntil([this] { return done_ == 1; });
      }
      ++done_;
    }

    const TaskHooks& hooks_;
    const std::function<void()> beforeItComes_;
    int taken_ = 0;
    std::atomic<int> asked_{0};
    std::atomic<bool> open_{false};
    std::atomic<int> done_{0};
  };
  std::atomic<int> begun{0};
  RunFiles(2, Jobs(2), [&](size_t index, const TaskHooks& hooks) -> std::unique_ptr<FileTask> {
    ++begun;
    if (index == 0) {
      return std::make_unique<Slow>(hooks, [&] { EXPECT_EQ(begun, 1); });
    }
    return std::make_unique<Pieces>(1, [](size_t) {});
  });
  EXPECT_EQ(begun, 2);
}

TEST(Runner, NoFilesAreNoWork) {
  RunFiles(0, Jobs(4), [](size_t, const TaskHooks&) -> std::unique_ptr<FileTask> {
    ADD_FAILURE();
    return nullptr;
  });
}

TEST(Runner, FilesWithNothingToDoArePassedOver) {
  std::atomic<int> done{0};
  RunFiles(100, Jobs(3), [&](size_t index, const TaskHooks&) -> std::unique_ptr<FileTask> {
    if (index % 10 != 3) {
      return nullptr;
    }
    return std::make_unique<Pieces>(1, [&](size_t) { ++done; });
  });
  EXPECT_EQ(done, 10);
}

TEST(Runner, AFailureIsItsFilesOwn) {
  std::atomic<int> done{0};
  RunFiles(6, Jobs(2), [&](size_t index, const TaskHooks&) {
    return std::make_unique<Pieces>(
        1, [&](size_t) { ++done; }, index == 1 ? EXIT_CODE_FAILED : EXIT_CODE_DONE);
  });
  EXPECT_EQ(done, 6);
}

TEST(Runner, FailFastStopsAllOthers) {
  RunOptions options = Jobs(2);
  options.failFast = true;
  std::atomic<int> begun{0};
  RunFiles(100, options, [&](size_t index, const TaskHooks& hooks) {
    ++begun;
    return std::make_unique<Pieces>(
        1,
        [&, index](size_t) {
          WaitUntil([&] { return index == 0 ? begun == 2 : hooks.cancelled(); });
        },
        index == 0 ? EXIT_CODE_FAILED : EXIT_CODE_DONE);
  });
  EXPECT_EQ(begun, 2);
}

// A file that was begun is asked for its pieces to the end, so that it can put things in order.
TEST(Runner, CancellingBeginsNoFileAndEndsThoseThatWereBegun) {
  std::atomic<bool> stop{false};
  RunOptions options = Jobs(1);
  options.cancelled = [&] { return stop.load(); };
  int begun = 0;
  int pieces = 0;
  RunFiles(5, options, [&](size_t, const TaskHooks&) {
    ++begun;
    return std::make_unique<Pieces>(4, [&](size_t) {
      ++pieces;
      stop = true;
    });
  });
  EXPECT_EQ(begun, 1);
  EXPECT_EQ(pieces, 4);
}

TEST(Runner, CancellingStopsPromptlyAlsoWhoWaitsForMemory) {
  std::atomic<bool> stop{false};
  RunOptions options = Jobs(4);
  options.cancelled = [&] { return stop.load(); };
  MemoryGate gate(10);
  std::thread canceller([&] {
    WaitUntil([&] { return gate.InUse() != 0 && gate.Waiting() == 3; });
    stop = true;
  });
  std::atomic<int> cancelled{0};
  std::atomic<int> begun{0};
  RunFiles(50, options, [&](size_t, const TaskHooks& hooks) {
    ++begun;
    return std::make_unique<Pieces>(1, [&](size_t) {
      try {
        const MemoryGate::Share share = gate.Acquire(10, hooks.cancelled);
        WaitUntil(hooks.cancelled);
        host::StopIf(hooks.cancelled);
      } catch (const host::Cancelled&) {
        ++cancelled;
      }
    });
  });
  canceller.join();
  EXPECT_EQ(begun, 4);
  EXPECT_EQ(cancelled, 4);
}

TEST(Runner, WhatBeginThrowsEndsTheRun) {
  std::atomic<int> done{0};
  const auto run = [&] {
    RunFiles(1000, Jobs(2), [&](size_t index, const TaskHooks&) {
      if (index == 3) {
        throw Failure("no");
      }
      return std::make_unique<Pieces>(1, [&](size_t) { ++done; });
    });
  };
  EXPECT_THROW(run(), Failure);
  EXPECT_EQ(done, 3);
}

TEST(Runner, HasNoMoreThreadsThanFindSomethingToDo) {
  std::mutex mutex;
  std::set<std::thread::id> threads;
  RunFiles(1, Jobs(1000), [&](size_t, const TaskHooks&) {
    return std::make_unique<Pieces>(2, [&](size_t) {
      const std::lock_guard guard(mutex);
      threads.insert(std::this_thread::get_id());
    });
  });
  EXPECT_LE(threads.size(), 2U);
}

}  // namespace
}  // namespace dibkit::tool
