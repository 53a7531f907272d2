// SPDX-License-Identifier: Apache-2.0
//
// The engine: reads the source's description, computes the result's, walks the output rows.
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <new>
#include <span>

#include "Cnv_res_mem.h"
#include "common/output_rows.h"
#include "dib/layout.h"
#include "resolution/geometry.h"
#include "resolution/gray_ramp.h"
#include "resolution/lines.h"
#include "resolution/positions.h"
#include "resolution/sinks.h"
#include "resolution/transform.h"

using namespace dibkit;
using namespace dibkit::resolution;

namespace {

// Reports a percentage whenever it changes.
class Progress {
 public:
  explicit Progress(int (*callback)(unsigned short)) : callback_(callback) {}

  // False when the callback cancels.
  bool Report(unsigned row, unsigned rows) {
    const unsigned percent = std::min(row * 100 / rows, 99u);
    const bool changed = percent != last_;
    last_ = percent;
    return !changed || callback_ == nullptr || callback_(static_cast<unsigned short>(percent)) != 0;
  }

 private:
  static constexpr unsigned kNothingReported = 1000;

  int (*callback_)(unsigned short);
  unsigned last_ = kNothingReported;
};

void UnlockAndFree(tagHANDLE*& handle, bool isLocked) {
  if (handle == nullptr) return;
  if (isLocked) {
    GlobalUnlock(handle);
  }
  GlobalFree(handle);
  handle = nullptr;
}

bool NamesSource(unsigned short mode) {
  return (mode & (TRANSFORM_SRC_FILE | TRANSFORM_SRC_MEMORY)) != 0;
}

SourceGeometry SourceOf(const CLinearTransformMem& engine) {
  return {engine.m_wSourceWidth, engine.m_wSourceHeight, engine.m_wSourceBitCount,
          engine.m_wSourceResolutionX, engine.m_wSourceResolutionY};
}

LineGeometry LineOf(const CLinearTransformMem& engine) {
  return {engine.m_dScaleX, engine.m_wSourceWidth, engine.m_wOutputWidth};
}

unsigned short KindOf(CLinearTransformMem& engine) {
  switch (engine.m_wSourceBitCount) {
    case 1:
      return KIND_BILEVEL;
    case 4:
      return engine.IsGrayImage() == 1 ? KIND_GRAY_4BIT : KIND_NONE;
    case 8:
      return engine.IsGrayImage() == 1 ? KIND_GRAY_8BIT : KIND_PALETTE_8BIT;
    case 24:
      return KIND_TRUE_COLOR;
    default:
      return KIND_NONE;
  }
}

// Keeps all but the reserved byte, which stays 0.
void KeepColor(const unsigned char* entry, tagRGBQUAD& color) {
  Store32(reinterpret_cast<unsigned char*>(&color), Load32(entry) & 0x00FFFFFF);
}

// A table in memory is read where it stands.
void TakeColorTable(CBufTransfer& source, uint16_t count, tagRGBQUAD (&table)[256]) {
  const unsigned char* entries = source.m_pData + static_cast<uint32_t>(source.m_dwPosition);
  for (unsigned i = 0; i < std::min<unsigned>(count, 256); ++i) {
    KeepColor(entries + i * sizeof(tagRGBQUAD), table[i]);
  }
  source.m_dwPosition = static_cast<uint32_t>(source.m_dwPosition + count * sizeof(tagRGBQUAD));
}

// Entries beyond the 256 that the engine keeps only move the position: depths that have them get no
// line maker.
bool ReadColorTable(CBufTransfer& source, uint16_t count, tagRGBQUAD (&table)[256]) {
  if (!IsFile(source)) {
    TakeColorTable(source, count, table);
    return true;
  }
  for (unsigned i = 0; i < count; ++i) {
    unsigned char entry[sizeof(tagRGBQUAD)];
    if (!ReadNext(source, entry, sizeof entry)) return false;
    if (i < 256) KeepColor(entry, table[i]);
  }
  return true;
}

// The driver's own result is a fresh block, zeroed up to its padding and seen by nobody else until
// it is complete: it can be written past the caches, and several rows at a time. A host's own is
// written row by row, in place.
OutputRows ResultRows(const CLinearTransformMem& engine, bool isOurs, CpuLevel level) {
  const size_t stride = static_cast<uint32_t>(engine.m_dwOutputRowBytes);
  return OutputRows({.first = engine.m_pDestination->m_pData + engine.m_wOutputBitsOffset,
                     .rowBytes = size_t{engine.m_wOutputWidth} * engine.m_wOutputBitCount / 8,
                     .stride = stride,
                     .rows = engine.m_wOutputHeight},
                    RowBatch::kMost, isOurs ? level : CpuLevel::kPortable);
}

// The pairs of source rows of the output rows, those that lie between the same two together.
class RowWalk {
 public:
  RowWalk(const CLinearTransformMem& engine, size_t together)
      : together_(together),
        left_(engine.m_wOutputHeight),
        sourceHeight_(engine.m_wSourceHeight),
        places_(engine.m_dScaleY, engine.m_wOutputHeight),
        next_(PairRows(places_.Next(), sourceHeight_)) {}

  // The next output rows; none at the end.
  std::span<const RowPair> Take() {
    size_t count = 0;
    do {
      if (left_ == 0) break;
      rows_[count++] = next_;
      if (--left_ != 0) next_ = PairRows(places_.Next(), sourceHeight_);
    } while (count < together_ && next_.first == rows_[0].first);
    return {rows_, count};
  }

  // The source rows of the row after those, or of the last.
  const RowPair& Next() const { return next_; }

 private:
  size_t together_;
  unsigned left_;
  uint16_t sourceHeight_;
  PlaceWalk places_;
  RowPair next_;
  RowPair rows_[RowBatch::kMost];
};

// Makes every row of the result. False when the progress callback cancels.
bool MakeRows(CLinearTransformMem& engine, HistogramUse use, CpuLevel level) {
  const bool isOurs = use == HistogramUse::kUnseen;
  RowMaker maker(engine, use, level);
  OutputRows results = ResultRows(engine, isOurs && maker.Streams(), level);
  RowWalk walk(engine, isOurs ? RowBatch::kMost : 1);
  Progress progress(engine.m_pProgress);
  unsigned made = 0;
  for (auto rows = walk.Take(); !rows.empty(); rows = walk.Take()) {
    maker.Make(rows, walk.Next(), results);
    for (size_t i = 0; i < rows.size(); ++i) {
      if (!progress.Report(made++, engine.m_wOutputHeight)) return false;
    }
  }
  return true;
}

// Which engines get their column table filled.
enum class Columns { kAlways, kIfRead };

// Only 1-bit rows read the column table. Where nobody else can, the others just ask for its memory,
// so that a conversion that runs out of memory answers the same for every kind of image.
void PrepareColumns(CLinearTransformMem& engine, Columns columns) {
  if (columns == Columns::kIfRead && engine.m_wKind != KIND_BILEVEL) {
    engine.m_Columns.reserve(engine.m_wOutputWidth);
    return;
  }
  FillColumns(engine.m_dScaleX, engine.m_wSourceWidth, engine.m_wOutputWidth, engine.m_Columns);
}

int FillAndMakeRows(CLinearTransformMem& engine, Columns columns, HistogramUse use,
                    CpuLevel level) {
  if (engine.m_pSource->m_pData == nullptr) return CNV_SOURCE_UNREADABLE;
  if (engine.m_pDestination->m_pData == nullptr) return CNV_HEADER_NOT_WRITTEN;
  try {
    PrepareColumns(engine, columns);
  } catch (const std::bad_alloc&) {
    return CNV_NO_MEMORY;
  }
  return MakeRows(engine, use, level) ? CNV_OK : CNV_CANCELLED;
}

int OpenAndMakeRows(CLinearTransformMem& engine, unsigned short mode, Columns columns,
                    HistogramUse use, CpuLevel level) {
  int status = engine.OpenImage(mode);
  if (status == CNV_OK) {
    status = FillAndMakeRows(engine, columns, use, level);
  }
  engine.CloseImage(mode);
  return status;
}

void SetOutputGeometry(CLinearTransformMem& engine, unsigned short dpi) {
  const OutputGeometry output = Scale(SourceOf(engine), dpi);
  engine.m_dScaleX = output.scaleX;
  engine.m_dScaleY = output.scaleY;
  engine.m_wOutputBitCount = engine.m_wSourceBitCount;
  engine.m_wOutputKind = engine.m_wKind;
  engine.m_wOutputWidth = output.width;
  engine.m_wOutputHeight = output.height;
  engine.m_wOutputResolutionX = dpi;
  engine.m_wOutputResolutionY = dpi;
  engine.m_dwOutputRowBytes = RowBytes(engine.m_wOutputBitCount, engine.m_wOutputWidth);
}

}  // namespace

namespace dibkit::resolution {

int Transform(CLinearTransformMem& engine, unsigned short mode, int (*progress)(unsigned short),
              unsigned short dpi, int threshold, HistogramUse use) {
  engine.m_pProgress = progress;
  engine.m_wMode = mode;
  engine.m_iThreshold = threshold;
  if (!NamesSource(mode) && engine.m_pSource->m_wKind == kSinkNone) return CNV_BAD_SOURCE;
  const int read = engine.GetSourceImageInfo();
  if (read != CNV_OK) return read;
  // A vertical resolution of 0 is let through: the result then has no rows.
  if (engine.m_wSourceResolutionX == 0) return CNV_BAD_SOURCE;
  SetOutputGeometry(engine, dpi);
  const int written = engine.CreateOutputData();
  if (written != CNV_OK) return written;
  const Columns columns = use == HistogramUse::kUnseen ? Columns::kIfRead : Columns::kAlways;
  return OpenAndMakeRows(engine, mode, columns, use, BestCpuLevel());
}

int CreateRows(CLinearTransformMem& engine, unsigned short mode, HistogramUse use, CpuLevel level) {
  return OpenAndMakeRows(engine, mode, Columns::kAlways, use, level);
}

}  // namespace dibkit::resolution

int CLinearTransformMem::LinearTransform(unsigned short mode, int (*progress)(unsigned short),
                                         unsigned short dpi, int threshold) {
  return Transform(*this, mode, progress, dpi, threshold, HistogramUse::kCounted);
}

int CLinearTransformMem::CreateImage(unsigned short mode, int /*threshold*/) {
  return CreateRows(*this, mode, HistogramUse::kCounted, BestCpuLevel());
}

int CLinearTransformMem::GetSourceImageInfo() {
  unsigned char header[kInfoHeaderSize];
  if (IsFile(*m_pSource)) {
    unsigned char fileHeader[kFileHeaderSize];
    if (!ReadNext(*m_pSource, fileHeader, sizeof fileHeader)) return CNV_SOURCE_UNREADABLE;
  }
  if (!ReadNext(*m_pSource, header, sizeof header)) return CNV_SOURCE_UNREADABLE;

  const SourceGeometry source = ReadSourceGeometry(header);
  m_wSourceWidth = source.width;
  m_wSourceHeight = source.height;
  m_wSourceBitCount = source.bitCount;
  m_wSourceResolutionX = source.dpiX;
  m_wSourceResolutionY = source.dpiY;
  m_dwSourceRowBytes = RowBytes(source.bitCount, source.width);
  if (!ReadColorTable(*m_pSource, FullTableEntries(source.bitCount), m_ColorTable)) {
    return CNV_SOURCE_UNREADABLE;
  }
  m_wSourceBitsOffset = static_cast<unsigned short>(m_pSource->m_dwPosition);
  m_wKind = KindOf(*this);
  return CNV_OK;
}

int CLinearTransformMem::IsGrayImage() {
  const auto* entries = reinterpret_cast<const unsigned char*>(m_ColorTable);
  return IsGrayRamp(entries) || IsGrayTable(entries, std::size(m_ColorTable)) ? 1 : 0;
}

int CLinearTransformMem::OpenImage(unsigned short /*mode*/) {
  const unsigned sourceRow = static_cast<unsigned>(m_dwSourceRowBytes);
  m_hSourceRows = GlobalAlloc(GHND, 2 * sourceRow);
  m_hOutputRow = GlobalAlloc(GHND, static_cast<unsigned>(m_dwOutputRowBytes));
  if (m_hSourceRows == nullptr || m_hOutputRow == nullptr) return CNV_NO_MEMORY;
  m_pSourceRowA = static_cast<unsigned char*>(GlobalLock(m_hSourceRows));
  m_pSourceRowB = m_pSourceRowA != nullptr ? m_pSourceRowA + sourceRow : nullptr;
  m_pOutputRow = static_cast<unsigned char*>(GlobalLock(m_hOutputRow));
  return CNV_OK;
}

void CLinearTransformMem::CloseImage(unsigned short /*mode*/) {
  UnlockAndFree(m_hSourceRows, m_pSourceRowA != nullptr);
  UnlockAndFree(m_hOutputRow, m_pOutputRow != nullptr);
  m_pSourceRowA = nullptr;
  m_pSourceRowB = nullptr;
  m_pOutputRow = nullptr;
}

void CLinearTransformMem::MakeBWImageLine(double fy, unsigned char* rowA, unsigned char* rowB,
                                          unsigned char* out) {
  const bool setIsDark = m_ColorTable[0].rgbBlue == 255;
  MakeBilevelLine(m_Columns.data(), std::min<size_t>(m_Columns.size(), m_wOutputWidth), setIsDark,
                  m_iThreshold, {fy, rowA, rowB}, out);
}

void CLinearTransformMem::Make4bitGrayImageLine(double fy, unsigned char* rowA, unsigned char* rowB,
                                                unsigned char* out) {
  MakeGray4Line(LineOf(*this), m_ColorTable, {fy, rowA, rowB}, out);
}

void CLinearTransformMem::Make8bitGrayImageLine(double fy, unsigned char* rowA, unsigned char* rowB,
                                                unsigned char* out) {
  MakeGray8Line(LineOf(*this), m_ColorTable, {fy, rowA, rowB}, m_Histogram, out);
}

void CLinearTransformMem::Make8bitPaletteColorImageLine(double fy, unsigned char* rowA,
                                                        unsigned char* rowB, unsigned char* out) {
  MakePalette8Line(LineOf(*this), m_ColorTable, {fy, rowA, rowB}, out);
}

void CLinearTransformMem::MakeRGBColorImageLine(double fy, unsigned char* rowA, unsigned char* rowB,
                                                unsigned char* out) {
  MakeTrueColorLine(LineOf(*this), {fy, rowA, rowB}, out);
}

int CLinearTransformMem::GetImageLine(unsigned short line, unsigned char* buffer) {
  const uint32_t rowBytes = static_cast<uint32_t>(m_dwSourceRowBytes);
  const uint64_t offset = uint64_t{line} * rowBytes + m_wSourceBitsOffset;
  if (IsFile(*m_pSource)) {
    const int file = m_pSource->m_iFile;
    // Only a seek to offset 0 counts as a success.
    if (file == -1 || ::lseek(file, static_cast<off_t>(offset), SEEK_SET) != 0 ||
        !ReadFile(file, buffer, rowBytes)) {
      return 0;
    }
    m_pSource->m_dwPosition = FilePosition(file);
    return 1;
  }
  if (m_pSource->m_pData == nullptr) return 0;
  std::memcpy(buffer, m_pSource->m_pData + offset, rowBytes);
  m_pSource->m_dwPosition = static_cast<uint32_t>(offset + rowBytes);
  return 1;
}
