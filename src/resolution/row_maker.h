// SPDX-License-Identifier: Apache-2.0
//
// Makes the rows of one image, each in the fastest way that gives the bytes of the plain form.
#ifndef DIBKIT_SRC_RESOLUTION_ROW_MAKER_H
#define DIBKIT_SRC_RESOLUTION_ROW_MAKER_H

#include <optional>
#include <span>

#include "Cnv_res_mem.h"
#include "common/cpu.h"
#include "common/output_rows.h"
#include "resolution/bilevel_plan.h"
#include "resolution/line_kernels.h"
#include "resolution/line_plan.h"
#include "resolution/positions.h"

namespace dibkit::resolution {

// Whether anybody can look at the engine's histogram of grey values: a host at its own engine can,
// nobody at the driver's.
enum class HistogramUse { kCounted, kUnseen };

// Needs the engine's geometry, table and work buffers, and both blocks locked.
class RowMaker {
 public:
  RowMaker(CLinearTransformMem& engine, HistogramUse use, CpuLevel level);

  // Makes the next output rows, 1 to RowBatch::kMost, all between the same two source rows. `next`:
  // the source rows that will be wanted then.
  void Make(std::span<const RowPair> rows, const RowPair& next, OutputRows& results);

  // Whether rows should go past the caches. Every byte of theirs but the padding is then written,
  // whatever was there before.
  bool Streams() const;

 private:
  using PlainMaker = void (CLinearTransformMem::*)(double, unsigned char*, unsigned char*,
                                                   unsigned char*);
  // A source row whose indices were looked up in the grey table.
  struct StagedRow {
    unsigned char* bytes;
    int32_t row;
  };

  static PlainMaker PlainMakerFor(unsigned short kind);
  void Plan(unsigned channels, CpuLevel level);
  void PlanBilevel(CpuLevel level);
  void StageThroughTable();
  void MakeBilevel(const RowPair& rows, unsigned char* out);
  bool MakeFast(std::span<const RowPair> rows, const RowPair& next, OutputRows& results);
  void MakeSingly(std::span<const RowPair> rows, OutputRows& results);
  unsigned char* SourceRow(uint16_t row) const { return source_ + row * sourceRowBytes_; }
  void Fetch(const RowPair& rows, const RowPair& next, Traffic* traffic) const;
  const unsigned char* Samples(uint16_t row, uint16_t keep);
  void Count(const unsigned char* out);

  CLinearTransformMem& engine_;
  HistogramUse use_;
  unsigned char* source_;
  size_t sourceRowBytes_;
  size_t outputRowBytes_;
  PlainMaker plain_;
  LinePlan plan_;
  LineKernel kernel_ = nullptr;
  bool carries_ = false;  // the kernel carries the lines that it is given
  std::optional<BilevelPlan> bilevel_;
  bool staged_ = false;
  StagedRow staging_[2] = {{nullptr, -1}, {nullptr, -1}};
};

}  // namespace dibkit::resolution

#endif  // DIBKIT_SRC_RESOLUTION_ROW_MAKER_H
