// SPDX-License-Identifier: Apache-2.0
//
// Where the rows of a result are made. Those of a large result are made in a small buffer and
// carried on from there past the caches, whole cache lines at a time.
#ifndef DIBKIT_SRC_COMMON_OUTPUT_ROWS_H
#define DIBKIT_SRC_COMMON_OUTPUT_ROWS_H

#include <cstddef>
#include <cstdint>
#include <memory>

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

class OutputRows {
 public:
  // Streams where that pays. The result's padding must be 0: it is then written as that. Without
  // memory for the buffer rows are made in place.
  OutputRows(const RowRun& run, CpuLevel level);
  ~OutputRows() { Flush(); }
  OutputRows(const OutputRows&) = delete;
  OutputRows& operator=(const OutputRows&) = delete;

  // Where to make the next row: the buffer holds anything before, a result in place what it held.
  uint8_t* Row() const { return line_ + held_; }

  // The row at Row() is made.
  void Next();

 private:
  void Carry();
  void Flush();

  // The row's bytes go to `target_` + `held_`. In place `line_` is `target_`; otherwise it is the
  // buffer, laid out like the result from a line's start on, and its first `held_` bytes are the
  // end of the row before.
  const LineStream* stream_;
  size_t rowBytes_;
  size_t stride_;
  uint8_t* target_;
  uint8_t* line_;
  size_t held_ = 0;
  size_t notOurs_ = 0;  // bytes of the first line that lie before the result
  std::unique_ptr<uint8_t[]> memory_;
};

}  // namespace dibkit

#endif  // DIBKIT_SRC_COMMON_OUTPUT_ROWS_H
