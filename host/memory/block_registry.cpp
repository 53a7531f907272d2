// SPDX-License-Identifier: Apache-2.0
#include "memory/block_registry.h"

#include <sys/mman.h>
#include <unistd.h>

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

// Large blocks are asked for in the system's large pages, where it has them: a page of an image is
// otherwise ten thousand faults, and they take as long as decoding a JPEG file. A wish only.
void PreferLargePages(unsigned char* data, unsigned bytes) {
#ifdef MADV_HUGEPAGE
  constexpr unsigned kWorthIt = 4U << 20;
  if (bytes < kWorthIt) {
    return;
  }
  const auto page = static_cast<uintptr_t>(sysconf(_SC_PAGESIZE));
  const auto address = reinterpret_cast<uintptr_t>(data);
  const size_t skipped = (page - address % page) % page;
  static_cast<void>(madvise(data + skipped, (bytes - skipped) / page * page, MADV_HUGEPAGE));
#endif
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
  // A block of no bytes has an address as well. calloc takes large blocks from the system as they
  // are, zero and untouched.
  std::unique_ptr<unsigned char, FreeBytes> data(
      static_cast<unsigned char*>(std::calloc(std::max(bytes, 1U), 1)));
  if (!data) {
    return nullptr;
  }
  PreferLargePages(data.get(), bytes);
  const uint64_t thread = ThisThread();
  const std::lock_guard guard(mutex_);
  tagHANDLE* handle = UnusedHandle();
  blocks_.emplace(handle, Block{std::move(data), bytes, 0, nextSerial_, thread});
  ++nextSerial_;
  ++counters_.liveBlocks;
  counters_.liveBytes += bytes;
  counters_.peakBytes = std::max(counters_.peakBytes, counters_.liveBytes);
  return handle;
}

void* BlockRegistry::Lock(tagHANDLE* handle) {
  const std::lock_guard guard(mutex_);
  const auto block = blocks_.find(handle);
  if (block == blocks_.end()) {
    return nullptr;
  }
  ++block->second.locks;
  ++counters_.locks;
  return block->second.data.get();
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
  --counters_.liveBlocks;
  counters_.liveBytes -= block->second.bytes;
  counters_.locks -= block->second.locks;
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
