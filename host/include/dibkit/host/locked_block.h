// SPDX-License-Identifier: Apache-2.0
//
// One lock on a block, held for a scope.
#ifndef DIBKIT_HOST_LOCKED_BLOCK_H
#define DIBKIT_HOST_LOCKED_BLOCK_H

#include <span>

#include "dibkit/GlobalMemory.h"

namespace dibkit::host {

// Throws ImageError (kNoBlock) when the handle is null or invalid.
class LockedBlock {
 public:
  explicit LockedBlock(tagHANDLE* handle);
  LockedBlock(const LockedBlock&) = delete;
  LockedBlock& operator=(const LockedBlock&) = delete;
  ~LockedBlock();

  // The whole block.
  std::span<unsigned char> Bytes() const { return bytes_; }

 private:
  tagHANDLE* handle_;
  std::span<unsigned char> bytes_;
};

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_LOCKED_BLOCK_H
