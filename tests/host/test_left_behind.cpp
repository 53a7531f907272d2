// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <thread>

#include "dibkit/host/global_memory.h"
#include "dibkit/host/left_behind.h"

namespace dibkit::host {
namespace {

bool IsLive(tagHANDLE* handle) { return GlobalFlags(handle) != GMEM_INVALID_HANDLE; }

TEST(LeftBehind, FreesWhatIsLeftWhateverLocksItCarries) {
  tagHANDLE* plain = nullptr;
  tagHANDLE* locked = nullptr;
  const MemoryCounters before = ReadMemoryCounters();
  {
    const LeftBehind scope;
    plain = GlobalAlloc(GHND, 10);
    locked = GlobalAlloc(GHND, 20);
    GlobalLock(locked);
    EXPECT_TRUE(IsLive(plain));
  }
  EXPECT_FALSE(IsLive(plain));
  EXPECT_FALSE(IsLive(locked));
  EXPECT_EQ(ReadMemoryCounters().locks, before.locks);
  EXPECT_EQ(ReadMemoryCounters().liveBytes, before.liveBytes);
}

TEST(LeftBehind, TellsTheBlocksOldestFirst) {
  LeftBehind scope;
  tagHANDLE* first = GlobalAlloc(GHND, 10);
  GlobalFree(GlobalAlloc(GHND, 15));
  tagHANDLE* second = GlobalAlloc(GHND, 20);
  GlobalLock(second);
  const auto blocks = scope.Blocks();
  ASSERT_EQ(blocks.size(), 2U);
  EXPECT_EQ(blocks[0].handle, first);
  EXPECT_EQ(blocks[0].bytes, 10U);
  EXPECT_EQ(blocks[0].locks, 0U);
  EXPECT_EQ(blocks[1].handle, second);
  EXPECT_EQ(blocks[1].bytes, 20U);
  EXPECT_EQ(blocks[1].locks, 1U);
  EXPECT_EQ(scope.Reclaim(), 2U);
  EXPECT_TRUE(scope.Blocks().empty());
  EXPECT_EQ(scope.Reclaim(), 0U);
}

TEST(LeftBehind, LeavesKeptAndEarlierBlocks) {
  const OwnedBlock earlier(GlobalAlloc(GHND, 10));
  OwnedBlock kept;
  tagHANDLE* left = nullptr;
  {
    LeftBehind scope;
    kept.reset(GlobalAlloc(GHND, 10));
    left = GlobalAlloc(GHND, 10);
    scope.Keep(kept.get());
    scope.Keep(nullptr);
    EXPECT_EQ(scope.Blocks().size(), 1U);
  }
  EXPECT_TRUE(IsLive(earlier.get()));
  EXPECT_TRUE(IsLive(kept.get()));
  EXPECT_FALSE(IsLive(left));
}

TEST(LeftBehind, LeavesBlocksOfOtherThreads) {
  OwnedBlock foreign;
  {
    const LeftBehind scope;
    std::thread([&foreign] { foreign.reset(GlobalAlloc(GHND, 10)); }).join();
    EXPECT_TRUE(scope.Blocks().empty());
  }
  EXPECT_TRUE(IsLive(foreign.get()));
}

TEST(LeftBehind, OneThreadsScopeDoesNotSeeALaterThreadWithTheSameSystemNumber) {
  OwnedBlock first;
  size_t seen = 1;
  std::thread([&first] { first.reset(GlobalAlloc(GHND, 10)); }).join();
  std::thread([&seen] { seen = LeftBehind().Blocks().size(); }).join();
  EXPECT_EQ(seen, 0U);
}

TEST(LeftBehind, WhatAnInnerScopeKeptTheOuterOneStillFinds) {
  LeftBehind outer;
  tagHANDLE* kept = nullptr;
  {
    LeftBehind inner;
    kept = GlobalAlloc(GHND, 10);
    GlobalAlloc(GHND, 10);
    inner.Keep(kept);
  }
  const auto blocks = outer.Blocks();
  ASSERT_EQ(blocks.size(), 1U);
  EXPECT_EQ(blocks[0].handle, kept);
}

}  // namespace
}  // namespace dibkit::host
