// SPDX-License-Identifier: Apache-2.0
//
// Where the rows of a result are made. Those of a large result are made in a small buffer and
// carried on from there past the caches, whole cache lines at a time.
#ifndef DIBKIT_SRC_COMMON_OUTPUT_ROWS_H
#define DIBKIT_SRC_COMMON_OUTPUT_ROWS_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>

#include "common/streaming.h"

namespace dibkit {

// Rows that follow each other in memory.
struct RowRun {
  uint8_t* first;
  size_t rowBytes;  // without padding
  size_t stride;    // with it
  size_t rows;

  size_t bytes() const { return stride * rows; }
};

// Whole cache lines on their way into a result.
struct LineRun {
  const uint8_t* from = nullptr;
  uint8_t* to = nullptr;
  size_t lines = 0;
};

class OutputRows {
 public:
  // Streams where that pays. The result's padding must be 0: it is then written as that. `together`
  // is how many rows are made at a time at most. Without memory for the buffer rows are made in
  // place.
  OutputRows(const RowRun& run, size_t together, CpuLevel level);
  ~OutputRows() { Flush(); }
  OutputRows(const OutputRows&) = delete;
  OutputRows& operator=(const OutputRows&) = delete;

  // Where to make the next rows, at the result's stride: a buffer holds anything before, a result
  // in place what it held.
  uint8_t* Row() const { return line_ + held_; }

  // Lines of the rows made last, for the caller to stream while it makes the next ones. If nobody
  // takes them they go with Next().
  LineRun TakeLines() { return std::exchange(waiting_, {}); }

  // The next `rows` rows are made.
  void Next(size_t rows = 1);

 private:
  void Carry(size_t rows);
  void ClearPadding(size_t rows) const;
  void WriteWaiting();
  void Flush();

  // The row's bytes go to `target_` + `held_`. In place `line_` is `target_`; otherwise it is a
  // buffer, laid out like the result from a line's start on, and its first `held_` bytes are the
  // end of the row before. The other buffer holds the lines that wait.
  const LineStream* stream_;
  size_t rowBytes_;
  size_t stride_;
  uint8_t* target_;
  uint8_t* line_;
  uint8_t* other_ = nullptr;
  LineRun waiting_;
  size_t held_ = 0;
  size_t notOurs_ = 0;  // bytes of the first line that lie before the result
  std::unique_ptr<uint8_t[]> memory_;
};

}  // namespace dibkit

#endif  // DIBKIT_SRC_COMMON_OUTPUT_ROWS_H
