// SPDX-License-Identifier: Apache-2.0
#include <type_traits>

#include "AutoClass.h"
#include "support/host_test.h"

namespace dibtest {
namespace {

static_assert(!std::is_default_constructible_v<CHandle>);
static_assert(std::has_virtual_destructor_v<CHandle>);

class Handle : public HostTest {
 protected:
  // Blocks whose sizes suit every pointer type.
  static tagHANDLE* NewBlock() { return GlobalAlloc(GHND, 64); }

  static tagHANDLE* LockedBlock(unsigned locks) {
    tagHANDLE* handle = NewBlock();
    for (unsigned i = 0; i != locks; ++i) GlobalLock(handle);
    return handle;
  }

  static void ExpectEmpty(CHandle& wrapper) {
    EXPECT_TRUE(wrapper.IsEmpty());
    EXPECT_EQ(wrapper.m_hHandle, nullptr);
    EXPECT_EQ(wrapper.m_pData, nullptr);
    EXPECT_FALSE(wrapper.m_bLocked);
  }
};

TEST_F(Handle, NullGivesAnEmptyWrapperWithoutAskingTheHost) {
  CHandle wrapper(nullptr);
  ExpectEmpty(wrapper);
  EXPECT_EQ(wrapper.Lock(), nullptr);
  EXPECT_EQ(wrapper.GetHandle(), nullptr);
  EXPECT_EQ(ReadHost().lockCalls, 0u);
}

TEST_F(Handle, InvalidHandleGivesAnEmptyWrapper) {
  tagHANDLE* freed = NewBlock();
  GlobalFree(freed);
  CHandle wrapper(freed);
  ExpectEmpty(wrapper);
}

TEST_F(Handle, AdoptingDrivesTheLockCountToZero) {
  for (const unsigned locks : {0u, 1u, 3u, 255u}) {
    tagHANDLE* handle = LockedBlock(locks);
    CHandle wrapper(handle);
    EXPECT_EQ(LockCount(handle), 0u);
    EXPECT_FALSE(wrapper.IsEmpty());
    EXPECT_EQ(wrapper.m_hHandle, handle);
    EXPECT_EQ(wrapper.m_pData, nullptr);
    EXPECT_FALSE(wrapper.m_bLocked);
  }
}

TEST_F(Handle, DestructorFreesTheBlock) {
  tagHANDLE* handle = NewBlock();
  { CHandle wrapper(handle); }
  EXPECT_FALSE(IsLive(handle));
}

TEST_F(Handle, DestructorUnlocksWhatTheWrapperHolds) {
  tagHANDLE* handle = NewBlock();
  {
    CHandle wrapper(handle);
    wrapper.Lock();
  }
  EXPECT_FALSE(IsLive(handle));
  EXPECT_EQ(ReadHost().lockedFrees, 0u);
}

TEST_F(Handle, LocksOnceAndAnswersTheSameAddress) {
  tagHANDLE* handle = NewBlock();
  CHandle wrapper(handle);
  unsigned char* first = wrapper;
  unsigned char* second = wrapper;
  EXPECT_NE(first, nullptr);
  EXPECT_EQ(first, second);
  EXPECT_EQ(wrapper.Lock(), first);
  EXPECT_EQ(ReadHost().lockCalls, 1u);
  EXPECT_EQ(LockCount(handle), 1u);
  EXPECT_TRUE(wrapper.m_bLocked);
  EXPECT_EQ(wrapper.m_pData, first);
  wrapper.UnLock();
  EXPECT_EQ(LockCount(handle), 0u);
  EXPECT_FALSE(wrapper.m_bLocked);
  EXPECT_EQ(wrapper.m_pData, nullptr);
}

TEST_F(Handle, EveryTypedPointerIsTheBlocksAddress) {
  CHandle wrapper(NewBlock());
  const void* address = wrapper.Lock();
  EXPECT_EQ(static_cast<unsigned long*>(wrapper), address);
  EXPECT_EQ(static_cast<unsigned int*>(wrapper), address);
  EXPECT_EQ(static_cast<unsigned short*>(wrapper), address);
  EXPECT_EQ(static_cast<unsigned char*>(wrapper), address);
  EXPECT_EQ(static_cast<long*>(wrapper), address);
  EXPECT_EQ(static_cast<int*>(wrapper), address);
  EXPECT_EQ(static_cast<short*>(wrapper), address);
  EXPECT_EQ(static_cast<char*>(wrapper), address);
  EXPECT_EQ(ReadHost().lockCalls, 1u);
}

template <typename T>
void ExpectLocks(CHandle& wrapper) {
  wrapper.UnLock();
  T* pointer = wrapper;
  EXPECT_NE(pointer, nullptr);
  EXPECT_TRUE(wrapper.m_bLocked);
}

TEST_F(Handle, EveryTypedPointerLocks) {
  CHandle wrapper(NewBlock());
  ExpectLocks<unsigned long>(wrapper);
  ExpectLocks<unsigned int>(wrapper);
  ExpectLocks<unsigned short>(wrapper);
  ExpectLocks<unsigned char>(wrapper);
  ExpectLocks<long>(wrapper);
  ExpectLocks<int>(wrapper);
  ExpectLocks<short>(wrapper);
  ExpectLocks<char>(wrapper);
  EXPECT_EQ(ReadHost().lockCalls, 8u);
}

TEST_F(Handle, IndexLocksAndIsAWritableByteOffset) {
  CHandle wrapper(NewBlock());
  wrapper[0] = 7;
  wrapper[63] = 9;
  EXPECT_TRUE(wrapper.m_bLocked);
  const unsigned char* bytes = wrapper;
  EXPECT_EQ(bytes[0], 7);
  EXPECT_EQ(bytes[63], 9);
}

TEST_F(Handle, FailedLockAnswersNullAndReleasesTheLocksOfOthers) {
  tagHANDLE* handle = NewBlock();
  CHandle wrapper(handle);
  GlobalLock(handle);
  GlobalLock(handle);
  ArmFault(Fault::kGlobalLock, 1);
  EXPECT_EQ(wrapper.Lock(), nullptr);
  EXPECT_TRUE(DisarmFault(Fault::kGlobalLock));
  EXPECT_EQ(LockCount(handle), 0u);
  EXPECT_FALSE(wrapper.m_bLocked);
  EXPECT_EQ(wrapper.m_pData, nullptr);
  EXPECT_FALSE(wrapper.IsEmpty());
  EXPECT_NE(wrapper.Lock(), nullptr) << "the next lock may succeed";
}

TEST_F(Handle, EveryTypedPointerIsNullWhenTheLockFails) {
  CHandle wrapper(NewBlock());
  ArmFault(Fault::kGlobalLock, 1, FaultSpan::kFromThenOn);
  EXPECT_EQ(static_cast<unsigned long*>(wrapper), nullptr);
  EXPECT_EQ(static_cast<unsigned int*>(wrapper), nullptr);
  EXPECT_EQ(static_cast<unsigned short*>(wrapper), nullptr);
  EXPECT_EQ(static_cast<unsigned char*>(wrapper), nullptr);
  EXPECT_EQ(static_cast<long*>(wrapper), nullptr);
  EXPECT_EQ(static_cast<int*>(wrapper), nullptr);
  EXPECT_EQ(static_cast<short*>(wrapper), nullptr);
  EXPECT_EQ(static_cast<char*>(wrapper), nullptr);
  DisarmFault(Fault::kGlobalLock);
}

TEST_F(Handle, UnLockReleasesTheLocksOfOthersToo) {
  tagHANDLE* handle = NewBlock();
  CHandle wrapper(handle);
  wrapper.Lock();
  GlobalLock(handle);
  GlobalLock(handle);
  wrapper.UnLock();
  EXPECT_EQ(LockCount(handle), 0u);
}

TEST_F(Handle, UnLockOfAnUnlockedWrapperLeavesTheLocksOfOthers) {
  tagHANDLE* handle = NewBlock();
  CHandle wrapper(handle);
  GlobalLock(handle);
  wrapper.UnLock();
  wrapper.UnLock();
  EXPECT_EQ(LockCount(handle), 1u);
  GlobalUnlock(handle);
}

TEST_F(Handle, FreeLeavesTheLocksOfOthersWhenTheWrapperHoldsNone) {
  tagHANDLE* handle = NewBlock();
  CHandle wrapper(handle);
  GlobalLock(handle);
  wrapper.Free();
  EXPECT_FALSE(IsLive(handle));
  EXPECT_EQ(ReadHost().unlockCalls, 0u);
  EXPECT_EQ(ReadHost().lockedFrees, 1u);
  ExpectEmpty(wrapper);
}

TEST_F(Handle, FreeUnlocksToZeroWhenTheWrapperHoldsALock) {
  tagHANDLE* handle = NewBlock();
  CHandle wrapper(handle);
  wrapper.Lock();
  GlobalLock(handle);
  wrapper.Free();
  EXPECT_EQ(ReadHost().unlockCalls, 2u);
  EXPECT_EQ(ReadHost().lockedFrees, 0u);
  ExpectEmpty(wrapper);
}

TEST_F(Handle, FreeAndCleanupMayBeCalledAnyNumberOfTimes) {
  CHandle wrapper(NewBlock());
  wrapper.Cleanup();
  ExpectEmpty(wrapper);
  wrapper.Cleanup();
  wrapper.Free();
  wrapper.UnLock();
  ExpectEmpty(wrapper);
  EXPECT_EQ(ReadHost().freeCalls, 1u);
}

TEST_F(Handle, GetHandleLeavesTheLockInPlace) {
  tagHANDLE* handle = NewBlock();
  CHandle wrapper(handle);
  wrapper.Lock();
  EXPECT_EQ(wrapper.GetHandle(), handle);
  ExpectEmpty(wrapper);
  EXPECT_EQ(LockCount(handle), 1u);
  GlobalUnlock(handle);
  GlobalFree(handle);
}

TEST_F(Handle, DetachNeitherUnlocksNorFrees) {
  tagHANDLE* handle = NewBlock();
  CHandle wrapper(handle);
  wrapper.Lock();
  wrapper.Detach();
  ExpectEmpty(wrapper);
  EXPECT_TRUE(IsLive(handle));
  EXPECT_EQ(LockCount(handle), 1u);
  GlobalUnlock(handle);
  GlobalFree(handle);
}

TEST_F(Handle, SetHandleFreesTheOldBlockAndTakesTheNewOneAsItIs) {
  tagHANDLE* old = NewBlock();
  tagHANDLE* locked = LockedBlock(2);
  CHandle wrapper(old);
  wrapper.Lock();
  const size_t flagsCalls = ReadHost().flagsCalls;
  wrapper.UnLock();
  const size_t flagsOfUnlock = ReadHost().flagsCalls - flagsCalls;
  EXPECT_GT(flagsOfUnlock, 0u);
  const size_t before = ReadHost().flagsCalls;
  wrapper.SetHandle(locked);
  EXPECT_EQ(ReadHost().flagsCalls, before) << "the new handle must not be looked at";
  EXPECT_FALSE(IsLive(old));
  EXPECT_EQ(LockCount(locked), 2u);
  EXPECT_EQ(wrapper.m_hHandle, locked);
  EXPECT_EQ(wrapper.m_pData, nullptr);
  EXPECT_FALSE(wrapper.m_bLocked);
}

TEST_F(Handle, SetHandleUnlocksAHeldBlockBeforeFreeingIt) {
  tagHANDLE* old = NewBlock();
  CHandle wrapper(old);
  wrapper.Lock();
  wrapper.SetHandle(NewBlock());
  EXPECT_FALSE(IsLive(old));
  EXPECT_EQ(ReadHost().lockedFrees, 0u);
  EXPECT_FALSE(wrapper.m_bLocked);
}

TEST_F(Handle, SetHandleNullEmptiesAfterFreeing) {
  tagHANDLE* old = NewBlock();
  CHandle wrapper(old);
  wrapper.SetHandle(nullptr);
  EXPECT_FALSE(IsLive(old));
  ExpectEmpty(wrapper);
}

TEST_F(Handle, SetHandleTakesEvenAnInvalidHandle) {
  tagHANDLE* freed = NewBlock();
  GlobalFree(freed);
  CHandle wrapper(nullptr);
  wrapper.SetHandle(freed);
  EXPECT_FALSE(wrapper.IsEmpty());
  wrapper.Detach();
}

TEST_F(Handle, AssignmentCopiesTheFieldsAndFreesNothing) {
  tagHANDLE* mine = NewBlock();
  tagHANDLE* theirs = NewBlock();
  CHandle a(mine);
  CHandle b(theirs);
  b.Lock();
  EXPECT_EQ(&(a = b), &a);
  EXPECT_EQ(a.m_hHandle, theirs);
  EXPECT_EQ(a.m_pData, b.m_pData);
  EXPECT_TRUE(a.m_bLocked);
  EXPECT_EQ(b.m_hHandle, theirs) << "the source is not emptied";
  EXPECT_TRUE(b.m_bLocked);
  EXPECT_TRUE(IsLive(mine)) << "what was held so far is not freed";
  EXPECT_EQ(LockCount(theirs), 1u);
  b.Detach();
  GlobalFree(mine);
}

TEST_F(Handle, IsEmptyLooksAtNothingButTheHandle) {
  CHandle wrapper(NewBlock());
  EXPECT_FALSE(wrapper.IsEmpty());
  wrapper.Lock();
  EXPECT_FALSE(wrapper.IsEmpty());
  wrapper.UnLock();
  EXPECT_FALSE(wrapper.IsEmpty());
  EXPECT_EQ(wrapper.m_pData, nullptr);
}

TEST_F(Handle, TheUsualLifeHandsTheFilledBlockOver) {
  tagHANDLE* handle = nullptr;
  {
    CHandle wrapper(NewBlock());
    ASSERT_FALSE(wrapper.IsEmpty());
    unsigned char* bytes = wrapper;
    bytes[5] = 42;
    wrapper.UnLock();
    handle = wrapper.GetHandle();
  }
  ASSERT_TRUE(IsLive(handle));
  EXPECT_EQ(LockCount(handle), 0u);
  EXPECT_EQ(static_cast<unsigned char*>(GlobalLock(handle))[5], 42);
  GlobalUnlock(handle);
  GlobalFree(handle);
}

}  // namespace
}  // namespace dibtest
