// SPDX-License-Identifier: Apache-2.0
#include "batch/jobs/runner.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <exception>
#include <list>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

namespace dibkit::tool {
namespace {

// One call of RunFiles: what its threads share.
class Run {
 public:
  Run(size_t count, const RunOptions& options, const BeginFile& begin)
      : count_(count),
        options_(options),
        begin_(begin),
        mostThreads_(std::max(options.jobs, 1U)),
        hooks_{[this] { return Stops(); }, [this] { TellChange(); }} {}

  // On the caller's thread, which is one of them.
  void Do() {
    Work();
    for (std::thread& thread : threads_) {
      thread.join();
    }
    if (broken_) {
      std::rethrow_exception(broken_);
    }
  }

 private:
  void Work() noexcept {
    std::unique_lock lock(mutex_);
    while (const std::function<void()> work = Next(lock)) {
      CallForHelp();
      lock.unlock();
      work();
      lock.lock();
      DropThoseOver();
      changed_.notify_all();
    }
    changed_.notify_all();
  }

  // Waits for a piece; null when all is done.
  std::function<void()> Next(std::unique_lock<std::mutex>& lock) {
    for (;;) {
      FileTask::Offer offer = Earliest();
      if (offer.work) {
        return offer.work;
      }
      if (!offer.soon && MayBegin()) {
        Begin();
      } else if (tasks_.empty()) {
        return nullptr;
      } else {
        ++idle_;
        changed_.wait(lock);
        --idle_;
      }
    }
  }

  FileTask::Offer Earliest() {
    for (const auto& task : tasks_) {
      FileTask::Offer offer = task->Take();
      if (offer.work || offer.soon) {
        return offer;
      }
    }
    return {};
  }

  bool Stops() const { return stop_ || (options_.cancelled && options_.cancelled()); }
  bool MayBegin() const { return next_ < count_ && !Stops(); }

  void Begin() {
    try {
      if (auto task = begin_(next_++, hooks_)) {
        tasks_.push_back(std::move(task));
      }
    } catch (...) {
      broken_ = broken_ ? broken_ : std::current_exception();
      stop_ = true;
    }
  }

  // A thread that has found something to do has another one look, too.
  void CallForHelp() {
    if (idle_ != 0 || threads_.size() + 1 >= mostThreads_) {
      return;
    }
    try {
      threads_.emplace_back([this] { Work(); });
    } catch (const std::exception&) {
      // Fewer threads do the work as well.
      mostThreads_ = threads_.size() + 1;
    }
  }

  void DropThoseOver() {
    tasks_.remove_if([this](const std::unique_ptr<FileTask>& task) {
      const bool over = task->IsOver();
      stop_ = stop_ || (over && options_.failFast && task->Code() != 0);
      return over;
    });
  }

  void TellChange() {
    const std::lock_guard guard(mutex_);
    changed_.notify_all();
  }

  const size_t count_;
  const RunOptions& options_;
  const BeginFile& begin_;
  std::atomic<bool> stop_{false};
  std::mutex mutex_;  // for all below
  std::condition_variable changed_;
  size_t mostThreads_;
  const TaskHooks hooks_;
  size_t next_ = 0;                             // file to begin
  std::list<std::unique_ptr<FileTask>> tasks_;  // that are not over, in the order of the files
  std::vector<std::thread> threads_;            // beside the caller's
  size_t idle_ = 0;                             // threads that wait for something to do
  std::exception_ptr broken_;
};

}  // namespace

void RunFiles(size_t count, const RunOptions& options, const BeginFile& begin) {
  Run(count, options, begin).Do();
}

}  // namespace dibkit::tool
