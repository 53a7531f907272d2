// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <random>
#include <thread>
#include <vector>

#include "batch/jobs/memory_gate.h"
#include "failure.h"

namespace dibkit::tool {
namespace {

using std::chrono::milliseconds;

// Waits for something that another thread is about to do.
template <typename Condition>
void Await(Condition condition) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (!condition() && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(milliseconds(1));
  }
}

TEST(MemoryGate, GivesOutUpToTheLimitAndTakesBack) {
  MemoryGate gate(100);
  EXPECT_EQ(gate.Limit(), 100U);
  MemoryGate::Share first = gate.Acquire(60);
  {
    const MemoryGate::Share second = gate.Acquire(40);
    EXPECT_EQ(gate.InUse(), 100U);
  }
  EXPECT_EQ(gate.InUse(), 60U);
  MemoryGate::Share moved = std::move(first);
  EXPECT_EQ(gate.InUse(), 60U);
  moved = gate.Acquire(0);
  EXPECT_EQ(gate.InUse(), 0U);
  moved.Release();
  moved.Release();
  EXPECT_EQ(gate.InUse(), 0U);
}

TEST(MemoryGate, AShareGrowsWhereThereIsRoomAndShrinks) {
  MemoryGate gate(100);
  MemoryGate::Share share = gate.Acquire(60);
  EXPECT_TRUE(share.TryGrowTo(50));
  EXPECT_EQ(gate.InUse(), 60U);
  EXPECT_TRUE(share.TryGrowTo(100));
  EXPECT_FALSE(share.TryGrowTo(101));
  EXPECT_EQ(gate.InUse(), 100U);
  share.ShrinkTo(200);
  EXPECT_EQ(gate.InUse(), 100U);
  share.ShrinkTo(30);
  EXPECT_EQ(gate.InUse(), 30U);
  share.Release();
  EXPECT_EQ(gate.InUse(), 0U);
  EXPECT_FALSE(MemoryGate::Share().TryGrowTo(1));
}

TEST(MemoryGate, AShareDoesNotGrowBeforeThoseThatWait) {
  MemoryGate gate(100);
  MemoryGate::Share share = gate.Acquire(60);
  std::thread other([&] { gate.Acquire(50); });
  Await([&] { return gate.Waiting() == 1; });
  EXPECT_FALSE(share.TryGrowTo(70));
  share.ShrinkTo(50);
  other.join();
  EXPECT_TRUE(share.TryGrowTo(70));
}

TEST(MemoryGate, WhatNeverFitsIsToldWithBothNumbers) {
  MemoryGate gate(uint64_t{100} << 20);
  try {
    gate.Acquire((uint64_t{200} << 20) + 1);
    FAIL();
  } catch (const Failure& failure) {
    EXPECT_STREQ(failure.what(),
                 "takes 200.1 MiB of memory, more than the 100.0 MiB that --memory allows");
    EXPECT_EQ(failure.Code(), EXIT_CODE_FAILED);
  }
  EXPECT_EQ(gate.InUse(), 0U);
}

TEST(MemoryGate, TheSumStaysWithinTheLimitWhateverThreadsDo) {
  constexpr uint64_t kLimit = 1000;
  MemoryGate gate(kLimit);
  std::atomic<uint64_t> held{0};
  std::atomic<bool> exceeded{false};
  std::vector<std::thread> threads;
  for (unsigned t = 0; t < 8; ++t) {
    threads.emplace_back([&, t] {
      std::mt19937 random(t);
      for (int i = 0; i < 300; ++i) {
        const uint64_t bytes = random() % (kLimit + 1);
        const MemoryGate::Share share = gate.Acquire(bytes);
        exceeded = exceeded || (held += bytes) > kLimit;
        std::this_thread::yield();
        held -= bytes;
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_FALSE(exceeded);
  EXPECT_EQ(gate.InUse(), 0U);
}

TEST(MemoryGate, WhoComesFirstIsLetInFirst) {
  MemoryGate gate(100);
  MemoryGate::Share all = gate.Acquire(100);
  std::mutex mutex;
  std::vector<uint64_t> order;
  std::vector<std::thread> threads;
  // The small ones would fit before the large one that waits in front of them.
  for (const uint64_t bytes : {100U, 1U, 2U}) {
    threads.emplace_back([&, bytes] {
      const MemoryGate::Share share = gate.Acquire(bytes);
      const std::lock_guard guard(mutex);
      order.push_back(bytes);
    });
    const size_t waiting = threads.size();
    Await([&] { return gate.Waiting() == waiting; });
  }
  all.Release();
  for (std::thread& thread : threads) {
    thread.join();
  }
  ASSERT_EQ(order.size(), 3U);
  EXPECT_EQ(order[0], 100U);
}

TEST(MemoryGate, CancellingEndsTheWaitSoonAndLetsOthersPass) {
  MemoryGate gate(100);
  MemoryGate::Share most = gate.Acquire(90);
  std::atomic<bool> stop{false};
  std::atomic<bool> cancelled{false};
  std::atomic<bool> passed{false};
  std::thread large([&] {
    try {
      gate.Acquire(50, [&] { return stop.load(); });
    } catch (const host::Cancelled&) {
      cancelled = true;
    }
  });
  Await([&] { return gate.Waiting() == 1; });
  std::thread small([&] {
    const MemoryGate::Share share = gate.Acquire(10);
    passed = true;
  });
  Await([&] { return gate.Waiting() == 2; });
  EXPECT_FALSE(passed);
  const auto start = std::chrono::steady_clock::now();
  stop = true;
  large.join();
  EXPECT_LT(std::chrono::steady_clock::now() - start, milliseconds(90));
  small.join();
  EXPECT_TRUE(cancelled);
  EXPECT_TRUE(passed);
}

}  // namespace
}  // namespace dibkit::tool
