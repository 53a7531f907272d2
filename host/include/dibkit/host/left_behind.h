// SPDX-License-Identifier: Apache-2.0
//
// A scope that finds the blocks which a call allocated and did not free.
#ifndef DIBKIT_HOST_LEFT_BEHIND_H
#define DIBKIT_HOST_LEFT_BEHIND_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "dibkit/GlobalMemory.h"

namespace dibkit::host {

// One live block.
struct BlockInfo {
  tagHANDLE* handle;
  unsigned bytes;
  unsigned locks;
};

// Watches the blocks that its own thread allocates between its construction and its end, and frees
// those that are still there, whatever locks they carry, unless they were marked as kept. Blocks of
// other threads and earlier blocks are not touched. Scopes nest: what an inner scope kept, the
// outer one still finds.
//
//   LeftBehind scope;
//   tagHANDLE* result = nullptr;
//   ConvertResolution(source, &result, nullptr, 200, 128);
//   scope.Keep(result);
//
// All members must be called on the thread that made the scope.
class LeftBehind {
 public:
  LeftBehind();
  LeftBehind(const LeftBehind&) = delete;
  LeftBehind& operator=(const LeftBehind&) = delete;
  ~LeftBehind();

  // Leaves `handle` to the caller; a null handle does nothing.
  void Keep(tagHANDLE* handle);

  // The blocks that would be freed now, oldest first.
  std::vector<BlockInfo> Blocks() const;

  // Frees them now and returns how many there were.
  size_t Reclaim() noexcept;

 private:
  uint64_t since_;
  std::vector<tagHANDLE*> kept_;
};

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_LEFT_BEHIND_H
