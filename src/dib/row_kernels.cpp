// SPDX-License-Identifier: Apache-2.0
#include "dib/row_kernels.h"

#include <cstring>
#include <memory>
#include <new>

namespace dibkit {
namespace {

// An image from this size on does not stay in the caches until somebody reads it. Written past them
// it costs half the traffic, because no old bytes are fetched first.
constexpr size_t kStreamFrom = size_t{4} << 20;

bool WantsStream(const RowJob& job, const RowKernels& kernels) {
  // Most of a shorter row is the two ends that cannot be streamed.
  constexpr size_t kShortRow = 256;
  return kernels.stream != nullptr && job.targetBytes >= kShortRow &&
         job.targetBytes > kStreamFrom / (job.height + 1);
}

// A row in the making, where its vectors do not straddle lines.
class StagedRow {
 public:
  explicit StagedRow(size_t bytes)
      : memory_(new (std::nothrow) uint8_t[bytes + kLine]),
        row_(memory_ == nullptr ? nullptr : Aligned(memory_.get())) {}
  uint8_t* get() const { return row_; }

 private:
  static constexpr size_t kLine = 64;
  static uint8_t* Aligned(uint8_t* at) {
    return at + (-reinterpret_cast<uintptr_t>(at) & (kLine - 1));
  }
  std::unique_ptr<uint8_t[]> memory_;
  uint8_t* row_;
};

// False, with nothing written, when there is no memory for a row.
bool StreamRows(const RowJob& job, RowKernel convert, const RowTables& tables,
                const RowKernels& kernels) {
  const StagedRow staged(job.targetBytes);
  if (staged.get() == nullptr) return false;
  for (size_t y = 0; y < job.height; ++y) {
    convert(job.SourceRow(y), staged.get(), job.width, tables);
    kernels.stream(staged.get(), job.TargetRow(y), job.targetBytes);
  }
  kernels.endStreams();
  return true;
}

}  // namespace

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

void RunKernel(const RowJob& job, RowKernel convert, const RowTables& tables,
               const RowKernels& kernels) {
  if (WantsStream(job, kernels) && StreamRows(job, convert, tables, kernels)) return;
  for (size_t y = 0; y < job.height; ++y) {
    convert(job.SourceRow(y), job.TargetRow(y), job.width, tables);
  }
}

void CopyRows(const RowJob& job, const RowKernels& kernels) {
  const bool streams = WantsStream(job, kernels);
  for (size_t y = 0; y < job.height; ++y) {
    if (streams) {
      kernels.stream(job.SourceRow(y), job.TargetRow(y), job.targetBytes);
    } else {
      std::memcpy(job.TargetRow(y), job.SourceRow(y), job.targetBytes);
    }
  }
  if (streams) kernels.endStreams();
}

}  // namespace dibkit
