// SPDX-License-Identifier: Apache-2.0
//
// The fixture of every test that runs over the hostile host: starts clean, and demands at the end
// that nothing was left behind. A test of a leak that hosts know takes it with TakeLeaked.
#ifndef DIBKIT_TESTS_SUPPORT_HOST_TEST_H
#define DIBKIT_TESTS_SUPPORT_HOST_TEST_H

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "support/fault.h"
#include "support/hostile_host.h"

namespace dibtest {

class HostTest : public ::testing::Test {
 protected:
  void SetUp() override { ResetHost(); }

  void TearDown() override {
    for (const Fault fault : {Fault::kGlobalAlloc, Fault::kGlobalLock, Fault::kNew}) {
      EXPECT_FALSE(IsFaultArmed(fault));
      DisarmFault(fault);
    }
    const HostCounters counters = ReadHost();
    EXPECT_EQ(counters.liveBlocks, 0u) << "blocks left behind";
    EXPECT_EQ(counters.foreignFlags, 0u) << "GlobalAlloc with other flags than GHND";
    EXPECT_EQ(counters.idleUnlocks, m_allowedIdleUnlocks) << "GlobalUnlock without a lock";
    ResetHost();
  }

  size_t m_allowedIdleUnlocks = 0;
};

// Frees every live block that is not among `known` and returns how many there were. All of them
// must be unlocked.
inline size_t TakeLeaked(const std::vector<tagHANDLE*>& known) {
  size_t count = 0;
  for (tagHANDLE* handle : LiveBlocks()) {
    if (std::find(known.begin(), known.end(), handle) != known.end()) continue;
    EXPECT_EQ(LockCount(handle), 0u) << "a leaked block is locked";
    GlobalFree(handle);
    ++count;
  }
  return count;
}

}  // namespace dibtest

#endif  // DIBKIT_TESTS_SUPPORT_HOST_TEST_H
