// SPDX-License-Identifier: Apache-2.0
#include "resolution/row_maker.h"

#include <algorithm>
#include <cstddef>

namespace dibkit::resolution {
namespace {

// A plan costs about as much as making so many rows, or so many bytes in all, plainly; one for
// 1-bit rows as so many pixels.
constexpr unsigned kRowsPerPlan = 8;
constexpr unsigned kBytesPerPlan = 512;
constexpr unsigned kPixelsPerBilevelPlan = 576;
// Likewise for rows that only the portable kernels and those of AVX-512 take.
constexpr unsigned kPixelsPerNarrowBilevelPlan = 4096;
constexpr unsigned kNarrow = 128;

// Bytes of a pixel that the kernels can take, or 0.
unsigned ChannelsOf(unsigned short kind) {
  switch (kind) {
    case KIND_GRAY_8BIT:
      return 1;
    case KIND_TRUE_COLOR:
      return 3;
    default:
      return 0;
  }
}

// Asks for a byte of each page of rows that will be fetched soon: their fetching then finds the
// pages' addresses translated.
void TouchPages(std::span<const unsigned char> rows) {
  constexpr size_t kPage = 4096;
  for (size_t at = 0; at < rows.size(); at += kPage) __builtin_prefetch(rows.data() + at);
}

unsigned PixelsPerBilevelPlan(const CLinearTransformMem& engine, CpuLevel level) {
  const bool isNarrow = engine.m_wSourceWidth < kNarrow && level != CpuLevel::kAvx512;
  return isNarrow ? kPixelsPerNarrowBilevelPlan : kPixelsPerBilevelPlan;
}

bool IsIdentity(const tagRGBQUAD (&table)[256]) {
  for (unsigned i = 0; i < 256; ++i) {
    if (table[i].rgbBlue != i) return false;
  }
  return true;
}

PlanGeometry GeometryOf(const CLinearTransformMem& engine) {
  return {.srcWidth = engine.m_wSourceWidth,
          .srcHeight = engine.m_wSourceHeight,
          .dstWidth = engine.m_wOutputWidth,
          .dstHeight = engine.m_wOutputHeight,
          .scaleX = engine.m_dScaleX,
          .scaleY = engine.m_dScaleY,
          .dpi = engine.m_wOutputResolutionX,
          .resX = engine.m_wSourceResolutionX,
          .resY = engine.m_wSourceResolutionY};
}

}  // namespace

RowMaker::RowMaker(CLinearTransformMem& engine, HistogramUse use, CpuLevel level)
    : engine_(engine),
      use_(use),
      source_(engine.m_pSource->m_pData + engine.m_wSourceBitsOffset),
      sourceRowBytes_(static_cast<uint32_t>(engine.m_dwSourceRowBytes)),
      outputRowBytes_(static_cast<uint32_t>(engine.m_dwOutputRowBytes)),
      plain_(PlainMakerFor(engine.m_wKind)) {
  if (engine.m_wSourceWidth == 0 || engine.m_wSourceHeight == 0) {
    plain_ = nullptr;
    return;
  }
  const unsigned pixels = static_cast<unsigned>(engine.m_wOutputWidth) * engine.m_wOutputHeight;
  if (engine.m_wKind == KIND_BILEVEL && pixels >= PixelsPerBilevelPlan(engine, level)) {
    PlanBilevel(level);
  }
  const unsigned channels = ChannelsOf(engine.m_wKind);
  const unsigned bytes = channels * pixels;
  if (bytes >= kBytesPerPlan && engine.m_wOutputHeight >= kRowsPerPlan) Plan(channels, level);
}

RowMaker::PlainMaker RowMaker::PlainMakerFor(unsigned short kind) {
  switch (kind) {
    case KIND_BILEVEL:
      return &CLinearTransformMem::MakeBWImageLine;
    case KIND_GRAY_8BIT:
      return &CLinearTransformMem::Make8bitGrayImageLine;
    case KIND_PALETTE_8BIT:
      return &CLinearTransformMem::Make8bitPaletteColorImageLine;
    case KIND_TRUE_COLOR:
      return &CLinearTransformMem::MakeRGBColorImageLine;
    default:
      return nullptr;
  }
}

// Rows too short for one family of kernels may still suit a plainer one.
void RowMaker::Plan(unsigned channels, CpuLevel level) {
  for (int family = static_cast<int>(level); family >= 0 && kernel_ == nullptr; --family) {
    const LineKernels& kernels = LineKernelsFor(static_cast<CpuLevel>(family));
    plan_ = PrepareLinePlan(GeometryOf(engine_), channels, kernels.narrowShape, kernels.wideShape);
    if (plan_.form == LineForm::kNone) continue;
    kernel_ = kernels.For(plan_.form);
    carries_ = static_cast<CpuLevel>(family) != CpuLevel::kPortable;
  }
  if (channels == 1 && kernel_ != nullptr && !IsIdentity(engine_.m_ColorTable)) {
    StageThroughTable();
  }
}

// The work buffers hold the looked-up rows; without them the plain maker looks up for itself.
void RowMaker::StageThroughTable() {
  staged_ = true;
  staging_[0].bytes = engine_.m_pSourceRowA;
  staging_[1].bytes = engine_.m_pSourceRowB;
  if (engine_.m_pSourceRowA == nullptr || sourceRowBytes_ < engine_.m_wSourceWidth) {
    kernel_ = nullptr;
    carries_ = false;
  }
}

// MakeBWImageLine makes as many columns as both the table and the width have.
void RowMaker::PlanBilevel(CpuLevel level) {
  const size_t count = std::min<size_t>(engine_.m_Columns.size(), engine_.m_wOutputWidth);
  const bool setIsDark = engine_.m_ColorTable[0].rgbBlue == 255;
  bilevel_.emplace(PrepareBilevelPlan(engine_.m_Columns.data(), count, engine_.m_wSourceWidth,
                                      setIsDark, engine_.m_iThreshold, BilevelKernelsFor(level)));
}

void RowMaker::MakeBilevel(const RowPair& rows, unsigned char* out) {
  MakePlannedBilevelLine(*bilevel_, {rows.fraction, SourceRow(rows.first), SourceRow(rows.second)},
                         out);
}

// Where the arithmetic is heavy it hides the price of fetching old lines, and carrying lines would
// only add to it. It is light when it is next to none, or shared by several rows.
bool RowMaker::Streams() const {
  if (!carries_) return false;
  const bool enlarges = engine_.m_wOutputHeight > engine_.m_wSourceHeight;
  return plan_.form == LineForm::kCopy || plan_.errors == ErrorForm::kExact ||
         (plan_.form == LineForm::kWide && enlarges);
}

void RowMaker::Make(std::span<const RowPair> rows, const RowPair& next, OutputRows& results) {
  if (!MakeFast(rows, next, results)) MakeSingly(rows, results);
  results.Next(rows.size());
}

void RowMaker::MakeSingly(std::span<const RowPair> rows, OutputRows& results) {
  if (plain_ == nullptr) return;
  unsigned char* out = results.Row();
  for (const RowPair& row : rows) {
    if (bilevel_) {
      MakeBilevel(row, out);
    } else {
      (engine_.*plain_)(row.fraction, SourceRow(row.first), SourceRow(row.second), out);
    }
    out += outputRowBytes_;
  }
}

bool RowMaker::MakeFast(std::span<const RowPair> rows, const RowPair& next, OutputRows& results) {
  if (kernel_ == nullptr) return false;
  RowBatch batch{.rowA = nullptr,
                 .rowB = nullptr,
                 .count = static_cast<uint32_t>(rows.size()),
                 .phases = {},
                 .out = results.Row(),
                 .outStride = outputRowBytes_,
                 .traffic = {}};
  for (uint32_t i = 0; i < batch.count; ++i) {
    if (!PlaceRow(plan_, rows[i].fraction, &batch.phases[i])) return false;
  }
  batch.rowA = Samples(rows[0].first, rows[0].second);
  batch.rowB = Samples(rows[0].second, rows[0].first);
  Fetch(rows[0], next, &batch.traffic);
  batch.traffic.carry = results.TakeLines();
  kernel_(plan_, batch);
  if (plan_.channels == 1 && use_ == HistogramUse::kCounted) {
    for (uint32_t i = 0; i < batch.count; ++i) Count(batch.Out(i));
  }
  return true;
}

// The source rows that the next output row adds to those of this one.
void RowMaker::Fetch(const RowPair& rows, const RowPair& next, Traffic* traffic) const {
  const bool single = plan_.form == LineForm::kCopy;
  const uint16_t made = single ? rows.first : rows.second;
  const uint16_t last = single ? next.first : next.second;
  const uint16_t first = std::max(next.first, static_cast<uint16_t>(made + 1));
  if (last < first) return;
  traffic->fetch = SourceRow(first);
  traffic->fetchBytes = (last - first) * sourceRowBytes_ + plan_.rowBytes;
  const unsigned ahead = static_cast<unsigned>(next.first - rows.first);
  if (next.second + ahead < engine_.m_wSourceHeight) {
    TouchPages({traffic->fetch + ahead * sourceRowBytes_, traffic->fetchBytes});
  }
}

// A source row as samples, while the samples of row `keep` stay as well.
const unsigned char* RowMaker::Samples(uint16_t row, uint16_t keep) {
  if (!staged_) return SourceRow(row);
  for (const StagedRow& stage : staging_) {
    if (stage.row == row) return stage.bytes;
  }
  StagedRow& stage = staging_[staging_[0].row == keep ? 1 : 0];
  const unsigned char* indices = SourceRow(row);
  for (size_t x = 0; x < plan_.rowBytes; ++x) {
    stage.bytes[x] = engine_.m_ColorTable[indices[x]].rgbBlue;
  }
  stage.row = row;
  return stage.bytes;
}

void RowMaker::Count(const unsigned char* out) {
  for (size_t x = 0; x < plan_.samples; ++x) ++engine_.m_Histogram[out[x]];
}

}  // namespace dibkit::resolution
