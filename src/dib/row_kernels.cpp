// SPDX-License-Identifier: Apache-2.0
#include "dib/row_kernels.h"

#include <cstring>

#include "common/output_rows.h"
#include "common/streaming.h"

namespace dibkit {

void RowTables::SetColor(size_t index, uint8_t b, uint8_t g, uint8_t r) {
  blue[index] = b;
  green[index] = g;
  red[index] = r;
  StoreTriple(colors[index], b, g, r);
  SetWord(index, Word555(r, g, b));
}

void RowTables::SetWord(size_t index, uint16_t word) {
  lowWord[index] = static_cast<uint8_t>(word);
  highWord[index] = static_cast<uint8_t>(word >> 8);
}

void RunKernel(const RowJob& job, RowKernel convert, const RowTables& tables, CpuLevel level) {
  OutputRows rows({.first = job.target,
                   .rowBytes = job.targetBytes,
                   .stride = static_cast<size_t>(job.targetStride),
                   .rows = job.height},
                  1, level);
  for (size_t y = 0; y < job.height; ++y) {
    convert(job.SourceRow(y), rows.Row(), job.width, tables);
    rows.Next();
  }
}

void CopyRows(const RowJob& job, CpuLevel level) {
  // Most of a shorter row is the two ends that cannot be streamed.
  constexpr size_t kShortRow = 256;
  const LineStream* const stream =
      job.targetBytes < kShortRow ? nullptr
                                  : LineStreamInto(job.target, job.targetBytes * job.height, level);
  for (size_t y = 0; y < job.height; ++y) {
    if (stream != nullptr) {
      StreamBytes(*stream, job.SourceRow(y), job.TargetRow(y), job.targetBytes);
    } else {
      std::memcpy(job.TargetRow(y), job.SourceRow(y), job.targetBytes);
    }
  }
  if (stream != nullptr) stream->end();
}

}  // namespace dibkit
