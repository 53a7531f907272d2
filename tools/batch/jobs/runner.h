// SPDX-License-Identifier: Apache-2.0
//
// Many files on several threads, and several threads on one file.
#ifndef DIBKIT_TOOLS_BATCH_JOBS_RUNNER_H
#define DIBKIT_TOOLS_BATCH_JOBS_RUNNER_H

#include <cstddef>
#include <functional>
#include <memory>

#include "dibkit/host/errors.h"

namespace dibkit::tool {

// One file in work, in pieces: its opening, its pages.
class FileTask {
 public:
  // What there is to do for one thread more.
  struct Offer {
    std::function<void()> work = nullptr;  // a piece, which is the caller's now; it throws nothing
    bool soon = false;  // without a piece: one will come at once, so no later file is to begin
  };

  FileTask() = default;
  FileTask(const FileTask&) = delete;
  FileTask& operator=(const FileTask&) = delete;
  virtual ~FileTask() = default;

  // May be called on any thread, while pieces are in work; must not wait. A task that has no piece
  // to offer and none in work must be over.
  virtual Offer Take() = 0;
  // No piece is left and none is in work.
  virtual bool IsOver() const = 0;
  // The exit code of a task that is over.
  virtual int Code() const = 0;
};

// For the pieces of a task, on any thread.
struct TaskHooks {
  host::CancelHook cancelled;  // work should stop; Take goes on offering pieces, that end at once
  std::function<void()> changed;  // to be called when a piece that still runs lets another begin
};

// Begins file number `index`, from 0, without doing any work. Null: there is nothing to do. Called
// on any of the threads, one at a time.
using BeginFile = std::function<std::unique_ptr<FileTask>(size_t index, const TaskHooks& hooks)>;

struct RunOptions {
  unsigned jobs = 1;                     // threads, the caller's among them
  bool failFast = false;                 // the first failure stops all others
  host::CancelHook cancelled = nullptr;  // stops all; asked on all threads
};

// Works on files 0 to `count` - 1. A thread takes a piece of the earliest file that has one, and
// begins the next file where none has. There are no more threads than find something to do, but
// one. Returns when no work runs any more; throws what `begin` throws, which stops the run.
void RunFiles(size_t count, const RunOptions& options, const BeginFile& begin);

}  // namespace dibkit::tool

#endif  // DIBKIT_TOOLS_BATCH_JOBS_RUNNER_H
