// SPDX-License-Identifier: Apache-2.0
//
// The six functions, all in this one object file: whoever pulls one out of the archive has them
// all.
#include "dibkit/host/global_memory.h"

#include <algorithm>
#include <new>

#include "dibkit/Export.h"
#include "memory/block_registry.h"

using dibkit::host::BlockRegistry;

extern "C" {

DIBKIT_API tagHANDLE* GlobalAlloc(unsigned /*flags*/, unsigned bytes) {
  try {
    return BlockRegistry::Instance().Allocate(bytes);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

DIBKIT_API void* GlobalLock(tagHANDLE* handle) { return BlockRegistry::Instance().Lock(handle); }

DIBKIT_API int GlobalUnlock(tagHANDLE* handle) {
  return BlockRegistry::Instance().Unlock(handle) != 0 ? 1 : 0;
}

DIBKIT_API tagHANDLE* GlobalFree(tagHANDLE* handle) {
  return BlockRegistry::Instance().Free(handle) ? nullptr : handle;
}

DIBKIT_API unsigned GlobalSize(tagHANDLE* handle) {
  const auto block = BlockRegistry::Instance().Find(handle);
  return block ? block->bytes : 0;
}

DIBKIT_API unsigned GlobalFlags(tagHANDLE* handle) {
  const auto block = BlockRegistry::Instance().Find(handle);
  return block ? std::min(block->locks, GMEM_LOCKCOUNT) : GMEM_INVALID_HANDLE;
}

}  // extern "C"

namespace dibkit::host {

MemoryCounters ReadMemoryCounters() { return BlockRegistry::Instance().Counters(); }

void ResetPeakBytes() { BlockRegistry::Instance().ResetPeak(); }

}  // namespace dibkit::host
