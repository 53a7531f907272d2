// SPDX-License-Identifier: Apache-2.0
#include "line_comparison.h"

#include <algorithm>
#include <cstring>
#include <sstream>

#include "reference/resample_model.h"
#include "resolution/line_kernels.h"
#include "resolution/line_plan.h"
#include "resolution/lines.h"
#include "resolution/transform.h"
#include "support/guarded_bytes.h"
#include "x87_precision.h"

namespace dibtest {
namespace {

using dibkit::CpuLevel;
using namespace dibkit::resolution;

using Bytes = std::vector<uint8_t>;

constexpr size_t kCanaryBytes = 64;
constexpr uint8_t kCanary = 0x5A;
constexpr uint8_t kUnwritten = 0xA5;

double ScaleOf(unsigned dpi, unsigned resolution) {
  return static_cast<double>(static_cast<Real>(dpi) / static_cast<Real>(resolution));
}

// Two rows of `size` samples.
struct Rows {
  uint8_t* a;
  uint8_t* b;
  size_t size;
  unsigned channels;
};

// base, base + step, ... up to `most`: one of them.
uint8_t Step(unsigned base, unsigned step, unsigned most, Random& random) {
  return static_cast<uint8_t>(base + step * random.Below((most - base) / step + 1));
}

void FillText(const Rows& rows, unsigned changes, Random& random) {
  for (size_t i = 0; i < rows.size; ++i) {
    const bool changed = i == 0 || random.Below(changes) == 0;
    rows.a[i] = changed ? (random.Below(2) != 0 ? 255 : 0) : rows.a[i - 1];
    rows.b[i] = random.Below(2 * changes) != 0 ? rows.a[i] : static_cast<uint8_t>(255 - rows.a[i]);
  }
}

void FillPaper(const Rows& rows, Random& random) {
  std::fill_n(rows.a, rows.size, uint8_t{254});
  std::fill_n(rows.b, rows.size, uint8_t{254});
  for (size_t at = random.Below(400); at < rows.size; at += 1 + random.Below(800)) {
    const size_t length = std::min<size_t>(1 + random.Below(20), rows.size - at);
    std::generate_n((random.Below(2) != 0 ? rows.a : rows.b) + at, length,
                    [&] { return random.Byte(); });
  }
}

// Steps along a row are multiples of Qx and the rows are a multiple of Qy apart, the same all
// along. Parts above 255 leave only steps of 0.
void FillIntegers(const Rows& rows, uint32_t partsX, uint32_t partsY, Random& random) {
  const unsigned lift = partsY <= 255 ? Step(0, partsY, 255, random) : 0;
  const unsigned most = 255 - lift;
  const unsigned base = random.Below(std::min(partsX, most + 1));
  for (size_t i = 0; i < rows.size; ++i) {
    rows.a[i] = Step(base, partsX, most, random);
    rows.b[i] = static_cast<uint8_t>(rows.a[i] + lift);
  }
  if (random.Below(2) != 0) std::swap_ranges(rows.a, rows.a + rows.size, rows.b);
}

void FillIntegerSteps(const Rows& rows, uint32_t partsX, uint32_t partsY, Random& random) {
  const uint32_t both = partsX * partsY;
  const uint32_t step = both <= 255 ? both : partsX <= 255 ? partsX : 1;
  const unsigned base = random.Below(step);
  for (size_t i = 0; i < rows.size; ++i) {
    rows.a[i] = Step(base, step, 255, random);
    rows.b[i] = Step(base, step, 255, random);
  }
}

// Both rows independently: base to base + levels - 1.
void FillNoise(const Rows& rows, unsigned base, unsigned levels, Random& random) {
  for (size_t i = 0; i < rows.size; ++i) {
    rows.a[i] = static_cast<uint8_t>(base + random.Below(levels));
    rows.b[i] = static_cast<uint8_t>(base + random.Below(levels));
  }
}

void FillPattern(const Rows& rows, RowKind kind, unsigned base) {
  for (size_t i = 0; i < rows.size; ++i) {
    const size_t column = i / rows.channels;
    if (kind == RowKind::kCheckerboard) {
      rows.a[i] = column % 2 != 0 ? 255 : 0;
      rows.b[i] = static_cast<uint8_t>(255 - rows.a[i]);
    } else {
      rows.a[i] = static_cast<uint8_t>(column + base);
      rows.b[i] = static_cast<uint8_t>(column + base + 1);
    }
  }
}

void FillRows(const Rows& rows, RowKind kind, uint32_t partsX, uint32_t partsY, Random& random) {
  const unsigned base = random.Byte();
  switch (kind) {
    case RowKind::kRandom:
      return FillNoise(rows, 0, 256, random);
    case RowKind::kFlat:
      return FillNoise(rows, base, 1, random);
    case RowKind::kGradient:
    case RowKind::kCheckerboard:
      return FillPattern(rows, kind, base);
    case RowKind::kText:
      return FillText(rows, 8, random);
    case RowKind::kPaper:
      return FillPaper(rows, random);
    case RowKind::kIntegers:
      return FillIntegers(rows, partsX, partsY, random);
    case RowKind::kIntegerSteps:
      return FillIntegerSteps(rows, partsX, partsY, random);
    case RowKind::kPaperNoise:
      return FillNoise(rows, 250, 3, random);
    case RowKind::kTwoLevels:
      return FillNoise(rows, std::min(base, 254u), 2, random);
  }
}

// A row that is written: inaccessible memory on one side, canaries on the other.
class TargetRow {
 public:
  TargetRow(size_t size, bool guardBehind)
      : m_bytes(size + kCanaryBytes, guardBehind ? GuardSide::kEnd : GuardSide::kStart),
        m_size(size),
        m_row(m_bytes.data() + (guardBehind ? kCanaryBytes : 0)),
        m_canaries(m_bytes.data() + (guardBehind ? 0 : size)) {}

  uint8_t* Clear() {
    std::fill_n(m_row, m_size, kUnwritten);
    std::fill_n(m_canaries, kCanaryBytes, kCanary);
    return m_row;
  }

  uint64_t Differences(const Bytes& wanted) const {
    uint64_t count = 0;
    for (size_t i = 0; i < m_size; ++i) count += m_row[i] != wanted[i] ? 1u : 0u;
    const auto alive = std::count(m_canaries, m_canaries + kCanaryBytes, kCanary);
    return count + (kCanaryBytes - static_cast<uint64_t>(alive));
  }

 private:
  GuardedBytes m_bytes;
  size_t m_size;
  uint8_t* m_row;
  uint8_t* m_canaries;
};

PlanGeometry GeometryOf(const LineCase& line) {
  return {.srcWidth = line.width,
          .srcHeight = line.height,
          .dstWidth = ModelLength(line.width, line.resX, line.dpi),
          .dstHeight = ModelLength(line.height, line.resY, line.dpi),
          .scaleX = ScaleOf(line.dpi, line.resX),
          .scaleY = ScaleOf(line.dpi, line.resY),
          .dpi = line.dpi,
          .resX = line.resX,
          .resY = line.resY};
}

// Some rows from the start, where positions are finest, some from the end, some from anywhere.
uint32_t PickRow(uint32_t height, unsigned turn, Random& random) {
  switch (turn % 3) {
    case 0:
      return random.Below(std::min(height, 8u));
    case 1:
      return random.Below(height);
    default:
      return height - 1 - random.Below(std::min(height, 4u));
  }
}

// One output row, ready to be made again and again.
struct RowTask {
  GuardedBytes a;
  GuardedBytes b;
  double fy;
  bool single;  // both source rows are the same one
  Bytes wanted;

  explicit RowTask(size_t size, GuardSide side)
      : a(size, side), b(size, side), fy(0), single(false) {}
  const uint8_t* Second() { return single ? a.data() : b.data(); }
};

void MakePlainly(const LineCase& line, const PlanGeometry& g, RowTask& task) {
  const LineGeometry geometry{g.scaleX, static_cast<uint16_t>(g.srcWidth),
                              static_cast<uint16_t>(g.dstWidth)};
  const SourceRows rows{task.fy, task.a.data(), task.Second()};
  task.wanted.assign(size_t{g.dstWidth} * line.channels, 0);
  if (line.channels == 3) {
    MakeTrueColorLine(geometry, rows, task.wanted.data());
    return;
  }
  tagRGBQUAD table[256];
  for (unsigned i = 0; i < 256; ++i) {
    const auto level = static_cast<uint8_t>(i);
    table[i] = {level, level, level, 0};
  }
  unsigned long histogram[256] = {};
  MakeGray8Line(geometry, table, rows, histogram, task.wanted.data());
}

std::string Describe(const LineCase& line, const std::string& more) {
  std::ostringstream text;
  text << line.width << " x " << line.height << " at " << line.resX << ", " << line.resY << " to "
       << line.dpi << " dpi, " << line.channels << " channels, rows of kind "
       << static_cast<int>(line.kind) << more;
  return text.str();
}

// One family, prepared for one geometry.
class Family {
 public:
  Family(const LineCase& line, const PlanGeometry& geometry, Tally& tally)
      : m_line(line), m_tally(tally) {
    const LineKernels& kernels = LineKernelsFor(tally.family);
    const X87Precision precision(line.narrowX87);
    m_plan = PrepareLinePlan(geometry, line.channels, kernels.narrowShape, kernels.wideShape);
    if (m_plan.form == LineForm::kNone) {
      ++m_tally.unplanned;
    } else {
      m_kernel = kernels.For(m_plan.form);
    }
  }

  void Compare(RowTask& task, uint32_t y, bool guardBehind) {
    if (m_kernel == nullptr) return;
    TargetRow out(task.wanted.size(), guardBehind);
    const std::string where = Describe(m_line, ", row " + std::to_string(y));
    if (!Make(task, 1, out.Clear())) return m_tally.Note(1, where + " has no place");
    m_tally.compared += task.wanted.size() / m_line.channels;
    m_tally.Note(out.Differences(task.wanted), where);
    CompareBatch(task, where);
  }

 private:
  // The same row several times, at once.
  void CompareBatch(RowTask& task, const std::string& where) {
    const size_t size = task.wanted.size();
    Bytes out(RowBatch::kMost * size + kCanaryBytes, kCanary);
    Make(task, RowBatch::kMost, out.data());
    uint64_t count = 0;
    for (size_t i = 0; i < out.size(); ++i) {
      const uint8_t wanted = i < RowBatch::kMost * size ? task.wanted[i % size] : kCanary;
      count += out[i] != wanted ? 1u : 0u;
    }
    m_tally.Note(count, where + ", several at once");
  }

  bool Make(RowTask& task, uint32_t rows, uint8_t* out) const {
    const X87Precision precision(m_line.narrowX87);
    RowPhase phase;
    if (!PlaceRow(m_plan, task.fy, &phase)) return false;
    RowBatch batch{.rowA = task.a.data(),
                   .rowB = task.Second(),
                   .count = rows,
                   .phases = {},
                   .out = out,
                   .outStride = task.wanted.size(),
                   .traffic = {}};
    std::fill_n(batch.phases, rows, phase);
    m_kernel(m_plan, batch);
    return true;
  }

  const LineCase& m_line;
  Tally& m_tally;
  LinePlan m_plan;
  LineKernel m_kernel = nullptr;
};

// A whole image: an engine with its fields set by hand, as a host may do.
class Image {
 public:
  Image(const ImageCase& image, Random& random)
      : m_case(image),
        m_width(Length(image.width, image.resX)),
        m_height(Length(image.height, image.resY)),
        m_sourceRowBytes(StrideOf(Bits(), image.width)),
        m_outputRowBytes(StrideOf(Bits(), m_width)),
        m_source(m_sourceRowBytes * image.height) {
    FillSource(random);
    FillTable(random);
    MakePlainly();
  }

  uint64_t Pixels() const { return uint64_t{m_width} * m_height; }

  uint64_t Compare(CpuLevel family) {
    GuardedBytes out(m_outputRowBytes * m_height);
    std::fill_n(out.data(), out.size(), Blank());
    CLinearTransformMem engine;
    CBufTransfer source;
    CBufTransfer destination;
    source.m_pData = m_source.data();
    destination.m_pData = out.data();
    engine.m_pSource = &source;
    engine.m_pDestination = &destination;
    SetFields(engine);
    uint64_t count = CreateRows(engine, 0, m_case.use, family) == CNV_OK ? 0u : 1u;
    for (size_t i = 0; i < out.size(); ++i) count += out[i] != m_wanted[i] ? 1u : 0u;
    count += ColumnDifferences(engine.m_Columns);
    if (m_case.use == HistogramUse::kCounted) {
      count += std::equal(m_histogram, m_histogram + 256, engine.m_Histogram) ? 0u : 1u;
    }
    return count;
  }

 private:
  unsigned Bits() const {
    return m_case.kind == KIND_BILEVEL ? 1 : m_case.kind == KIND_TRUE_COLOR ? 24 : 8;
  }
  // A line maker of bilevel rows only ever sets bits. A result of the driver's own is zeroed.
  uint8_t Blank() const {
    return m_case.kind == KIND_BILEVEL || m_case.use == HistogramUse::kUnseen ? 0 : kUnwritten;
  }
  double ScaleFrom(unsigned resolution) const {
    return ScaleOf(m_case.dpi, resolution) * m_case.stretch;
  }
  unsigned Length(unsigned length, unsigned resolution) const {
    return TruncateToWord(static_cast<Real>(length) * ScaleFrom(resolution));
  }

  void FillSource(Random& random) {
    const Ratio x = Ratio::Of(m_case.dpi, m_case.resX);
    const Ratio y = Ratio::Of(m_case.dpi, m_case.resY);
    Bytes spare(m_sourceRowBytes);
    for (unsigned row = 0; row < m_case.height; row += 2) {
      uint8_t* a = m_source.data() + row * m_sourceRowBytes;
      uint8_t* b = row + 1 < m_case.height ? a + m_sourceRowBytes : spare.data();
      FillRows({a, b, m_sourceRowBytes, Bits() == 24 ? 3u : 1u}, m_case.rows, x.parts, y.parts,
               random);
    }
    m_source.MakeReadOnly();
  }

  void FillTable(Random& random) {
    for (unsigned i = 0; i < 256; ++i) {
      const auto level = static_cast<uint8_t>(i);
      m_table[i] = {level, level, level, 0};
      if (!m_case.plainTable) m_table[i] = {random.Byte(), random.Byte(), random.Byte(), 0};
    }
    if (m_case.kind == KIND_BILEVEL) m_table[0].rgbBlue = m_case.plainTable ? 255 : 0;
  }

  void SetFields(CLinearTransformMem& engine) const {
    std::copy_n(m_table, 256, engine.m_ColorTable);
    engine.m_iThreshold = m_case.threshold;
    engine.m_dScaleX = ScaleFrom(m_case.resX);
    engine.m_dScaleY = ScaleFrom(m_case.resY);
    engine.m_wSourceResolutionX = static_cast<uint16_t>(m_case.resX);
    engine.m_wSourceResolutionY = static_cast<uint16_t>(m_case.resY);
    engine.m_wOutputResolutionX = engine.m_wOutputResolutionY = static_cast<uint16_t>(m_case.dpi);
    engine.m_dwSourceRowBytes = static_cast<uint32_t>(m_sourceRowBytes);
    engine.m_dwOutputRowBytes = static_cast<uint32_t>(m_outputRowBytes);
    engine.m_wSourceWidth = static_cast<uint16_t>(m_case.width);
    engine.m_wSourceHeight = static_cast<uint16_t>(m_case.height);
    engine.m_wSourceBitCount = engine.m_wOutputBitCount = static_cast<uint16_t>(Bits());
    engine.m_wKind = engine.m_wOutputKind = m_case.kind;
    engine.m_wOutputWidth = static_cast<uint16_t>(m_width);
    engine.m_wOutputHeight = static_cast<uint16_t>(m_height);
  }

  void MakePlainly() {
    const auto last = static_cast<uint16_t>(m_case.width - 1);
    for (unsigned x = 0; x < m_width; ++x) {
      const Place place = Locate(x, ScaleFrom(m_case.resX));
      const bool edge = IsAtEdge(place.index, static_cast<uint16_t>(m_case.width));
      const uint16_t left = edge ? last : place.index;
      const uint16_t right = edge ? last : static_cast<uint16_t>(left + 1);
      m_columns.push_back({static_cast<double>(place.fraction), left, right,
                           static_cast<uint16_t>(left / 8), static_cast<uint16_t>(right / 8)});
    }
    m_wanted.assign(m_outputRowBytes * m_height, Blank());
    for (unsigned y = 0; y < m_height; ++y) {
      const Place place = Locate(y, ScaleFrom(m_case.resY));
      const bool edge = IsAtEdge(place.index, static_cast<uint16_t>(m_case.height));
      const size_t first = edge ? m_case.height - 1 : place.index;
      const uint8_t* a = m_source.data() + first * m_sourceRowBytes;
      MakeRowPlainly({static_cast<double>(place.fraction), a, edge ? a : a + m_sourceRowBytes},
                     m_wanted.data() + y * m_outputRowBytes);
    }
  }

  void MakeRowPlainly(const SourceRows& rows, uint8_t* out) {
    const LineGeometry line{ScaleFrom(m_case.resX), static_cast<uint16_t>(m_case.width),
                            static_cast<uint16_t>(m_width)};
    switch (m_case.kind) {
      case KIND_BILEVEL:
        return MakeBilevelLine(m_columns.data(), m_columns.size(), m_table[0].rgbBlue == 255,
                               m_case.threshold, rows, out);
      case KIND_GRAY_8BIT:
        return MakeGray8Line(line, m_table, rows, m_histogram, out);
      case KIND_PALETTE_8BIT:
        return MakePalette8Line(line, m_table, rows, out);
      case KIND_TRUE_COLOR:
        return MakeTrueColorLine(line, rows, out);
      default:
        return;
    }
  }

  uint64_t ColumnDifferences(const std::vector<CPosition>& columns) const {
    if (columns.size() != m_columns.size()) return 1;
    uint64_t count = 0;
    for (size_t x = 0; x < columns.size(); ++x) {
      const CPosition& is = columns[x];
      const CPosition& wanted = m_columns[x];
      const bool same = is.fraction == wanted.fraction && is.leftColumn == wanted.leftColumn &&
                        is.rightColumn == wanted.rightColumn && is.leftByte == wanted.leftByte &&
                        is.rightByte == wanted.rightByte;
      count += same ? 0u : 1u;
    }
    return count;
  }

  const ImageCase& m_case;
  unsigned m_width;
  unsigned m_height;
  size_t m_sourceRowBytes;
  size_t m_outputRowBytes;
  GuardedBytes m_source;
  tagRGBQUAD m_table[256];
  std::vector<CPosition> m_columns;
  unsigned long m_histogram[256] = {};
  Bytes m_wanted;
};

std::string Describe(const ImageCase& image) {
  std::ostringstream text;
  text << image.width << " x " << image.height << " at " << image.resX << ", " << image.resY
       << " to " << image.dpi << " dpi, image of kind " << image.kind << ", rows of kind "
       << static_cast<int>(image.rows) << ", threshold " << image.threshold << ", stretch "
       << image.stretch << (image.plainTable ? "" : ", with another table");
  return text.str();
}

}  // namespace

void CompareLines(const LineCase& line, unsigned rows, Random& random,
                  std::vector<Tally>& tallies) {
  const PlanGeometry geometry = GeometryOf(line);
  if (geometry.dstWidth == 0 || geometry.dstHeight == 0) return;
  const uint32_t partsX = Ratio::Of(line.dpi, line.resX).parts;
  const uint32_t partsY = Ratio::Of(line.dpi, line.resY).parts;
  std::vector<Family> families;
  for (Tally& tally : tallies) families.emplace_back(line, geometry, tally);
  const size_t size = size_t{line.width} * line.channels;
  for (unsigned turn = 0; turn < rows; ++turn) {
    const bool guardBehind = random.Below(4) != 0;
    RowTask task(size, guardBehind ? GuardSide::kEnd : GuardSide::kStart);
    FillRows({task.a.data(), task.b.data(), size, line.channels}, line.kind, partsX, partsY,
             random);
    task.a.MakeReadOnly();
    task.b.MakeReadOnly();
    const uint32_t y = PickRow(geometry.dstHeight, turn, random);
    const Place place = Locate(y, geometry.scaleY);
    task.fy = static_cast<double>(place.fraction);
    task.single = IsAtEdge(place.index, static_cast<uint16_t>(line.height));
    MakePlainly(line, geometry, task);
    for (Family& family : families) family.Compare(task, y, guardBehind);
  }
}

void CompareImage(const ImageCase& image, Random& random, std::vector<Tally>& tallies) {
  Image subject(image, random);
  for (Tally& tally : tallies) {
    tally.compared += subject.Pixels();
    tally.Note(subject.Compare(tally.family), Describe(image));
  }
}

}  // namespace dibtest
