// SPDX-License-Identifier: Apache-2.0
#include "common/output_rows.h"

#include <cstring>
#include <new>
#include <utility>

namespace dibkit {
namespace {

size_t RoundUpToLines(size_t bytes) { return (bytes + kCacheLine - 1) / kCacheLine * kCacheLine; }

}  // namespace

OutputRows::OutputRows(const RowRun& run, size_t together, CpuLevel level)
    : stream_(LineStreamInto(run.first, run.bytes(), level)),
      rowBytes_(run.rowBytes),
      stride_(run.stride),
      target_(run.first),
      line_(run.first) {
  if (stream_ == nullptr) return;
  const size_t bytes = RoundUpToLines(together * stride_ + kCacheLine);
  memory_.reset(new (std::nothrow) uint8_t[2 * bytes + kCacheLine]);
  if (memory_ == nullptr) {
    stream_ = nullptr;
    return;
  }
  line_ =
      memory_.get() + RoundUpToLines(BytesIntoLine(memory_.get())) - BytesIntoLine(memory_.get());
  other_ = line_ + bytes;
  held_ = notOurs_ = BytesIntoLine(target_);
  target_ -= held_;
}

void OutputRows::Next(size_t rows) {
  if (stream_ != nullptr) {
    Carry(rows);
  } else {
    line_ += rows * stride_;
  }
}

// The rest of the last line waits in front of the next row.
void OutputRows::Carry(size_t rows) {
  WriteWaiting();
  ClearPadding(rows);
  const size_t bytes = held_ + rows * stride_;
  const size_t lines = bytes / kCacheLine;
  const size_t whole = lines * kCacheLine;
  waiting_ = {line_, target_, lines};
  if (notOurs_ != 0 && lines != 0) {
    std::memcpy(target_ + notOurs_, line_ + notOurs_, kCacheLine - notOurs_);
    notOurs_ = 0;
    waiting_ = {line_ + kCacheLine, target_ + kCacheLine, lines - 1};
  }
  target_ += whole;
  held_ = bytes - whole;
  std::memcpy(other_, line_ + whole, held_);
  std::swap(line_, other_);
}

void OutputRows::ClearPadding(size_t rows) const {
  for (size_t row = 0; row < rows; ++row) {
    std::memset(Row() + row * stride_ + rowBytes_, 0, stride_ - rowBytes_);
  }
}

void OutputRows::WriteWaiting() {
  const LineRun run = TakeLines();
  stream_->copy(run.from, run.to, run.lines);
}

void OutputRows::Flush() {
  if (stream_ == nullptr) return;
  WriteWaiting();
  std::memcpy(target_ + notOurs_, line_ + notOurs_, held_ - notOurs_);
  stream_->end();
}

}  // namespace dibkit
