// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <thread>
#include <vector>

#include "dibkit/host/global_memory.h"

namespace dibkit::host {
namespace {

TEST(GlobalMemory, BlocksAreZeroFilledAndKeepTheirBytes) {
  const OwnedBlock block(GlobalAlloc(GHND, 100'000));
  ASSERT_NE(block, nullptr);
  auto* bytes = static_cast<unsigned char*>(GlobalLock(block.get()));
  ASSERT_NE(bytes, nullptr);
  EXPECT_TRUE(std::all_of(bytes, bytes + 100'000, [](unsigned char byte) { return byte == 0; }));
  bytes[99'999] = 7;
  GlobalUnlock(block.get());
  EXPECT_EQ(static_cast<unsigned char*>(GlobalLock(block.get()))[99'999], 7);
}

TEST(GlobalMemory, ReusedMemoryIsZeroFilledToo) {
  for (int round = 0; round < 10; ++round) {
    const OwnedBlock block(GlobalAlloc(GHND, 64));
    auto* bytes = static_cast<unsigned char*>(GlobalLock(block.get()));
    EXPECT_TRUE(std::all_of(bytes, bytes + 64, [](unsigned char byte) { return byte == 0; }));
    std::memset(bytes, 0xFF, 64);
  }
}

TEST(GlobalMemory, CountsLocks) {
  const OwnedBlock block(GlobalAlloc(GHND, 10));
  EXPECT_EQ(GlobalFlags(block.get()), 0U);
  void* first = GlobalLock(block.get());
  void* second = GlobalLock(block.get());
  EXPECT_EQ(first, second);
  EXPECT_EQ(GlobalFlags(block.get()), 2U);
  EXPECT_EQ(GlobalUnlock(block.get()), 1);
  EXPECT_EQ(GlobalFlags(block.get()), 1U);
  EXPECT_EQ(GlobalUnlock(block.get()), 0);
  EXPECT_EQ(GlobalFlags(block.get()), 0U);
}

TEST(GlobalMemory, AnUnlockTooManyChangesNothing) {
  const OwnedBlock block(GlobalAlloc(GHND, 10));
  EXPECT_EQ(GlobalUnlock(block.get()), 0);
  GlobalLock(block.get());
  EXPECT_EQ(GlobalFlags(block.get()), 1U);
}

TEST(GlobalMemory, MoreLocksThanTheFlagWordCanTellAreStillCounted) {
  const OwnedBlock block(GlobalAlloc(GHND, 10));
  for (int i = 0; i < 300; ++i) {
    GlobalLock(block.get());
  }
  EXPECT_EQ(GlobalFlags(block.get()), 255U);
  int unlocks = 0;
  while ((GlobalFlags(block.get()) & GMEM_LOCKCOUNT) != 0) {
    GlobalUnlock(block.get());
    ++unlocks;
  }
  EXPECT_EQ(unlocks, 300);
}

TEST(GlobalMemory, TellsSizes) {
  const OwnedBlock block(GlobalAlloc(GHND, 12'345));
  EXPECT_EQ(GlobalSize(block.get()), 12'345U);
}

TEST(GlobalMemory, AnEmptyBlockIsValidAndHasAnAddress) {
  const OwnedBlock block(GlobalAlloc(GHND, 0));
  ASSERT_NE(block, nullptr);
  EXPECT_EQ(GlobalSize(block.get()), 0U);
  EXPECT_EQ(GlobalFlags(block.get()), 0U);
  EXPECT_NE(GlobalLock(block.get()), nullptr);
}

void ExpectInvalid(tagHANDLE* handle) {
  EXPECT_EQ(GlobalFlags(handle), 0x8000U);
  EXPECT_EQ(GlobalLock(handle), nullptr);
  EXPECT_EQ(GlobalUnlock(handle), 0);
  EXPECT_EQ(GlobalSize(handle), 0U);
}

#if !defined(__SANITIZE_ADDRESS__)
[[noreturn]] void ExitWithAllocationInLittleMemory() {
  const rlimit limit{256U << 20, 256U << 20};
  setrlimit(RLIMIT_AS, &limit);
  const bool refused = GlobalAlloc(GHND, 0xFFFFFFFF) == nullptr;
  const bool counted = ReadMemoryCounters().liveBytes >= 0xFFFFFFFF;
  OwnedBlock small(GlobalAlloc(GHND, 1000));
  std::exit(refused && !counted && small != nullptr ? 0 : 1);
}

TEST(GlobalMemory, NoMemoryIsANullHandle) {
  EXPECT_EXIT(ExitWithAllocationInLittleMemory(), testing::ExitedWithCode(0), "");
}
#endif

TEST(GlobalMemory, FreedHandlesStayInvalidAlsoAfterNewAllocations) {
  tagHANDLE* handle = GlobalAlloc(GHND, 50);
  EXPECT_EQ(GlobalFree(handle), nullptr);
  std::vector<OwnedBlock> others;
  for (int i = 0; i < 100; ++i) {
    others.emplace_back(GlobalAlloc(GHND, 50));
    EXPECT_NE(others.back().get(), handle);
  }
  ExpectInvalid(handle);
  EXPECT_EQ(GlobalFree(handle), handle);
}

TEST(GlobalMemory, ForeignHandlesAreInvalid) {
  int elsewhere = 0;
  ExpectInvalid(reinterpret_cast<tagHANDLE*>(&elsewhere));
  ExpectInvalid(nullptr);
}

TEST(GlobalMemory, FreeingNullIsHarmless) {
  const MemoryCounters before = ReadMemoryCounters();
  EXPECT_EQ(GlobalFree(nullptr), nullptr);
  EXPECT_EQ(ReadMemoryCounters().liveBlocks, before.liveBlocks);
}

TEST(GlobalMemory, CountersFollowBlocksBytesAndLocks) {
  const MemoryCounters before = ReadMemoryCounters();
  tagHANDLE* first = GlobalAlloc(GHND, 1000);
  tagHANDLE* second = GlobalAlloc(GHND, 234);
  GlobalLock(first);
  GlobalLock(first);
  GlobalLock(second);
  MemoryCounters now = ReadMemoryCounters();
  EXPECT_EQ(now.liveBlocks - before.liveBlocks, 2U);
  EXPECT_EQ(now.liveBytes - before.liveBytes, 1234U);
  EXPECT_EQ(now.locks - before.locks, 3U);
  GlobalUnlock(second);
  GlobalFree(first);
  now = ReadMemoryCounters();
  EXPECT_EQ(now.liveBlocks - before.liveBlocks, 1U);
  EXPECT_EQ(now.liveBytes - before.liveBytes, 234U);
  EXPECT_EQ(now.locks, before.locks);
  GlobalFree(second);
}

TEST(GlobalMemory, PeakIsKeptUntilItIsReset) {
  ResetPeakBytes();
  const uint64_t before = ReadMemoryCounters().peakBytes;
  GlobalFree(GlobalAlloc(GHND, 5000));
  GlobalFree(GlobalAlloc(GHND, 100));
  EXPECT_EQ(ReadMemoryCounters().peakBytes - before, 5000U);
  ResetPeakBytes();
  EXPECT_EQ(ReadMemoryCounters().peakBytes, before);
}

TEST(ThreadMemory, CountsWhatItsThreadAllocatesFromItsConstructionOn) {
  const OwnedBlock before(GlobalAlloc(GHND, 7000));
  ThreadMemory memory;
  EXPECT_EQ(memory.LiveBytes(), 0U);
  OwnedBlock first(GlobalAlloc(GHND, 1000));
  OwnedBlock second(GlobalAlloc(GHND, 500));
  EXPECT_EQ(memory.LiveBytes(), 1500U);
  first.reset();
  EXPECT_EQ(memory.LiveBytes(), 500U);
  EXPECT_EQ(memory.PeakBytes(), 1500U);
  memory.ResetPeak();
  EXPECT_EQ(memory.PeakBytes(), 500U);
}

TEST(ThreadMemory, OlderBlocksAreNoneOfItsBusiness) {
  OwnedBlock before(GlobalAlloc(GHND, 7000));
  const ThreadMemory memory;
  const OwnedBlock block(GlobalAlloc(GHND, 1000));
  before.reset();
  EXPECT_EQ(memory.LiveBytes(), 1000U);
  EXPECT_EQ(memory.PeakBytes(), 1000U);
}

TEST(ThreadMemory, MayBeNested) {
  const ThreadMemory outer;
  const OwnedBlock first(GlobalAlloc(GHND, 1000));
  {
    const ThreadMemory inner;
    const OwnedBlock second(GlobalAlloc(GHND, 200));
    EXPECT_EQ(inner.PeakBytes(), 200U);
    EXPECT_EQ(outer.LiveBytes(), 1200U);
  }
  EXPECT_EQ(outer.LiveBytes(), 1000U);
  EXPECT_EQ(outer.PeakBytes(), 1200U);
}

TEST(ThreadMemory, OtherThreadsFreeItsBlocksAndAddNone) {
  const ThreadMemory memory;
  OwnedBlock block(GlobalAlloc(GHND, 1000));
  OwnedBlock other;
  uint64_t peakOfOther = 0;
  std::thread([&] {
    const ThreadMemory own;
    other.reset(GlobalAlloc(GHND, 300));
    block.reset();
    peakOfOther = own.PeakBytes();
  }).join();
  EXPECT_EQ(memory.LiveBytes(), 0U);
  EXPECT_EQ(memory.PeakBytes(), 1000U);
  EXPECT_EQ(peakOfOther, 300U);
}

TEST(ThreadMemory, BlocksMayOutliveIt) {
  OwnedBlock block;
  {
    const ThreadMemory memory;
    block.reset(GlobalAlloc(GHND, 1000));
  }
  const ThreadMemory memory;
  block.reset();
  EXPECT_EQ(memory.LiveBytes(), 0U);
}

TEST(ThreadMemory, SeveralThreadsEachCountTheirOwn) {
  std::atomic<int> wrong{0};
  std::vector<std::thread> threads;
  for (unsigned t = 1; t <= 4; ++t) {
    threads.emplace_back([&wrong, t] {
      for (unsigned i = 0; i < 500; ++i) {
        const ThreadMemory memory;
        { const OwnedBlock large(GlobalAlloc(GHND, 1000 * t)); }
        const OwnedBlock small(GlobalAlloc(GHND, t));
        wrong += memory.PeakBytes() == 1000 * t && memory.LiveBytes() == t ? 0 : 1;
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(wrong, 0);
}

TEST(GlobalMemory, ThreadsMayAllocateLockAndFreeAtOnce) {
  constexpr int kThreads = 4;
  constexpr unsigned kRounds = 2000;
  const MemoryCounters before = ReadMemoryCounters();
  std::atomic<int> wrong{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&wrong] {
      for (unsigned i = 0; i < kRounds; ++i) {
        tagHANDLE* handle = GlobalAlloc(GHND, i);
        void* bytes = GlobalLock(handle);
        const bool sound = bytes != nullptr && GlobalSize(handle) == i && GlobalFlags(handle) == 1;
        GlobalUnlock(handle);
        wrong += sound && GlobalFree(handle) == nullptr ? 0 : 1;
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(wrong, 0);
  EXPECT_EQ(ReadMemoryCounters().liveBlocks, before.liveBlocks);
  EXPECT_EQ(ReadMemoryCounters().liveBytes, before.liveBytes);
  EXPECT_EQ(ReadMemoryCounters().locks, before.locks);
}

}  // namespace
}  // namespace dibkit::host
