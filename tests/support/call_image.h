// SPDX-License-Identifier: Apache-2.0
//
// Calls an entry that makes an image out of an image.
#ifndef DIBKIT_TESTS_SUPPORT_CALL_IMAGE_H
#define DIBKIT_TESTS_SUPPORT_CALL_IMAGE_H

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "support/dib.h"
#include "support/guarded_bytes.h"
#include "support/hostile_host.h"

namespace dibtest {

using ImageFunction = tagHANDLE* (*)(unsigned char*);

// Runs `function` on a read-only copy of `dib` against an inaccessible page. The bytes of the
// result, which must come back unlocked, or none for null.
inline std::vector<uint8_t> CallImage(ImageFunction function, const std::vector<uint8_t>& dib,
                                      GuardSide side = GuardSide::kEnd) {
  GuardedBytes source(dib, side);
  source.MakeReadOnly();
  tagHANDLE* handle = function(source.data());
  if (handle == nullptr) return {};
  EXPECT_EQ(LockCount(handle), 0u);
  const std::vector<uint8_t> bytes = BytesOf(handle);
  GlobalFree(handle);
  return bytes;
}

}  // namespace dibtest

#endif  // DIBKIT_TESTS_SUPPORT_CALL_IMAGE_H
