// SPDX-License-Identifier: Apache-2.0
#include "dib/depth_rows.h"

#include <algorithm>

namespace dibkit {

namespace {

constexpr size_t kIndices = 256;

// What the kernels know as colours without an entry is black, as in the plain form.
void FillRowTables(const PixelMeaning& meaning, RowTables& tables) {
  for (size_t i = 0; i < std::min<size_t>(meaning.colorCount, kIndices); ++i) {
    const unsigned char* color = meaning.colors + i * meaning.entrySize;
    tables.SetColor(i, color[0], color[1], color[2]);
  }
  for (size_t i = 0; i < meaning.reds.size(); ++i) {
    tables.SetColor(i, meaning.blues[i], meaning.greens[i], meaning.reds[i]);
  }
  for (size_t i = 0; i < meaning.words.size(); ++i) tables.SetWord(i, meaning.words[i]);
  tables.redField = meaning.red;
  tables.greenField = meaning.green;
  tables.blueField = meaning.blue;
}

bool KernelsPay(const DepthJob& job) {
  return job.fromBytes >= job.fromStride * job.rows &&
         uint64_t{job.width} * job.rows >= kKernelsPayFrom;
}

}  // namespace

void ConvertRows(const DepthJob& job, const RowForms& forms, const PixelMeaning& meaning) {
  if (!KernelsPay(job)) {
    ConvertRowsPlainly(job, forms.plain, meaning);
    return;
  }
  RowTables tables;
  FillRowTables(meaning, tables);
  const CpuLevel level = BestCpuLevel();
  RunKernel({.source = job.from,
             .sourceStride = static_cast<ptrdiff_t>(job.fromStride),
             .target = job.to,
             .targetStride = static_cast<ptrdiff_t>(job.toStride),
             .width = job.width,
             .height = job.rows,
             .targetBytes = job.width * (job.toBits / 8)},
            RowKernelsFor(level).*forms.kernel, tables, level);
}

}  // namespace dibkit
