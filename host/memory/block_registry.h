// SPDX-License-Identifier: Apache-2.0
//
// The live blocks of the process, behind one mutex.
#ifndef DIBKIT_HOST_MEMORY_BLOCK_REGISTRY_H
#define DIBKIT_HOST_MEMORY_BLOCK_REGISTRY_H

#include <cstdint>
#include <mutex>
#include <optional>
#include <span>
#include <unordered_map>
#include <vector>

#include "dibkit/host/global_memory.h"
#include "dibkit/host/left_behind.h"
#include "memory/zeroed_memory.h"

namespace dibkit::host {

// What a ThreadMemory has counted, of blocks of `thread` with a serial number of `since` or more.
struct ThreadTally {
  uint64_t thread = 0;
  uint64_t since = 0;
  uint64_t liveBytes = 0;
  uint64_t peakBytes = 0;
};

class BlockRegistry {
 public:
  // Never destroyed: libraries free blocks while they are unloaded, after the program's own
  // destructors.
  static BlockRegistry& Instance();

  tagHANDLE* Allocate(unsigned bytes);
  void* Lock(tagHANDLE* handle);
  // Locks that are left; 0 for an invalid handle.
  unsigned Unlock(tagHANDLE* handle);
  // False for an invalid handle.
  bool Free(tagHANDLE* handle);
  std::optional<BlockInfo> Find(tagHANDLE* handle);

  MemoryCounters Counters();
  void ResetPeak();

  // Counts into `tally`, for blocks that this thread allocates from now on, until StopTally.
  void StartTally(ThreadTally& tally);
  void StopTally(const ThreadTally& tally) noexcept;
  // A copy, read at one moment.
  ThreadTally ReadTally(const ThreadTally& tally);
  void ResetPeak(ThreadTally& tally);

  // The serial number that the next block will get.
  uint64_t NextSerial();
  // Blocks that this thread allocated with a serial number of `since` or more and that are not in
  // `kept`, oldest first.
  std::vector<BlockInfo> OwnedSince(uint64_t since, std::span<tagHANDLE* const> kept);
  size_t FreeOwnedSince(uint64_t since, std::span<tagHANDLE* const> kept) noexcept;

 private:
  struct Block {
    ZeroedMemory memory;
    unsigned bytes;
    unsigned locks;
    uint64_t serial;
    uint64_t thread;
  };
  using Blocks = std::unordered_map<tagHANDLE*, Block>;

  tagHANDLE* UnusedHandle();
  Blocks::iterator Remove(Blocks::iterator block);
  void CountIn(const Block& block);
  void CountOut(const Block& block);

  std::mutex mutex_;
  Blocks blocks_;
  uintptr_t lastHandle_ = 0;
  uint64_t nextSerial_ = 1;
  MemoryCounters counters_{};
  std::vector<ThreadTally*> tallies_;  // as many as there are pieces of work at a time: a few
};

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_MEMORY_BLOCK_REGISTRY_H
