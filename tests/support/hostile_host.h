// SPDX-License-Identifier: Apache-2.0
//
// The hostile host: the six global-memory functions as unkind as their contract allows.
//
// A block lies between two inaccessible pages. Normally its last byte is the last before the one
// behind it; PlaceBlocksAtStart puts its first byte right behind the one before it. What is left of
// the pages at the other side is filled with a pattern that is checked at every unlock and free. A
// block that nobody holds locked is inaccessible, and so is a freed one, whose addresses are not
// given out again for a long time. A handle is an address in an inaccessible range, never a
// block's.
//
// Misuse ends the process with a message: locking, unlocking, sizing or freeing a handle that is
// not a live block. Unlocking an unlocked block, freeing a locked one and allocating with other
// flags than GHND are counted. ArmFault makes the nth GlobalAlloc or GlobalLock fail.
#ifndef DIBKIT_TESTS_SUPPORT_HOSTILE_HOST_H
#define DIBKIT_TESTS_SUPPORT_HOSTILE_HOST_H

#include <cstddef>
#include <vector>

#include "GlobalMemory.h"

namespace dibtest {

struct HostCounters {
  size_t allocCalls;
  size_t lockCalls;
  size_t unlockCalls;
  size_t freeCalls;
  size_t sizeCalls;
  size_t flagsCalls;
  size_t failedAllocs;      // by a fault, by size or for want of address space
  size_t failedLocks;       // by a fault
  size_t nullFrees;         // GlobalFree of null, which is allowed
  size_t nullLocks;         // GlobalLock of null, which answers null
  size_t idleUnlocks;       // GlobalUnlock of a block that was not locked
  size_t lockedFrees;       // GlobalFree of a block that was locked
  size_t foreignFlags;      // GlobalAlloc with flags other than GHND
  unsigned lastAllocBytes;  // what the last GlobalAlloc asked for, given or not
  size_t liveBlocks;
  size_t lockedBlocks;
};

HostCounters ReadHost();

// Live blocks.
std::vector<tagHANDLE*> LiveBlocks();

bool IsLive(tagHANDLE* handle);
unsigned LockCount(tagHANDLE* handle);

// Frees every live block, locked or not, sets all counters to 0 and every setting to its default.
void ResetHost();

// Blocks above this size are refused. 512 MiB unless set.
void SetLargestBlock(unsigned bytes);

// Where blocks allocated from now on lie: right behind an inaccessible page instead of right
// before.
void PlaceBlocksAtStart(bool atStart);

// From now on a lock gives read access only: who writes to the block is stopped at the write.
void MakeReadOnly(tagHANDLE* handle);

// Bytes that the next GlobalAlloc results are filled with instead of zero; for tests that show what
// depends on the zero fill.
void FillBlocksWith(unsigned char value);

}  // namespace dibtest

#endif  // DIBKIT_TESTS_SUPPORT_HOSTILE_HOST_H
