// SPDX-License-Identifier: Apache-2.0
//
// Many files on several threads.
#ifndef DIBKIT_TOOLS_BATCH_JOBS_RUNNER_H
#define DIBKIT_TOOLS_BATCH_JOBS_RUNNER_H

#include <cstddef>
#include <exception>
#include <functional>

#include "dibkit/host/errors.h"

namespace dibkit::tool {

// Does file number `index`, from 0, and returns its exit code. The hook says when to stop; work
// that stops throws Cancelled, or PageError with kCancelled. Called on several threads at once.
using FileWork = std::function<int(size_t index, const host::CancelHook& cancelled)>;

struct FileOutcome {
  size_t index = 0;
  int code = 0;                // what the work returned; that of a Failure, else EXIT_CODE_FAILED
  std::exception_ptr failure;  // what it threw, or null
};

// Hears of each file that was begun when it is finished, one at a time, on any of the threads. When
// it throws, the run stops and RunFiles throws the same.
using FileFinished = std::function<void(const FileOutcome& outcome)>;

struct RunOptions {
  unsigned jobs = 1;                     // threads, the caller's among them
  bool failFast = false;                 // the first failure stops all others
  host::CancelHook cancelled = nullptr;  // stops all; asked on all threads
};

struct RunTally {
  size_t done = 0;
  size_t failed = 0;
  size_t cancelled = 0;   // begun and stopped
  size_t notStarted = 0;  // never begun
  int code = 0;           // the largest exit code of those done and failed
};

// Hands out files 0 to `count` - 1 in this order. Returns when no work runs any more.
RunTally RunFiles(size_t count, const RunOptions& options, const FileWork& work,
                  const FileFinished& finished = nullptr);

}  // namespace dibkit::tool

#endif  // DIBKIT_TOOLS_BATCH_JOBS_RUNNER_H
