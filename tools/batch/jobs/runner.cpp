// SPDX-License-Identifier: Apache-2.0
#include "batch/jobs/runner.h"

#include <algorithm>
#include <atomic>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

#include "dibkit/host/page_error.h"
#include "failure.h"

namespace dibkit::tool {
namespace {

// One call of RunFiles: what its threads share.
class Run {
 public:
  Run(size_t count, const RunOptions& options, const FileWork& work, const FileFinished& finished)
      : count_(count), options_(options), work_(work), finished_(finished), cancelled_([this] {
          return Stops();
        }) {}

  // On each thread.
  void Work() noexcept {
    for (size_t index = 0; !Stops() && (index = next_++) < count_;) {
      const FileOutcome outcome = DoOne(index);
      const std::lock_guard guard(mutex_);
      Count(outcome);
      Tell(outcome);
    }
  }

  // When all threads have ended.
  RunTally Result() {
    if (broken_) {
      std::rethrow_exception(broken_);
    }
    tally_.notStarted = count_ - tally_.done - tally_.failed - tally_.cancelled;
    return tally_;
  }

 private:
  bool Stops() { return stop_ || (options_.cancelled && options_.cancelled()); }

  FileOutcome DoOne(size_t index) noexcept {
    try {
      return {index, work_(index, cancelled_), nullptr};
    } catch (const Failure& failure) {
      return {index, failure.Code(), std::current_exception()};
    } catch (...) {
      return {index, EXIT_CODE_FAILED, std::current_exception()};
    }
  }

  void Count(const FileOutcome& outcome) {
    if (IsCancellation(outcome)) {
      ++tally_.cancelled;
      return;
    }
    ++(outcome.code == EXIT_CODE_DONE ? tally_.done : tally_.failed);
    tally_.code = std::max(tally_.code, outcome.code);
    stop_ = stop_ || (options_.failFast && outcome.code != EXIT_CODE_DONE);
  }

  static bool IsCancellation(const FileOutcome& outcome) {
    try {
      if (outcome.failure) {
        std::rethrow_exception(outcome.failure);
      }
      return false;
    } catch (const host::Cancelled&) {
      return true;
    } catch (const host::PageError& error) {
      return error.Fault() == host::PageFault::kCancelled;
    } catch (...) {
      return false;
    }
  }

  void Tell(const FileOutcome& outcome) noexcept {
    try {
      if (finished_) {
        finished_(outcome);
      }
    } catch (...) {
      broken_ = broken_ ? broken_ : std::current_exception();
      stop_ = true;
    }
  }

  const size_t count_;
  const RunOptions& options_;
  const FileWork& work_;
  const FileFinished& finished_;
  const host::CancelHook cancelled_;
  std::atomic<size_t> next_{0};
  std::atomic<bool> stop_{false};
  std::mutex mutex_;  // for all below
  RunTally tally_;
  std::exception_ptr broken_;  // the first exception of the callback
};

}  // namespace

RunTally RunFiles(size_t count, const RunOptions& options, const FileWork& work,
                  const FileFinished& finished) {
  Run run(count, options, work, finished);
  std::vector<std::thread> threads;
  const size_t wanted = std::min<size_t>(std::max(options.jobs, 1U), count);
  try {
    for (size_t i = 1; i < wanted; ++i) {
      threads.emplace_back([&run] { run.Work(); });
    }
  } catch (const std::system_error&) {
    // Fewer threads do the work as well.
  }
  run.Work();
  for (std::thread& thread : threads) {
    thread.join();
  }
  return run.Result();
}

}  // namespace dibkit::tool
