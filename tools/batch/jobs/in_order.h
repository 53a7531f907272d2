// SPDX-License-Identifier: Apache-2.0
//
// What several threads make side by side goes on one by one, in its order.
#ifndef DIBKIT_TOOLS_BATCH_JOBS_IN_ORDER_H
#define DIBKIT_TOOLS_BATCH_JOBS_IN_ORDER_H

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <map>
#include <mutex>
#include <type_traits>
#include <utility>

#include "dibkit/host/errors.h"

namespace dibkit::tool {

// For any number of threads. Things have the numbers 0, 1, 2 ..., and each number comes once.
template <typename Thing>
class InOrder {
  static_assert(std::is_nothrow_move_constructible_v<Thing>);

 public:
  // Hands `thing` over. `accept` takes a number and a Thing&: it is called for this one and those
  // that waited for it, or later by the thread that hands over the one that is missing; by one
  // thread at a time, in the order of the numbers. What it throws comes out of this call, and that
  // thing counts as accepted.
  template <typename Accept>
  void Put(size_t number, Thing thing, Accept accept) {
    std::unique_lock lock(mutex_);
    waiting_.emplace(number, std::move(thing));
    if (accepting_) {
      return;
    }
    accepting_ = true;
    try {
      while (!waiting_.empty() && waiting_.begin()->first == next_) {
        AcceptFirst(lock, accept);
      }
    } catch (...) {
      accepting_ = false;
      throw;
    }
    accepting_ = false;
  }

  // The first number that was not accepted yet.
  size_t Next() const {
    const std::lock_guard guard(mutex_);
    return next_;
  }

  // Waits until all before `number` were accepted. Throws Cancelled within some hundredths of a
  // second after the hook says so.
  void WaitFor(size_t number, const host::CancelHook& cancelled) {
    // Nobody tells a condition variable that a signal has come.
    constexpr std::chrono::milliseconds kBetweenLooks{20};
    std::unique_lock lock(mutex_);
    while (next_ < number) {
      host::StopIf(cancelled);
      changed_.wait_for(lock, kBetweenLooks);
    }
  }

 private:
  template <typename Accept>
  void AcceptFirst(std::unique_lock<std::mutex>& lock, Accept& accept) {
    const Counted counted{*this, lock};
    Thing thing = std::move(waiting_.begin()->second);
    waiting_.erase(waiting_.begin());
    const size_t number = next_;
    lock.unlock();
    accept(number, thing);
  }

  // Goes on to the next number when a thing has been accepted, in whatever way that ended.
  struct Counted {
    InOrder& order;
    std::unique_lock<std::mutex>& lock;
    ~Counted() {
      lock.lock();
      ++order.next_;
      order.changed_.notify_all();
    }
  };

  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::map<size_t, Thing> waiting_;
  size_t next_ = 0;
  bool accepting_ = false;
};

}  // namespace dibkit::tool

#endif  // DIBKIT_TOOLS_BATCH_JOBS_IN_ORDER_H
