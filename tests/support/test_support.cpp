// SPDX-License-Identifier: Apache-2.0
//
// The instruments are tested before they judge.
#include <cstring>
#include <memory>
#include <new>

#include "support/dib.h"
#include "support/guarded_bytes.h"
#include "support/host_test.h"

namespace dibtest {
namespace {

using HostileHost = HostTest;
using HostileHostDeathTest = HostTest;

TEST_F(HostileHost, BlockIsZeroAndOfTheSizeAskedFor) {
  for (const unsigned size : {1u, 3u, 4095u, 4096u, 4097u, 100000u}) {
    tagHANDLE* handle = GlobalAlloc(GHND, size);
    EXPECT_EQ(GlobalSize(handle), size);
    EXPECT_EQ(GlobalFlags(handle), 0u);
    EXPECT_EQ(BytesOf(handle), std::vector<uint8_t>(size, 0));
    GlobalFree(handle);
  }
}

TEST_F(HostileHost, CountsLocks) {
  tagHANDLE* handle = GlobalAlloc(GHND, 10);
  void* first = GlobalLock(handle);
  EXPECT_EQ(GlobalLock(handle), first);
  EXPECT_EQ(GlobalFlags(handle), 2u);
  EXPECT_EQ(ReadHost().lockedBlocks, 1u);
  GlobalUnlock(handle);
  GlobalUnlock(handle);
  EXPECT_EQ(GlobalFlags(handle), 0u);
  EXPECT_EQ(ReadHost().lockedBlocks, 0u);
  GlobalUnlock(handle);
  EXPECT_EQ(ReadHost().idleUnlocks, 1u);
  m_allowedIdleUnlocks = 1;
  GlobalFree(handle);
}

TEST_F(HostileHost, FlagsOfWhatIsNoBlockAreInvalid) {
  tagHANDLE* handle = GlobalAlloc(GHND, 10);
  GlobalFree(handle);
  EXPECT_EQ(GlobalFlags(handle), 0x8000u);
  EXPECT_EQ(GlobalFlags(nullptr), 0x8000u);
  int local = 0;
  EXPECT_EQ(GlobalFlags(reinterpret_cast<tagHANDLE*>(&local)), 0x8000u);
}

TEST_F(HostileHost, RecordsForeignFlags) {
  GlobalFree(GlobalAlloc(0x40, 10));
  EXPECT_EQ(ReadHost().foreignFlags, 1u);
  ResetHost();
}

TEST_F(HostileHost, FailsTheChosenAllocationAndLock) {
  ArmFault(Fault::kGlobalAlloc, 2);
  tagHANDLE* first = GlobalAlloc(GHND, 1);
  EXPECT_NE(first, nullptr);
  EXPECT_EQ(GlobalAlloc(GHND, 1), nullptr);
  tagHANDLE* third = GlobalAlloc(GHND, 1);
  EXPECT_NE(third, nullptr);
  EXPECT_TRUE(DisarmFault(Fault::kGlobalAlloc));

  ArmFault(Fault::kGlobalLock, 1);
  EXPECT_EQ(GlobalLock(first), nullptr);
  EXPECT_EQ(LockCount(first), 0u);
  EXPECT_TRUE(DisarmFault(Fault::kGlobalLock));
  GlobalFree(first);
  GlobalFree(third);
}

TEST_F(HostileHost, FailEachRunsUntilNothingFails) {
  unsigned runs = 0;
  const unsigned faults = FailEach(Fault::kNew, [&](FaultRun& run) {
    ++runs;
    const int made = run.Call([] {
      int count = 0;
      for (int i = 0; i != 3; ++i) {
        const std::unique_ptr<int> p(new (std::nothrow) int(i));
        if (p != nullptr) ++count;
      }
      return count;
    });
    EXPECT_EQ(made, run.Met() ? 2 : 3);
  });
  EXPECT_EQ(faults, 3u);
  EXPECT_EQ(runs, 4u);
}

TEST_F(HostileHost, RefusesWhatIsTooLarge) {
  SetLargestBlock(100);
  EXPECT_EQ(GlobalAlloc(GHND, 101), nullptr);
  EXPECT_EQ(ReadHost().lastAllocBytes, 101u);
  GlobalFree(GlobalAlloc(GHND, 100));
}

unsigned char* LockedBlock(unsigned size, bool atStart) {
  PlaceBlocksAtStart(atStart);
  return static_cast<unsigned char*>(GlobalLock(GlobalAlloc(GHND, size)));
}

volatile unsigned char sink;

TEST_F(HostileHostDeathTest, StopsAtTheByteBehindTheBlock) {
  EXPECT_DEATH(sink = LockedBlock(10, false)[10], "");
  EXPECT_DEATH(LockedBlock(4096, false)[4096] = 1, "");
}

TEST_F(HostileHostDeathTest, StopsAtTheByteBeforeTheBlock) {
  EXPECT_DEATH(sink = LockedBlock(10, true)[-1], "");
  EXPECT_DEATH(LockedBlock(4096, false)[-1] = 1, "");
}

TEST_F(HostileHostDeathTest, TellsOfAWriteIntoTheSlack) {
  EXPECT_DEATH(
      {
        tagHANDLE* handle = GlobalAlloc(GHND, 10);
        static_cast<unsigned char*>(GlobalLock(handle))[-1] = 0;
        GlobalUnlock(handle);
      },
      "byte -1 of a block of 10 bytes was written");
}

TEST_F(HostileHostDeathTest, StopsTheUseOfAnUnlockedOrFreedBlock) {
  EXPECT_DEATH(
      {
        tagHANDLE* handle = GlobalAlloc(GHND, 10);
        unsigned char* data = static_cast<unsigned char*>(GlobalLock(handle));
        GlobalUnlock(handle);
        sink = data[0];
      },
      "");
  EXPECT_DEATH(
      {
        tagHANDLE* handle = GlobalAlloc(GHND, 10);
        unsigned char* data = static_cast<unsigned char*>(GlobalLock(handle));
        GlobalFree(handle);
        sink = data[0];
      },
      "");
}

TEST_F(HostileHostDeathTest, StopsAWriteToAReadOnlyBlock) {
  EXPECT_DEATH(
      {
        tagHANDLE* handle = GlobalAlloc(GHND, 10);
        MakeReadOnly(handle);
        static_cast<unsigned char*>(GlobalLock(handle))[0] = 1;
      },
      "");
}

TEST_F(HostileHostDeathTest, EndsOnMisuseOfAHandle) {
  tagHANDLE* handle = GlobalAlloc(GHND, 10);
  GlobalFree(handle);
  EXPECT_DEATH(GlobalLock(handle), "GlobalLock of .* not a live block");
  EXPECT_DEATH(GlobalUnlock(handle), "GlobalUnlock of .* not a live block");
  EXPECT_DEATH(GlobalFree(handle), "GlobalFree of .* not a live block");
  EXPECT_DEATH(GlobalSize(handle), "GlobalSize of .* not a live block");
}

TEST(GuardedBytesDeathTest, StopsBeyondEachSide) {
  GuardedBytes end(5, GuardSide::kEnd);
  GuardedBytes start(5, GuardSide::kStart);
  end[4] = 1;
  start[0] = 1;
  EXPECT_DEATH(sink = end.data()[5], "");
  EXPECT_DEATH(sink = start.data()[-1], "");
  end.MakeReadOnly();
  EXPECT_DEATH(end[0] = 1, "");
}

TEST(DibBuilder, PixelsComeBack) {
  Random random(1);
  for (const uint16_t bits : std::initializer_list<uint16_t>{1, 4, 8, 16, 24, 32}) {
    Dib dib({.width = 13, .height = 3, .bits = bits});
    dib.FillRandom(random);
    const uint32_t mask = bits == 32 ? ~0u : (1u << bits) - 1;
    for (size_t y = 0; y != 3; ++y) {
      for (size_t x = 0; x != 13; ++x) {
        const uint32_t value = random.Next() & mask;
        dib.SetPixel(x, y, value);
        EXPECT_EQ(dib.Pixel(x, y), value);
      }
    }
  }
}

}  // namespace
}  // namespace dibtest
