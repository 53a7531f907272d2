// SPDX-License-Identifier: Apache-2.0
#include "memory/block_registry.h"

#include <algorithm>
#include <atomic>

namespace dibkit::host {
namespace {

// Handles keep a distance that makes a handle plus a small offset no handle.
constexpr uintptr_t kHandleStep = 16;

// Thread identifiers of the system are used again; these are not.
uint64_t ThisThread() {
  static std::atomic<uint64_t> last{0};
  thread_local const uint64_t number = ++last;
  return number;
}

bool Contains(std::span<tagHANDLE* const> handles, tagHANDLE* handle) {
  return std::find(handles.begin(), handles.end(), handle) != handles.end();
}

}  // namespace

BlockRegistry& BlockRegistry::Instance() {
  static auto* registry = new BlockRegistry;
  return *registry;
}

tagHANDLE* BlockRegistry::UnusedHandle() {
  tagHANDLE* handle = nullptr;
  do {
    lastHandle_ += kHandleStep;
    handle = reinterpret_cast<tagHANDLE*>(lastHandle_);  // NOLINT(performance-no-int-to-ptr)
  } while (handle == nullptr || blocks_.contains(handle));
  return handle;
}

tagHANDLE* BlockRegistry::Allocate(unsigned bytes) {
  ZeroedMemory memory(bytes);
  if (memory.Data() == nullptr) {
    return nullptr;
  }
  const uint64_t thread = ThisThread();
  const std::lock_guard guard(mutex_);
  tagHANDLE* handle = UnusedHandle();
  const auto entry =
      blocks_.emplace(handle, Block{std::move(memory), bytes, 0, nextSerial_, thread}).first;
  ++nextSerial_;
  CountIn(entry->second);
  return handle;
}

void BlockRegistry::CountIn(const Block& block) {
  ++counters_.liveBlocks;
  counters_.liveBytes += block.bytes;
  counters_.peakBytes = std::max(counters_.peakBytes, counters_.liveBytes);
  for (ThreadTally* tally : tallies_) {
    if (tally->thread == block.thread) {
      tally->liveBytes += block.bytes;
      tally->peakBytes = std::max(tally->peakBytes, tally->liveBytes);
    }
  }
}

void BlockRegistry::CountOut(const Block& block) {
  --counters_.liveBlocks;
  counters_.liveBytes -= block.bytes;
  counters_.locks -= block.locks;
  for (ThreadTally* tally : tallies_) {
    if (tally->thread == block.thread && block.serial >= tally->since) {
      tally->liveBytes -= block.bytes;
    }
  }
}

void* BlockRegistry::Lock(tagHANDLE* handle) {
  const std::lock_guard guard(mutex_);
  const auto block = blocks_.find(handle);
  if (block == blocks_.end()) {
    return nullptr;
  }
  ++block->second.locks;
  ++counters_.locks;
  return block->second.memory.Data();
}

unsigned BlockRegistry::Unlock(tagHANDLE* handle) {
  const std::lock_guard guard(mutex_);
  const auto block = blocks_.find(handle);
  if (block == blocks_.end() || block->second.locks == 0) {
    return 0;
  }
  --counters_.locks;
  return --block->second.locks;
}

BlockRegistry::Blocks::iterator BlockRegistry::Remove(Blocks::iterator block) {
  CountOut(block->second);
  return blocks_.erase(block);
}

bool BlockRegistry::Free(tagHANDLE* handle) {
  const std::lock_guard guard(mutex_);
  const auto block = blocks_.find(handle);
  if (block == blocks_.end()) {
    return false;
  }
  Remove(block);
  return true;
}

std::optional<BlockInfo> BlockRegistry::Find(tagHANDLE* handle) {
  const std::lock_guard guard(mutex_);
  const auto block = blocks_.find(handle);
  if (block == blocks_.end()) {
    return std::nullopt;
  }
  return BlockInfo{handle, block->second.bytes, block->second.locks};
}

MemoryCounters BlockRegistry::Counters() {
  const std::lock_guard guard(mutex_);
  return counters_;
}

void BlockRegistry::ResetPeak() {
  const std::lock_guard guard(mutex_);
  counters_.peakBytes = counters_.liveBytes;
}

void BlockRegistry::StartTally(ThreadTally& tally) {
  const uint64_t thread = ThisThread();
  const std::lock_guard guard(mutex_);
  tally = {thread, nextSerial_, 0, 0};
  tallies_.push_back(&tally);
}

void BlockRegistry::StopTally(const ThreadTally& tally) noexcept {
  const std::lock_guard guard(mutex_);
  tallies_.erase(std::find(tallies_.begin(), tallies_.end(), &tally));
}

ThreadTally BlockRegistry::ReadTally(const ThreadTally& tally) {
  const std::lock_guard guard(mutex_);
  return tally;
}

void BlockRegistry::ResetPeak(ThreadTally& tally) {
  const std::lock_guard guard(mutex_);
  tally.peakBytes = tally.liveBytes;
}

uint64_t BlockRegistry::NextSerial() {
  const std::lock_guard guard(mutex_);
  return nextSerial_;
}

std::vector<BlockInfo> BlockRegistry::OwnedSince(uint64_t since, std::span<tagHANDLE* const> kept) {
  std::vector<std::pair<uint64_t, BlockInfo>> found;
  const uint64_t thread = ThisThread();
  const std::lock_guard guard(mutex_);
  for (const auto& [handle, block] : blocks_) {
    if (block.thread == thread && block.serial >= since && !Contains(kept, handle)) {
      found.push_back({block.serial, {handle, block.bytes, block.locks}});
    }
  }
  std::sort(found.begin(), found.end(),
            [](const auto& a, const auto& b) { return a.first < b.first; });
  std::vector<BlockInfo> blocks;
  blocks.reserve(found.size());
  for (const auto& entry : found) {
    blocks.push_back(entry.second);
  }
  return blocks;
}

size_t BlockRegistry::FreeOwnedSince(uint64_t since, std::span<tagHANDLE* const> kept) noexcept {
  size_t freed = 0;
  const uint64_t thread = ThisThread();
  const std::lock_guard guard(mutex_);
  for (auto block = blocks_.begin(); block != blocks_.end();) {
    if (block->second.thread == thread && block->second.serial >= since &&
        !Contains(kept, block->first)) {
      block = Remove(block);
      ++freed;
    } else {
      ++block;
    }
  }
  return freed;
}

}  // namespace dibkit::host
