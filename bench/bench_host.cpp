// SPDX-License-Identifier: Apache-2.0
#include "bench_host.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "Export.h"

namespace {

using dibkit::bench::Buffer;

constexpr size_t kSizesKept = 64;  // far more than one call asks for

struct PreparedBlock {
  Buffer buffer;
  bool taken = false;
  bool dirty = false;  // was handed out since it was last zeroed
};

struct Host {
  bool usesPrepared = false;
  std::vector<unsigned> sizesAskedFor;
  std::vector<PreparedBlock> prepared;
  tagHANDLE* live = nullptr;
};

Host g_host;

void Link(tagHANDLE* handle) {
  handle->next = g_host.live;
  if (g_host.live != nullptr) {
    g_host.live->previous = handle;
  }
  g_host.live = handle;
}

void Unlink(tagHANDLE* handle) {
  (handle->previous != nullptr ? handle->previous->next : g_host.live) = handle->next;
  if (handle->next != nullptr) {
    handle->next->previous = handle->previous;
  }
}

tagHANDLE* TakePrepared(unsigned bytes) {
  for (PreparedBlock& block : g_host.prepared) {
    if (!block.taken && block.buffer.Size() == bytes) {
      block.taken = true;
      block.dirty = true;
      return new tagHANDLE{.data = block.buffer.Data(), .bytes = bytes, .isPrepared = true};
    }
  }
  std::fprintf(stderr, "a turn asked for a block of %u bytes that its first turn did not ask for\n",
               bytes);
  std::abort();
}

tagHANDLE* TakeFresh(unsigned bytes) {
  void* data = std::calloc(bytes > 0 ? bytes : 1, 1);
  if (data == nullptr) return nullptr;
  if (g_host.sizesAskedFor.size() < kSizesKept) {
    g_host.sizesAskedFor.push_back(bytes);
  }
  return new tagHANDLE{.data = static_cast<unsigned char*>(data), .bytes = bytes};
}

// The block of `bytes` among those that no size has claimed yet; a new one when there is none.
size_t ClaimBlock(unsigned bytes, std::vector<bool>& claimed) {
  size_t i = 0;
  while (i < g_host.prepared.size() && (claimed[i] || g_host.prepared[i].buffer.Size() != bytes)) {
    ++i;
  }
  if (i == g_host.prepared.size()) {
    g_host.prepared.push_back({.buffer = Buffer(bytes)});
    claimed.push_back(false);
  }
  claimed[i] = true;
  return i;
}

}  // namespace

extern "C" {

DIBKIT_API tagHANDLE* GlobalAlloc(unsigned /*flags*/, unsigned bytes) {
  tagHANDLE* handle = g_host.usesPrepared ? TakePrepared(bytes) : TakeFresh(bytes);
  if (handle != nullptr) {
    Link(handle);
  }
  return handle;
}

DIBKIT_API void* GlobalLock(tagHANDLE* handle) {
  ++handle->locks;
  return handle->data;
}

DIBKIT_API int GlobalUnlock(tagHANDLE* handle) {
  if (handle->locks > 0) {
    --handle->locks;
  }
  return handle->locks != 0 ? 1 : 0;
}

DIBKIT_API tagHANDLE* GlobalFree(tagHANDLE* handle) {
  if (handle == nullptr) return nullptr;
  Unlink(handle);
  // A prepared block is not handed out again in the same turn: it is no longer zero.
  if (!handle->isPrepared) {
    std::free(handle->data);
  }
  delete handle;
  return nullptr;
}

DIBKIT_API unsigned GlobalSize(tagHANDLE* handle) { return handle->bytes; }

DIBKIT_API unsigned GlobalFlags(tagHANDLE* handle) { return handle->locks; }

}  // extern "C"

namespace dibkit::bench {

void AllocateFresh() {
  g_host.usesPrepared = false;
  g_host.sizesAskedFor.clear();
}

std::vector<unsigned> SizesAskedFor() { return g_host.sizesAskedFor; }

void PrepareBlocks(std::span<const unsigned> sizes) {
  std::vector<bool> claimed(g_host.prepared.size(), false);
  for (const unsigned bytes : sizes) {
    PreparedBlock& block = g_host.prepared[ClaimBlock(bytes, claimed)];
    if (block.dirty) {
      std::memset(block.buffer.Data(), 0, block.buffer.Size());
      block.dirty = false;
    }
    Evict(block.buffer.View());
  }
  // Blocks of no size in the list are for other turns and must not be handed out.
  for (size_t i = 0; i < claimed.size(); ++i) {
    g_host.prepared[i].taken = !claimed[i];
  }
  g_host.usesPrepared = true;
}

void ReclaimBlocks() {
  while (g_host.live != nullptr) {
    GlobalFree(g_host.live);
  }
}

void DropPreparedBlocks() { g_host.prepared.clear(); }

unsigned char* ResultBlock(size_t bytes) {
  tagHANDLE* handle = GlobalAlloc(GHND, static_cast<unsigned>(bytes));
  if (handle == nullptr) throw std::bad_alloc();
  return static_cast<unsigned char*>(GlobalLock(handle));
}

}  // namespace dibkit::bench
