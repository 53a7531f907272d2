// SPDX-License-Identifier: Apache-2.0
//
// Holds the memory of all that runs at once below a limit.
#ifndef DIBKIT_TOOLS_BATCH_JOBS_MEMORY_GATE_H
#define DIBKIT_TOOLS_BATCH_JOBS_MEMORY_GATE_H

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <list>
#include <mutex>

#include "dibkit/host/errors.h"

namespace dibkit::tool {

// For any number of threads. Who came first is let in first, so that a large request is not passed
// over for ever by small ones. A thread that holds a share and waits for another can wait for ever:
// ask for all at once.
class MemoryGate {
 public:
  // `asked`: someone has asked for this limit. One that only tells what the machine has is no
  // reason to give a page up for ever.
  explicit MemoryGate(uint64_t limit, bool asked = true) : limit_(limit), asked_(asked) {}
  MemoryGate(const MemoryGate&) = delete;
  MemoryGate& operator=(const MemoryGate&) = delete;

  // A part of the memory, given back with its end. Must not outlive the gate.
  class Share {
   public:
    Share() = default;
    Share(Share&& other) noexcept;
    Share& operator=(Share&& other) noexcept;
    ~Share() { Release(); }
    void Release() noexcept;
    // Has at least `bytes` afterwards; false, and as it was, where they are not free now or someone
    // waits for them. Does not wait, so it may be called by a thread that others wait for.
    bool TryGrowTo(uint64_t bytes) noexcept;
    // Has at most `bytes` afterwards.
    void ShrinkTo(uint64_t bytes) noexcept;

   private:
    friend class MemoryGate;
    Share(MemoryGate& gate, uint64_t bytes) : gate_(&gate), bytes_(bytes) {}
    MemoryGate* gate_ = nullptr;
    uint64_t bytes_ = 0;
  };

  // Waits until `bytes` more stay within the limit. Throws Failure when they alone do not
  // (EXIT_CODE_RETRY unless the limit was asked for), and
  // Cancelled within some hundredths of a second after the hook says so.
  Share Acquire(uint64_t bytes, const host::CancelHook& cancelled = nullptr);

  uint64_t Limit() const { return limit_; }
  // Bytes that are given out now.
  uint64_t InUse() const;
  // Threads that wait now.
  size_t Waiting() const;

 private:
  bool TryTake(uint64_t bytes) noexcept;
  void GiveBack(uint64_t bytes) noexcept;
  void CheckFits(uint64_t bytes) const;

  const uint64_t limit_;
  const bool asked_;
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  uint64_t used_ = 0;
  std::list<uint64_t> queue_;  // what each one that waits asks for, the first in front
};

}  // namespace dibkit::tool

#endif  // DIBKIT_TOOLS_BATCH_JOBS_MEMORY_GATE_H
