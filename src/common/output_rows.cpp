// SPDX-License-Identifier: Apache-2.0
#include "common/output_rows.h"

#include <cstring>
#include <new>

namespace dibkit {
OutputRows::OutputRows(const RowRun& run, CpuLevel level)
    : stream_(LineStreamInto(run.first, run.bytes(), level)),
      rowBytes_(run.rowBytes),
      stride_(run.stride),
      target_(run.first),
      line_(run.first) {
  if (stream_ == nullptr) return;
  memory_.reset(new (std::nothrow) uint8_t[stride_ + 2 * kCacheLine]);
  if (memory_ == nullptr) {
    stream_ = nullptr;
    return;
  }
  line_ = memory_.get() + (kCacheLine - BytesIntoLine(memory_.get())) % kCacheLine;
  held_ = notOurs_ = BytesIntoLine(target_);
  target_ -= held_;
}

void OutputRows::Next() {
  if (stream_ != nullptr) {
    Carry();
  } else {
    line_ += stride_;
  }
}

// Carries all whole lines to the result and keeps the rest for the next row.
void OutputRows::Carry() {
  std::memset(line_ + held_ + rowBytes_, 0, stride_ - rowBytes_);
  const size_t bytes = held_ + stride_;
  const size_t lines = bytes / kCacheLine;
  if (notOurs_ == 0 || lines == 0) {
    stream_->copy(line_, target_, lines);
  } else {
    std::memcpy(target_ + notOurs_, line_ + notOurs_, kCacheLine - notOurs_);
    stream_->copy(line_ + kCacheLine, target_ + kCacheLine, lines - 1);
    notOurs_ = 0;
  }
  target_ += lines * kCacheLine;
  held_ = bytes - lines * kCacheLine;
  std::memmove(line_, line_ + lines * kCacheLine, held_);
}

void OutputRows::Flush() {
  if (stream_ == nullptr) return;
  std::memcpy(target_ + notOurs_, line_ + notOurs_, held_ - notOurs_);
  stream_->end();
}

}  // namespace dibkit
