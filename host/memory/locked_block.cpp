// SPDX-License-Identifier: Apache-2.0
#include "dibkit/host/locked_block.h"

#include "dibkit/host/errors.h"

namespace dibkit::host {

LockedBlock::LockedBlock(tagHANDLE* handle) : handle_(handle) {
  auto* data = static_cast<unsigned char*>(GlobalLock(handle));
  if (data == nullptr) {
    throw ImageError(ImageFault::kNoBlock, "there is no image at this handle");
  }
  bytes_ = {data, GlobalSize(handle)};
}

LockedBlock::~LockedBlock() { GlobalUnlock(handle_); }

}  // namespace dibkit::host
