// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <memory>
#include <random>
#include <stdexcept>
#include <thread>
#include <vector>

#include "batch/jobs/in_order.h"

namespace dibkit::tool {
namespace {

TEST(InOrder, TakesThingsAsTheyComeWhenTheyComeInOrder) {
  InOrder<int> order;
  std::vector<int> taken;
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(order.Next(), static_cast<size_t>(i));
    order.Put(static_cast<size_t>(i), 10 * i, [&](size_t number, int thing) {
      EXPECT_EQ(number, static_cast<size_t>(i));
      taken.push_back(thing);
    });
  }
  EXPECT_EQ(taken, (std::vector<int>{0, 10, 20}));
}

TEST(InOrder, OthersWaitForTheOneThatIsMissing) {
  InOrder<std::unique_ptr<int>> order;
  std::vector<int> taken;
  const auto accept = [&](size_t, const std::unique_ptr<int>& thing) { taken.push_back(*thing); };
  order.Put(2, std::make_unique<int>(2), accept);
  order.Put(1, std::make_unique<int>(1), accept);
  EXPECT_TRUE(taken.empty());
  EXPECT_EQ(order.Next(), 0U);
  order.Put(0, std::make_unique<int>(0), accept);
  EXPECT_EQ(taken, (std::vector<int>{0, 1, 2}));
  EXPECT_EQ(order.Next(), 3U);
}

TEST(InOrder, ManyThreadsHandOverAndOneAtATimeAccepts) {
  constexpr size_t kThings = 3000;
  InOrder<size_t> order;
  std::vector<size_t> taken;
  std::atomic<size_t> next{0};
  std::atomic<int> inside{0};
  std::vector<std::thread> threads;
  for (unsigned seed = 0; seed < 6; ++seed) {
    threads.emplace_back([&, seed] {
      std::mt19937 random(seed);
      for (size_t number = 0; (number = next++) < kThings;) {
        if (random() % 8 == 0) {
          std::this_thread::yield();
        }
        order.Put(number, number, [&](size_t index, size_t thing) {
          EXPECT_EQ(++inside, 1);
          EXPECT_EQ(index, thing);
          taken.push_back(thing);
          --inside;
        });
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  ASSERT_EQ(taken.size(), kThings);
  EXPECT_TRUE(std::is_sorted(taken.begin(), taken.end()));
}

TEST(InOrder, AThreadCanWaitForItsTurn) {
  InOrder<int> order;
  const auto accept = [](size_t, int) {};
  std::thread late([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    order.Put(0, 0, accept);
    order.Put(1, 1, accept);
  });
  order.WaitFor(2, nullptr);
  EXPECT_EQ(order.Next(), 2U);
  late.join();
}

TEST(InOrder, AWaitIsCancelled) {
  InOrder<int> order;
  int asked = 0;
  EXPECT_THROW(order.WaitFor(1, [&] { return ++asked == 3; }), host::Cancelled);
}

TEST(InOrder, WhatFailsToBeAcceptedCounts) {
  InOrder<int> order;
  std::vector<int> taken;
  const auto accept = [&](size_t, int thing) {
    if (thing == 1) {
      throw std::runtime_error("no");
    }
    taken.push_back(thing);
  };
  order.Put(0, 0, accept);
  order.Put(2, 2, accept);
  EXPECT_THROW(order.Put(1, 1, accept), std::runtime_error);
  EXPECT_EQ(order.Next(), 2U);
  order.Put(3, 3, accept);
  EXPECT_EQ(taken, (std::vector<int>{0, 2, 3}));
}

}  // namespace
}  // namespace dibkit::tool
