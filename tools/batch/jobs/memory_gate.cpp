// SPDX-License-Identifier: Apache-2.0
#include "batch/jobs/memory_gate.h"

#include <chrono>
#include <utility>

#include "batch/jobs/size_text.h"
#include "failure.h"

namespace dibkit::tool {
namespace {

// Nobody tells a condition variable that a signal has come.
constexpr std::chrono::milliseconds kBetweenLooks{20};

}  // namespace

MemoryGate::Share::Share(Share&& other) noexcept
    : gate_(std::exchange(other.gate_, nullptr)), bytes_(std::exchange(other.bytes_, 0)) {}

MemoryGate::Share& MemoryGate::Share::operator=(Share&& other) noexcept {
  if (this != &other) {
    Release();
    gate_ = std::exchange(other.gate_, nullptr);
    bytes_ = std::exchange(other.bytes_, 0);
  }
  return *this;
}

void MemoryGate::Share::Release() noexcept {
  if (gate_ != nullptr) {
    std::exchange(gate_, nullptr)->GiveBack(std::exchange(bytes_, 0));
  }
}

bool MemoryGate::Share::TryGrowTo(uint64_t bytes) noexcept {
  if (bytes <= bytes_) {
    return true;
  }
  if (gate_ == nullptr || !gate_->TryTake(bytes - bytes_)) {
    return false;
  }
  bytes_ = bytes;
  return true;
}

void MemoryGate::Share::ShrinkTo(uint64_t bytes) noexcept {
  if (bytes < bytes_) {
    gate_->GiveBack(std::exchange(bytes_, bytes) - bytes);
  }
}

void MemoryGate::CheckFits(uint64_t bytes) const {
  if (bytes <= limit_) {
    return;
  }
  const std::string text =
      "takes " + SizeText(bytes, true) + " of memory, more than the " + SizeText(limit_);
  if (asked_) {
    throw Failure(text + " that --memory allows");
  }
  throw Failure(text + " that this machine has to spare; --memory allows more", EXIT_CODE_RETRY);
}

MemoryGate::Share MemoryGate::Acquire(uint64_t bytes, const host::CancelHook& cancelled) {
  CheckFits(bytes);
  std::unique_lock lock(mutex_);
  const auto place = queue_.insert(queue_.end(), bytes);
  const auto mayEnter = [&] { return place == queue_.begin() && bytes <= limit_ - used_; };
  try {
    while (!mayEnter()) {
      host::StopIf(cancelled);
      changed_.wait_for(lock, kBetweenLooks);
    }
  } catch (...) {
    queue_.erase(place);
    changed_.notify_all();
    throw;
  }
  queue_.erase(place);
  used_ += bytes;
  // Whoever is first now may fit too.
  changed_.notify_all();
  return {*this, bytes};
}

uint64_t MemoryGate::InUse() const {
  const std::lock_guard guard(mutex_);
  return used_;
}

size_t MemoryGate::Waiting() const {
  const std::lock_guard guard(mutex_);
  return queue_.size();
}

bool MemoryGate::TryTake(uint64_t bytes) noexcept {
  const std::lock_guard guard(mutex_);
  if (!queue_.empty() || bytes > limit_ - used_) {
    return false;
  }
  used_ += bytes;
  return true;
}

void MemoryGate::GiveBack(uint64_t bytes) noexcept {
  const std::lock_guard guard(mutex_);
  used_ -= bytes;
  changed_.notify_all();
}

}  // namespace dibkit::tool
