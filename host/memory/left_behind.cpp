// SPDX-License-Identifier: Apache-2.0
#include "dibkit/host/left_behind.h"

#include "memory/block_registry.h"

namespace dibkit::host {

LeftBehind::LeftBehind() : since_(BlockRegistry::Instance().NextSerial()) {}

LeftBehind::~LeftBehind() { Reclaim(); }

void LeftBehind::Keep(tagHANDLE* handle) {
  if (handle != nullptr) {
    kept_.push_back(handle);
  }
}

std::vector<BlockInfo> LeftBehind::Blocks() const {
  return BlockRegistry::Instance().OwnedSince(since_, kept_);
}

size_t LeftBehind::Reclaim() noexcept {
  return BlockRegistry::Instance().FreeOwnedSince(since_, kept_);
}

}  // namespace dibkit::host
