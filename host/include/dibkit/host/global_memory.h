// SPDX-License-Identifier: Apache-2.0
//
// The embedded host's global memory, beside the six functions of dibkit/GlobalMemory.h that it
// implements: what is alive, and an owner for one block.
//
// Every function here and all six may be called from any thread. A handle is a number, not an
// address, and is not used again after its block was freed (on i386 only after all 2^28 numbers
// were): what was freed, or never was a handle, is told as invalid by GlobalFlags (exactly 0x8000),
// GlobalLock (null), GlobalSize (0) and GlobalFree (the handle).
// Blocks are always zero-filled and may have 0 bytes; such a block has an address when locked. More
// than 255 locks read as 255 in the low byte of GlobalFlags. GlobalUnlock answers 1 while locks are
// left and 0 otherwise, also for a block that was not locked.
#ifndef DIBKIT_HOST_GLOBAL_MEMORY_H
#define DIBKIT_HOST_GLOBAL_MEMORY_H

#include <cstdint>
#include <memory>

#include "dibkit/GlobalMemory.h"

namespace dibkit::host {

struct MemoryCounters {
  uint64_t liveBlocks;  // allocated and not freed
  uint64_t liveBytes;   // their sizes together
  uint64_t locks;       // their lock counts together
  uint64_t peakBytes;   // the largest liveBytes since the start or ResetPeakBytes
};

// The counters of the whole process, all read at one moment.
MemoryCounters ReadMemoryCounters();

// Makes the present liveBytes the peak.
void ResetPeakBytes();

struct ThreadTally;

// Follows the blocks that this thread allocates from its construction on, until they are freed by
// whatever thread: what one piece of work takes while others run. For the thread that made it; such
// objects may be nested.
class ThreadMemory {
 public:
  ThreadMemory();
  ThreadMemory(const ThreadMemory&) = delete;
  ThreadMemory& operator=(const ThreadMemory&) = delete;
  ~ThreadMemory();

  uint64_t LiveBytes() const;  // allocated since and not freed
  uint64_t PeakBytes() const;  // the largest LiveBytes since the construction or ResetPeak
  void ResetPeak();

 private:
  std::unique_ptr<ThreadTally> tally_;
};

struct BlockDeleter {
  void operator()(tagHANDLE* handle) const { GlobalFree(handle); }
};

// Owns one block and frees it.
using OwnedBlock = std::unique_ptr<tagHANDLE, BlockDeleter>;

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_GLOBAL_MEMORY_H
