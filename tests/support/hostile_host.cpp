// SPDX-License-Identifier: Apache-2.0
#include "support/hostile_host.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>

#include "support/fault.h"

namespace dibtest {
namespace {

constexpr size_t kMostBlocks = size_t{1} << 16;
constexpr size_t kHandleStep = 16;
constexpr size_t kMostQuarantined = 4096;
constexpr size_t kQuarantineBytes = sizeof(void*) == 4 ? size_t{96} << 20 : size_t{1} << 32;
constexpr unsigned char kPattern = 0xC5;
constexpr unsigned kDefaultLargest = 512u << 20;

[[noreturn]] __attribute__((format(printf, 1, 2))) void Die(const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  std::fputs("hostile host: ", stderr);
  std::vfprintf(stderr, format, arguments);
  std::fputc('\n', stderr);
  va_end(arguments);
  std::abort();
}

struct Block {
  unsigned char* mapping;  // the whole mapping with both inaccessible pages; null when not live
  size_t mappingBytes;
  unsigned char* data;
  unsigned bytes;
  unsigned locks;
  bool readOnly;
};

struct Range {
  unsigned char* at;
  size_t bytes;
};

struct Host {
  std::mutex mutex;
  unsigned char* handles;  // an inaccessible range; handle i is its address i x kHandleStep
  size_t used;             // records that were ever in use
  size_t next;             // where the search for a free record begins
  Block blocks[kMostBlocks];
  Range quarantine[kMostQuarantined];
  size_t quarantineFirst;
  size_t quarantineCount;
  size_t quarantineBytes;
  HostCounters counters;
  unsigned largest;
  bool atStart;
  unsigned char fill;
};

size_t PageSize() {
  static const size_t size = static_cast<size_t>(sysconf(_SC_PAGESIZE));
  return size;
}

unsigned char* Map(size_t bytes) {
  void* memory =
      mmap(nullptr, bytes, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  return memory == MAP_FAILED ? nullptr : static_cast<unsigned char*>(memory);
}

// Lives in its own mapping and is never destroyed: blocks may be freed while the process ends.
Host& TheHost() {
  static Host* const host = [] {
    void* memory = Map(sizeof(Host));
    if (memory == nullptr || mprotect(memory, sizeof(Host), PROT_READ | PROT_WRITE) != 0) {
      Die("no memory for its records");
    }
    Host* made = new (memory) Host();
    made->handles = Map(kMostBlocks * kHandleStep);
    if (made->handles == nullptr) Die("no address space for handles");
    made->largest = kDefaultLargest;
    return made;
  }();
  return *host;
}

using Guard = std::lock_guard<std::mutex>;

tagHANDLE* HandleOf(const Host& host, size_t index) {
  return reinterpret_cast<tagHANDLE*>(host.handles + index * kHandleStep);
}

Block* Find(Host& host, const tagHANDLE* handle) {
  const uintptr_t offset =
      reinterpret_cast<uintptr_t>(handle) - reinterpret_cast<uintptr_t>(host.handles);
  if (offset % kHandleStep != 0 || offset / kHandleStep >= host.used) return nullptr;
  Block& block = host.blocks[offset / kHandleStep];
  return block.mapping != nullptr ? &block : nullptr;
}

Block& Demand(Host& host, const tagHANDLE* handle, const char* what) {
  Block* block = Find(host, handle);
  if (block == nullptr) {
    Die("%s of %p, which is not a live block", what, static_cast<const void*>(handle));
  }
  return *block;
}

Range Inside(const Block& block) {
  return {block.mapping + PageSize(), block.mappingBytes - 2 * PageSize()};
}

void Protect(const Block& block, int access) {
  const Range inside = Inside(block);
  if (inside.bytes != 0 && mprotect(inside.at, inside.bytes, access) != 0) Die("mprotect failed");
}

void FillSlack(const Block& block) {
  const Range inside = Inside(block);
  std::memset(inside.at, kPattern, static_cast<size_t>(block.data - inside.at));
  unsigned char* end = block.data + block.bytes;
  std::memset(end, kPattern, static_cast<size_t>(inside.at + inside.bytes - end));
}

// The block must be readable.
void CheckSlack(const Block& block) {
  const Range inside = Inside(block);
  for (const unsigned char* at = inside.at; at != inside.at + inside.bytes; ++at) {
    if (at == block.data) at += block.bytes;
    if (at == inside.at + inside.bytes) return;
    if (*at != kPattern) {
      Die("byte %td of a block of %u bytes was written", at - block.data, block.bytes);
    }
  }
}

void DropOldest(Host& host) {
  const Range oldest = host.quarantine[host.quarantineFirst];
  munmap(oldest.at, oldest.bytes);
  host.quarantineFirst = (host.quarantineFirst + 1) % kMostQuarantined;
  --host.quarantineCount;
  host.quarantineBytes -= oldest.bytes;
}

// Gives the memory back and keeps the addresses, inaccessible.
void Quarantine(Host& host, Range range) {
  void* again = mmap(range.at, range.bytes, PROT_NONE,
                     MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE | MAP_FIXED, -1, 0);
  if (again == MAP_FAILED) Die("mmap failed");
  while (host.quarantineCount == kMostQuarantined ||
         (host.quarantineCount != 0 && host.quarantineBytes + range.bytes > kQuarantineBytes)) {
    DropOldest(host);
  }
  host.quarantine[(host.quarantineFirst + host.quarantineCount) % kMostQuarantined] = range;
  ++host.quarantineCount;
  host.quarantineBytes += range.bytes;
}

void Release(Host& host, Block& block) {
  Protect(block, PROT_READ | PROT_WRITE);
  CheckSlack(block);
  Quarantine(host, {block.mapping, block.mappingBytes});
  if (block.locks != 0) --host.counters.lockedBlocks;
  --host.counters.liveBlocks;
  block = {};
}

unsigned char* MapBlock(Host& host, size_t bytes) {
  unsigned char* mapping = Map(bytes);
  while (mapping == nullptr && host.quarantineCount != 0) {
    DropOldest(host);
    mapping = Map(bytes);
  }
  return mapping;
}

// Round and round, so that a freed handle stays invalid as long as possible.
size_t TakeRecord(Host& host) {
  for (size_t tries = 0; tries != kMostBlocks; ++tries) {
    const size_t index = host.next;
    host.next = (host.next + 1) % kMostBlocks;
    if (host.blocks[index].mapping == nullptr) {
      if (index >= host.used) host.used = index + 1;
      return index;
    }
  }
  Die("too many live blocks");
}

tagHANDLE* Allocate(Host& host, unsigned bytes) {
  const size_t page = PageSize();
  const size_t inside = (size_t{bytes} + page - 1) / page * page;
  const size_t mappingBytes = inside + 2 * page;
  unsigned char* mapping = MapBlock(host, mappingBytes);
  if (mapping == nullptr) return nullptr;

  const size_t index = TakeRecord(host);
  Block& block = host.blocks[index];
  block = {mapping, mappingBytes, mapping + page + (host.atStart ? 0 : inside - bytes), bytes,
           0,       false};
  Protect(block, PROT_READ | PROT_WRITE);
  FillSlack(block);
  if (host.fill != 0) std::memset(block.data, host.fill, bytes);
  Protect(block, PROT_NONE);
  ++host.counters.liveBlocks;
  return HandleOf(host, index);
}

}  // namespace

HostCounters ReadHost() {
  Host& host = TheHost();
  const Guard guard(host.mutex);
  return host.counters;
}

std::vector<tagHANDLE*> LiveBlocks() {
  Host& host = TheHost();
  const Guard guard(host.mutex);
  std::vector<tagHANDLE*> live;
  for (size_t i = 0; i != host.used; ++i) {
    if (host.blocks[i].mapping != nullptr) live.push_back(HandleOf(host, i));
  }
  return live;
}

bool IsLive(tagHANDLE* handle) {
  Host& host = TheHost();
  const Guard guard(host.mutex);
  return Find(host, handle) != nullptr;
}

unsigned LockCount(tagHANDLE* handle) {
  Host& host = TheHost();
  const Guard guard(host.mutex);
  return Demand(host, handle, "LockCount").locks;
}

void ResetHost() {
  Host& host = TheHost();
  const Guard guard(host.mutex);
  for (size_t i = 0; i != host.used; ++i) {
    if (host.blocks[i].mapping != nullptr) Release(host, host.blocks[i]);
  }
  host.counters = {};
  host.largest = kDefaultLargest;
  host.atStart = false;
  host.fill = 0;
}

void SetLargestBlock(unsigned bytes) {
  Host& host = TheHost();
  const Guard guard(host.mutex);
  host.largest = bytes;
}

void PlaceBlocksAtStart(bool atStart) {
  Host& host = TheHost();
  const Guard guard(host.mutex);
  host.atStart = atStart;
}

void FillBlocksWith(unsigned char value) {
  Host& host = TheHost();
  const Guard guard(host.mutex);
  host.fill = value;
}

void MakeReadOnly(tagHANDLE* handle) {
  Host& host = TheHost();
  const Guard guard(host.mutex);
  Block& block = Demand(host, handle, "MakeReadOnly");
  block.readOnly = true;
  Protect(block, block.locks != 0 ? PROT_READ : PROT_NONE);
}

}  // namespace dibtest

using dibtest::Block;
using dibtest::Guard;
using dibtest::Host;
using dibtest::TheHost;

extern "C" {

tagHANDLE* GlobalAlloc(unsigned flags, unsigned bytes) {
  Host& host = TheHost();
  const Guard guard(host.mutex);
  ++host.counters.allocCalls;
  if (flags != GHND) ++host.counters.foreignFlags;
  host.counters.lastAllocBytes = bytes;
  const bool refused = dibtest::FaultStrikes(dibtest::Fault::kGlobalAlloc) || bytes > host.largest;
  tagHANDLE* handle = refused ? nullptr : dibtest::Allocate(host, bytes);
  if (handle == nullptr) ++host.counters.failedAllocs;
  return handle;
}

void* GlobalLock(tagHANDLE* handle) {
  Host& host = TheHost();
  const Guard guard(host.mutex);
  ++host.counters.lockCalls;
  if (handle == nullptr) {
    ++host.counters.nullLocks;
    return nullptr;
  }
  Block& block = dibtest::Demand(host, handle, "GlobalLock");
  if (dibtest::FaultStrikes(dibtest::Fault::kGlobalLock)) {
    ++host.counters.failedLocks;
    return nullptr;
  }
  if (block.locks++ == 0) {
    ++host.counters.lockedBlocks;
    dibtest::Protect(block, block.readOnly ? PROT_READ : PROT_READ | PROT_WRITE);
  }
  return block.data;
}

int GlobalUnlock(tagHANDLE* handle) {
  Host& host = TheHost();
  const Guard guard(host.mutex);
  ++host.counters.unlockCalls;
  Block& block = dibtest::Demand(host, handle, "GlobalUnlock");
  if (block.locks == 0) {
    ++host.counters.idleUnlocks;
    return 0;
  }
  if (--block.locks != 0) return 1;
  dibtest::CheckSlack(block);
  --host.counters.lockedBlocks;
  dibtest::Protect(block, PROT_NONE);
  return 0;
}

tagHANDLE* GlobalFree(tagHANDLE* handle) {
  Host& host = TheHost();
  const Guard guard(host.mutex);
  ++host.counters.freeCalls;
  if (handle == nullptr) {
    ++host.counters.nullFrees;
    return nullptr;
  }
  Block& block = dibtest::Demand(host, handle, "GlobalFree");
  if (block.locks != 0) ++host.counters.lockedFrees;
  dibtest::Release(host, block);
  return nullptr;
}

unsigned GlobalSize(tagHANDLE* handle) {
  Host& host = TheHost();
  const Guard guard(host.mutex);
  ++host.counters.sizeCalls;
  return dibtest::Demand(host, handle, "GlobalSize").bytes;
}

unsigned GlobalFlags(tagHANDLE* handle) {
  Host& host = TheHost();
  const Guard guard(host.mutex);
  ++host.counters.flagsCalls;
  const Block* block = dibtest::Find(host, handle);
  return block != nullptr ? block->locks & GMEM_LOCKCOUNT : GMEM_INVALID_HANDLE;
}

}  // extern "C"
