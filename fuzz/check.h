// SPDX-License-Identifier: Apache-2.0
//
// What the targets share: a check that ends the run, and reading a result back.
#ifndef DIBKIT_FUZZ_CHECK_H
#define DIBKIT_FUZZ_CHECK_H

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "dibkit/host/global_memory.h"

namespace dibfuzz {

using Bytes = std::vector<uint8_t>;

inline void Check(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "failed: %s\n", what);
  std::abort();
}

// The bytes of an unlocked block, which is freed; none for null. No other block may be alive.
inline Bytes TakeResult(tagHANDLE* handle) {
  const dibkit::host::OwnedBlock block(handle);
  const dibkit::host::MemoryCounters counters = dibkit::host::ReadMemoryCounters();
  Check(counters.liveBlocks == (handle == nullptr ? 0U : 1U), "nothing but the result is left");
  Check(counters.locks == 0, "nothing is left locked");
  if (handle == nullptr) return {};
  const auto* bytes = static_cast<const uint8_t*>(GlobalLock(handle));
  Bytes result(bytes, bytes + GlobalSize(handle));
  GlobalUnlock(handle);
  return result;
}

}  // namespace dibfuzz

#endif  // DIBKIT_FUZZ_CHECK_H
