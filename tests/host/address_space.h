// SPDX-License-Identifier: Apache-2.0
//
// Work that must do with so much memory.
#ifndef DIBKIT_TESTS_HOST_ADDRESS_SPACE_H
#define DIBKIT_TESTS_HOST_ADDRESS_SPACE_H

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace dibkit::test {

// Ends the process, well unless an expectation has failed.
template <typename Work>
[[noreturn]] void RunWithin(uint64_t bytes, const Work& work) {
  std::FILE* const status = std::fopen("/proc/self/statm", "r");
  unsigned long pages = 0;
  if (status == nullptr || std::fscanf(status, "%lu", &pages) != 1) {
    std::_Exit(2);
  }
  const auto have = static_cast<uint64_t>(pages) * static_cast<uint64_t>(sysconf(_SC_PAGESIZE));
  const auto limit = static_cast<rlim_t>(have + bytes);
  const rlimit limits{limit, limit};
  setrlimit(RLIMIT_AS, &limits);
  work();
  std::_Exit(::testing::Test::HasFailure() ? 1 : 0);
}

// Runs `work` in a process of its own that has `bytes` of address space beside what the test has
// already; under the address sanitizer, which needs all there is, simply here.
template <typename Work>
void WithinAddressSpace([[maybe_unused]] uint64_t bytes, const Work& work) {
#if defined(__SANITIZE_ADDRESS__)
  work();
#else
  EXPECT_EXIT(RunWithin(bytes, work), ::testing::ExitedWithCode(0), "");
#endif
}

}  // namespace dibkit::test

#endif  // DIBKIT_TESTS_HOST_ADDRESS_SPACE_H
