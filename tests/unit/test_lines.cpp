// SPDX-License-Identifier: Apache-2.0
//
// The engine's members that make pixels, called as a host calls them: on an object whose fields
// were set by hand.
#include <algorithm>
#include <cstring>

#include "Cnv_res_mem.h"
#include "reference/resample_model.h"
#include "support/guarded_bytes.h"
#include "support/host_test.h"

namespace dibtest {
namespace {

using Bytes = std::vector<uint8_t>;
using Maker = void (CLinearTransformMem::*)(double, unsigned char*, unsigned char*, unsigned char*);

constexpr double kThird = 1.0 / 3;

tagRGBQUAD Quad(Rgb color) { return {color.blue, color.green, color.red, 0}; }

struct Axis {
  unsigned from;
  unsigned to;
};

constexpr Axis kAxes[] = {{300, 300}, {300, 200}, {200, 300}, {300, 299}, {299, 300}, {72, 600},
                          {600, 72},  {240, 300}, {300, 240}, {96, 72},   {1, 3},     {65535, 7}};

double ScaleOf(const Axis& axis) {
  return static_cast<double>(static_cast<long double>(axis.to) / axis.from);
}

// A line with two source rows and an output row, each ending at inaccessible memory.
class Line {
 public:
  Line(unsigned bits, unsigned sourceWidth, double scale, unsigned outputWidth, Random& random)
      : m_rowA(RandomRow((bits * sourceWidth + 7) / 8, random)),
        m_rowB(RandomRow((bits * sourceWidth + 7) / 8, random)),
        m_out((bits * outputWidth + 7) / 8) {
    m_rowA.MakeReadOnly();
    m_rowB.MakeReadOnly();
    engine.m_dScaleX = scale;
    engine.m_wSourceWidth = static_cast<unsigned short>(sourceWidth);
    engine.m_wOutputWidth = static_cast<unsigned short>(outputWidth);
  }

  void Make(Maker maker, double fy) { (engine.*maker)(fy, m_rowA.data(), m_rowB.data(), Out()); }

  unsigned char* Out() { return m_out.data(); }
  const unsigned char* A() { return m_rowA.data(); }
  const unsigned char* B() { return m_rowB.data(); }

  CLinearTransformMem engine;

 private:
  static Bytes RandomRow(size_t bytes, Random& random) {
    Bytes row(bytes);
    std::generate(row.begin(), row.end(), [&] { return random.Byte(); });
    return row;
  }

  GuardedBytes m_rowA;
  GuardedBytes m_rowB;
  GuardedBytes m_out;
};

// Calls check(line, geometry...) for every width and every pair of resolutions.
template <typename Check>
void ForEveryLine(unsigned bits, Check check) {
  Random random(1);
  for (const Axis& axis : kAxes) {
    for (unsigned width = 1; width <= 70; ++width) {
      const unsigned output = std::min(ModelLength(width, axis.from, axis.to), 700u);
      SCOPED_TRACE(::testing::Message() << width << " columns " << axis.from << " -> " << axis.to);
      Line line(bits, width, ScaleOf(axis), output, random);
      check(line, width, output);
      if (::testing::Test::HasFailure()) return;
    }
  }
}

constexpr double kFractions[] = {0, 0.25, 0.5, kThird, 2 * kThird, 0.9999999999999999, 1e-300};

TEST(Lines, Gray8) {
  ForEveryLine(8, [](Line& line, unsigned width, unsigned output) {
    Random random(width);
    for (tagRGBQUAD& entry : line.engine.m_ColorTable) {
      entry = Quad({random.Byte(), random.Byte(), random.Byte()});
    }
    std::vector<unsigned long> counts(256);
    for (const double fy : kFractions) {
      line.Make(&CLinearTransformMem::Make8bitGrayImageLine, fy);
      for (unsigned x = 0; x != output; ++x) {
        const ModelPlace p = ModelLocate(x, line.engine.m_dScaleX, width);
        const auto sample = [&](const unsigned char* row, unsigned column) -> int {
          return line.engine.m_ColorTable[row[column]].rgbBlue;  // the blue byte is the grey
        };
        const unsigned value =
            ModelBlend(sample(line.A(), p.first), sample(line.A(), p.second),
                       sample(line.B(), p.first), sample(line.B(), p.second), p.fraction, fy);
        ASSERT_EQ(line.Out()[x], value) << x << ", fy " << fy;
        ++counts[value];
      }
    }
    for (size_t i = 0; i != 256; ++i) ASSERT_EQ(line.engine.m_Histogram[i], counts[i]);
  });
}

TEST(Lines, TrueColor) {
  ForEveryLine(24, [](Line& line, unsigned width, unsigned output) {
    for (const double fy : kFractions) {
      line.Make(&CLinearTransformMem::MakeRGBColorImageLine, fy);
      for (unsigned i = 0; i != 3 * output; ++i) {
        const ModelPlace p = ModelLocate(i / 3, line.engine.m_dScaleX, width);
        const unsigned left = 3 * p.first + i % 3;
        const unsigned right = 3 * p.second + i % 3;
        ASSERT_EQ(line.Out()[i], ModelBlend(line.A()[left], line.A()[right], line.B()[left],
                                            line.B()[right], p.fraction, fy))
            << i << ", fy " << fy;
      }
    }
  });
}

TEST(Lines, Palette8) {
  ForEveryLine(8, [](Line& line, unsigned width, unsigned output) {
    Random random(width);
    std::vector<Rgb> table;
    for (tagRGBQUAD& entry : line.engine.m_ColorTable) {
      table.push_back({random.Byte(), random.Byte(), random.Byte()});
      entry = Quad(table.back());
    }
    for (const double fy : kFractions) {
      line.Make(&CLinearTransformMem::Make8bitPaletteColorImageLine, fy);
      for (unsigned x = 0; x != output; ++x) {
        const ModelPlace p = ModelLocate(x, line.engine.m_dScaleX, width);
        const auto blend = [&](uint8_t Rgb::*part) {
          return static_cast<uint8_t>(ModelBlend(
              table[line.A()[p.first]].*part, table[line.A()[p.second]].*part,
              table[line.B()[p.first]].*part, table[line.B()[p.second]].*part, p.fraction, fy));
        };
        const Rgb color{blend(&Rgb::red), blend(&Rgb::green), blend(&Rgb::blue)};
        ASSERT_EQ(line.Out()[x], ModelCubeIndex(color)) << x << ", fy " << fy;
      }
    }
  });
}

TEST(Lines, EveryColorComponentFindsItsLevel) {
  // One source column, scale 1: the output is the level of the table's entry 0.
  unsigned char row[1] = {0};
  unsigned char out[1];
  CLinearTransformMem engine;
  engine.m_dScaleX = 1;
  engine.m_wSourceWidth = 1;
  engine.m_wOutputWidth = 1;
  const auto indexOf = [&](Rgb color) {
    engine.m_ColorTable[0] = Quad(color);
    engine.Make8bitPaletteColorImageLine(0, row, row, out);
    return out[0];
  };
  constexpr int kReds[] = {0, 42, 84, 126, 168, 210, 255};
  for (int v = 0; v != 256; ++v) {
    const uint8_t byte = static_cast<uint8_t>(v);
    EXPECT_EQ(indexOf({0, 0, byte}), (v + 25) / 51 * 42);
    EXPECT_EQ(indexOf({0, byte, 0}), (v + 25) / 51 * 7);
    int nearest = 0;
    for (int i = 1; i != 7; ++i) {
      if (std::abs(kReds[i] - v) < std::abs(kReds[nearest] - v)) nearest = i;
    }
    if (v == 231 || v == 232) nearest = 6;
    // Halfway between two levels the upper one is taken.
    if (v < 231 && v % 42 == 21) nearest = v / 42 + 1;
    EXPECT_EQ(indexOf({byte, 0, 0}), nearest) << v;
  }
  EXPECT_EQ(indexOf({255, 255, 255}), 251);
}

std::vector<CPosition> ColumnsOf(double scale, unsigned sourceWidth, unsigned outputWidth) {
  std::vector<CPosition> columns;
  for (unsigned x = 0; x != outputWidth; ++x) {
    const ModelPlace p = ModelLocate(x, scale, sourceWidth);
    columns.push_back({static_cast<double>(p.fraction), static_cast<unsigned short>(p.first),
                       static_cast<unsigned short>(p.second),
                       static_cast<unsigned short>(p.first / 8),
                       static_cast<unsigned short>(p.second / 8)});
  }
  return columns;
}

TEST(Lines, Bilevel) {
  ForEveryLine(1, [](Line& line, unsigned width, unsigned output) {
    line.engine.m_Columns = ColumnsOf(line.engine.m_dScaleX, width, output);
    const bool whiteFirst = width % 2 == 0;
    line.engine.m_ColorTable[0] = Quad({0, 0, static_cast<uint8_t>(whiteFirst ? 255 : 254)});
    int threshold = static_cast<int>(width * 7 % 258);
    for (const double fy : kFractions) {
      threshold = (threshold + 37) % 258;
      line.engine.m_iThreshold = threshold;
      std::memset(line.Out(), 0, (output + 7) / 8);
      line.Make(&CLinearTransformMem::MakeBWImageLine, fy);
      for (unsigned x = 0; x != output; ++x) {
        const ModelPlace p = ModelLocate(x, line.engine.m_dScaleX, width);
        const auto sample = [&](const unsigned char* row, unsigned column) {
          const bool set = (row[column / 8] >> (7 - column % 8) & 1) != 0;
          return set == whiteFirst ? 255 : 0;
        };
        const unsigned darkness = ModelBlend(sample(line.A(), p.first), sample(line.A(), p.second),
                                             sample(line.B(), p.first), sample(line.B(), p.second),
                                             static_cast<double>(p.fraction), fy);
        ASSERT_EQ(line.Out()[x / 8] >> (7 - x % 8) & 1,
                  static_cast<int>(darkness) < threshold ? 1 : 0)
            << x << ", fy " << fy << ", threshold " << threshold;
      }
    }
  });
}

TEST(Lines, BilevelReadsTheColumnTableAndNotTheScale) {
  unsigned char rowA[2] = {0x00, 0x40};  // column 9 is set
  unsigned char out[1] = {0};
  CLinearTransformMem engine;
  engine.m_dScaleX = 12345;
  engine.m_wSourceWidth = 1;
  engine.m_wOutputWidth = 3;
  engine.m_iThreshold = 128;
  engine.m_Columns = {{0, 9, 9, 1, 1}, {0, 8, 8, 1, 1}, {0, 9, 9, 1, 1}};
  engine.MakeBWImageLine(0, rowA, rowA, out);
  EXPECT_EQ(out[0], 0xA0);
}

TEST(Lines, BilevelNeverClearsABit) {
  unsigned char row[1] = {0};
  unsigned char out[1] = {0xFF};
  CLinearTransformMem engine;
  engine.m_wOutputWidth = 8;
  engine.m_iThreshold = 0;
  engine.m_Columns.assign(8, CPosition{});
  engine.MakeBWImageLine(0, row, row, out);
  EXPECT_EQ(out[0], 0xFF);
}

TEST(Lines, Gray4HasItsOwnNibbleOrder) {
  ForEveryLine(4, [](Line& line, unsigned width, unsigned output) {
    Random random(width);
    for (tagRGBQUAD& entry : line.engine.m_ColorTable) entry.rgbBlue = random.Byte();
    for (const double fy : kFractions) {
      line.Make(&CLinearTransformMem::Make4bitGrayImageLine, fy);
      Bytes expected((output + 1) / 2);
      for (unsigned x = 0; x != output; ++x) {
        const ModelPlace p = ModelLocate(x, line.engine.m_dScaleX, width);
        const bool edge = p.first == p.second;
        const auto left = [&](const unsigned char* row) -> int {
          const unsigned char byte = row[p.first / 2];
          return line.engine.m_ColorTable[p.first % 2 == 0 ? byte & 15 : byte >> 4].rgbBlue;
        };
        const auto right = [&](const unsigned char* row) -> int {
          return edge ? left(row) : line.engine.m_ColorTable[row[p.second / 2] & 15].rgbBlue;
        };
        const unsigned value = ModelBlend(left(line.A()), right(line.A()), left(line.B()),
                                          right(line.B()), p.fraction, fy);
        uint8_t& byte = expected[x / 2];
        byte = static_cast<uint8_t>(x % 2 == 0 ? value : byte | value >> 4);
      }
      ASSERT_EQ(Bytes(line.Out(), line.Out() + expected.size()), expected) << "fy " << fy;
    }
  });
}

TEST(Lines, OfNoColumnsAreEmpty) {
  CLinearTransformMem engine;
  engine.m_dScaleX = 1;
  engine.m_wSourceWidth = 5;
  GuardedBytes none(0);
  for (const Maker maker :
       {&CLinearTransformMem::MakeBWImageLine, &CLinearTransformMem::Make4bitGrayImageLine,
        &CLinearTransformMem::Make8bitGrayImageLine,
        &CLinearTransformMem::Make8bitPaletteColorImageLine,
        &CLinearTransformMem::MakeRGBColorImageLine}) {
    (engine.*maker)(0, none.data(), none.data(), none.data());
  }
}

// For many pairs of resolutions a fraction cut to 53 bits gives another byte than the whole one. A
// maker must give what the whole one gives.
TEST(Lines, TheFractionInAMakerIsNotRoundedToDouble) {
  unsigned differences = 0;
  for (unsigned from = 1; from != 120; ++from) {
    for (unsigned to = 1; to != 120; ++to) {
      const double scale = ScaleOf({from, to});
      for (unsigned x = 1; x != 30; ++x) {
        const ModelPlace p = ModelLocate(x, scale, 60000);
        const double narrow = static_cast<double>(p.fraction);
        for (const int right : {255, 51, 3}) {
          if (ModelBlend(0, right, 0, right, p.fraction, 0) ==
              ModelBlend(0, right, 0, right, narrow, 0)) {
            continue;
          }
          ++differences;
          std::vector<unsigned char> row(p.second + 1);
          row[p.second] = static_cast<unsigned char>(right);
          CLinearTransformMem engine;
          for (unsigned i = 0; i != 256; ++i) {
            engine.m_ColorTable[i].rgbBlue = static_cast<uint8_t>(i);
          }
          engine.m_dScaleX = scale;
          engine.m_wOutputWidth = static_cast<unsigned short>(x + 1);
          std::vector<unsigned char> out(x + 1);
          engine.m_wSourceWidth = static_cast<unsigned short>(row.size());
          engine.Make8bitGrayImageLine(0, row.data(), row.data(), out.data());
          ASSERT_EQ(out[x], ModelBlend(0, right, 0, right, p.fraction, 0))
              << from << " -> " << to << ", column " << x;
        }
      }
    }
  }
  EXPECT_GT(differences, 0u) << "the search found nothing that tells the two apart";
}

// CreateImage ----------------------------------------------------------------

// An engine between two guarded buffers, as a host sets one up.
class HandMade {
 public:
  HandMade(unsigned short kind, unsigned bits, unsigned sourceWidth, unsigned sourceHeight,
           double scaleX, double scaleY, unsigned outputWidth, unsigned outputHeight)
      : m_in(StrideOf(bits, sourceWidth) * sourceHeight + 5),
        m_out(StrideOf(bits, outputWidth) * outputHeight + 3) {
    Random random(sourceWidth);
    for (size_t i = 0; i != m_in.size(); ++i) m_in[i] = random.Byte();
    m_in.MakeReadOnly();
    m_source.m_wKind = 0;  // not released by the destructor
    m_source.m_pData = m_in.data();
    m_destination.m_pData = m_out.data();
    engine.m_pSource = &m_source;
    engine.m_pDestination = &m_destination;
    engine.m_wKind = kind;
    engine.m_wSourceBitCount = static_cast<unsigned short>(bits);
    engine.m_wSourceBitsOffset = 5;
    engine.m_wOutputBitsOffset = 3;
    engine.m_dScaleX = scaleX;
    engine.m_dScaleY = scaleY;
    engine.m_wSourceWidth = static_cast<unsigned short>(sourceWidth);
    engine.m_wSourceHeight = static_cast<unsigned short>(sourceHeight);
    engine.m_wOutputWidth = static_cast<unsigned short>(outputWidth);
    engine.m_wOutputHeight = static_cast<unsigned short>(outputHeight);
    engine.m_dwSourceRowBytes = StrideOf(bits, sourceWidth);
    engine.m_dwOutputRowBytes = StrideOf(bits, outputWidth);
    engine.m_iThreshold = 100;
  }

  CBufTransfer& Source() { return m_source; }
  CBufTransfer& Destination() { return m_destination; }
  Bytes Out() { return m_out.Copy(); }
  const unsigned char* SourceRow(size_t y) {
    return m_in.data() + 5 + y * engine.m_dwSourceRowBytes;
  }
  unsigned char* OutRow(size_t y) { return m_out.data() + 3 + y * engine.m_dwOutputRowBytes; }

  CLinearTransformMem engine;

 private:
  GuardedBytes m_in;
  GuardedBytes m_out;
  CBufTransfer m_source;
  CBufTransfer m_destination;
};

class CreateImage : public HostTest {};

TEST_F(CreateImage, MakesTheColumnTable) {
  for (const Axis& axis : kAxes) {
    for (const unsigned width : {1u, 2u, 9u, 40u}) {
      const unsigned output = std::min(ModelLength(width, axis.from, axis.to), 700u);
      HandMade hand(KIND_BILEVEL, 1, width, 1, ScaleOf(axis), 1, output, 1);
      hand.engine.m_Columns.assign(3, CPosition{9, 9, 9, 9, 9});
      EXPECT_EQ(hand.engine.CreateImage(0, 0), 0);
      const std::vector<CPosition> expected = ColumnsOf(ScaleOf(axis), width, output);
      ASSERT_EQ(hand.engine.m_Columns.size(), expected.size());
      for (size_t i = 0; i != expected.size(); ++i) {
        const CPosition& column = hand.engine.m_Columns[i];
        EXPECT_EQ(column.fraction, expected[i].fraction);
        EXPECT_EQ(column.leftColumn, expected[i].leftColumn);
        EXPECT_EQ(column.rightColumn, expected[i].rightColumn);
        EXPECT_EQ(column.leftByte, expected[i].leftByte);
        EXPECT_EQ(column.rightByte, expected[i].rightByte);
      }
    }
  }
}

TEST_F(CreateImage, PairsRowsInStoredOrder) {
  for (const Axis& axis : kAxes) {
    const unsigned rows = 12;
    const unsigned output = std::min(ModelLength(rows, axis.from, axis.to), 300u);
    HandMade hand(KIND_TRUE_COLOR, 24, 1, rows, 1, ScaleOf(axis), 1, output);
    EXPECT_EQ(hand.engine.CreateImage(0x22, 0), 0);
    for (unsigned y = 0; y != output; ++y) {
      const ModelPlace p = ModelLocate(y, ScaleOf(axis), rows);
      const double fy = static_cast<double>(p.fraction);
      for (unsigned c = 0; c != 3; ++c) {
        const int a = hand.SourceRow(p.first)[c];
        const int b = hand.SourceRow(p.second)[c];
        ASSERT_EQ(hand.OutRow(y)[c], ModelBlend(a, a, b, b, 0, fy)) << y << ", channel " << c;
      }
    }
  }
}

TEST_F(CreateImage, UsesTheThresholdOfTheEngineAndNotItsArgument) {
  HandMade a(KIND_BILEVEL, 1, 16, 4, 1.5, 1.5, 24, 6);
  HandMade b(KIND_BILEVEL, 1, 16, 4, 1.5, 1.5, 24, 6);
  EXPECT_EQ(a.engine.CreateImage(0, 0), 0);
  EXPECT_EQ(b.engine.CreateImage(0, 256), 0);
  EXPECT_EQ(a.Out(), b.Out());
}

TEST_F(CreateImage, KindsWithoutAMakerLeaveTheRowsAlone) {
  for (const unsigned short kind : std::initializer_list<unsigned short>{0, 2, 4, 7, 65535}) {
    HandMade hand(kind, 8, 8, 4, 1, 1, 8, 4);
    const Bytes before = hand.Out();
    EXPECT_EQ(hand.engine.CreateImage(0, 0), 0);
    EXPECT_EQ(hand.Out(), before) << kind;
  }
}

TEST_F(CreateImage, EveryMakerIsChosenByItsKind) {
  const struct {
    unsigned short kind;
    unsigned bits;
    Maker maker;
  } rows[] = {{KIND_BILEVEL, 1, &CLinearTransformMem::MakeBWImageLine},
              {KIND_GRAY_8BIT, 8, &CLinearTransformMem::Make8bitGrayImageLine},
              {KIND_PALETTE_8BIT, 8, &CLinearTransformMem::Make8bitPaletteColorImageLine},
              {KIND_TRUE_COLOR, 24, &CLinearTransformMem::MakeRGBColorImageLine}};
  for (const auto& row : rows) {
    HandMade whole(row.kind, row.bits, 21, 2, 1.25, 1, 26, 2);
    for (unsigned i = 0; i != 256; ++i) {
      whole.engine.m_ColorTable[i] = Quad({static_cast<uint8_t>(i * 7), static_cast<uint8_t>(i * 5),
                                           static_cast<uint8_t>(255 - i)});
    }
    EXPECT_EQ(whole.engine.CreateImage(0, 0), 0);
    GuardedBytes line((row.bits * 26 + 7) / 8);
    Bytes a(whole.SourceRow(0), whole.SourceRow(1));
    Bytes b(whole.SourceRow(1), whole.SourceRow(1) + a.size());
    (whole.engine.*row.maker)(0, a.data(), b.data(), line.data());
    EXPECT_EQ(std::memcmp(line.data(), whole.OutRow(0), line.size()), 0) << row.kind;
  }
}

TEST_F(CreateImage, NoWidthAndNoHeight) {
  HandMade noWidth(KIND_GRAY_8BIT, 8, 4, 4, 0.1, 1, 0, 4);
  EXPECT_EQ(noWidth.engine.CreateImage(0, 0), 0);
  EXPECT_TRUE(noWidth.engine.m_Columns.empty());
  HandMade noHeight(KIND_GRAY_8BIT, 8, 4, 4, 1, 0.1, 4, 0);
  EXPECT_EQ(noHeight.engine.CreateImage(0, 0), 0);
  EXPECT_EQ(noHeight.engine.m_Columns.size(), 4u);
}

TEST_F(CreateImage, ReleasesItsWorkBuffersWhateverHappens) {
  for (const Fault fault : {Fault::kGlobalAlloc, Fault::kGlobalLock, Fault::kNew}) {
    const unsigned faults = FailEach(fault, [&](FaultRun& run) {
      HandMade hand(KIND_GRAY_8BIT, 8, 4, 4, 1, 1, 4, 4);
      const int status = run.Call([&] { return hand.engine.CreateImage(0, 0); });
      if (run.Met() && fault != Fault::kGlobalLock) {
        EXPECT_EQ(status, CNV_NO_MEMORY);
      } else {
        EXPECT_EQ(status, CNV_OK) << "the rows are read and written in place";
      }
      EXPECT_EQ(hand.engine.m_hSourceRows, nullptr);
      EXPECT_EQ(hand.engine.m_hOutputRow, nullptr);
      EXPECT_EQ(hand.engine.m_pSourceRowA, nullptr);
      EXPECT_EQ(hand.engine.m_pOutputRow, nullptr);
      EXPECT_EQ(ReadHost().liveBlocks, 0u);
    });
    EXPECT_EQ(faults, fault == Fault::kNew ? 1u : 2u);
  }
}

TEST_F(CreateImage, ASourceWithoutDataIs5) {
  HandMade hand(KIND_GRAY_8BIT, 8, 4, 4, 1, 1, 4, 4);
  hand.Source().m_pData = nullptr;
  EXPECT_EQ(hand.engine.CreateImage(0, 0), CNV_SOURCE_UNREADABLE);
  EXPECT_EQ(hand.engine.m_hSourceRows, nullptr);
}

int CancelAtOnce(unsigned short) { return 0; }

TEST_F(CreateImage, CancelKeepsTheRowsMadeSoFar) {
  HandMade hand(KIND_TRUE_COLOR, 24, 1, 4, 1, 1, 1, 4);
  hand.engine.m_pProgress = CancelAtOnce;
  EXPECT_EQ(hand.engine.CreateImage(0, 0), CNV_CANCELLED);
  EXPECT_EQ(std::memcmp(hand.OutRow(0), hand.SourceRow(0), 3), 0);
  EXPECT_EQ(hand.OutRow(1)[0] | hand.OutRow(1)[1] | hand.OutRow(1)[2], 0);
  EXPECT_EQ(hand.engine.m_hSourceRows, nullptr);
}

// Work buffers ---------------------------------------------------------------

class WorkBuffers : public HostTest {};

TEST_F(WorkBuffers, AreTwoSourceRowsAndOneOutputRow) {
  for (const unsigned short mode : std::initializer_list<unsigned short>{0, 0x22, 0xFFFF}) {
    CLinearTransformMem engine;
    engine.m_dwSourceRowBytes = 100;
    engine.m_dwOutputRowBytes = 60;
    EXPECT_EQ(engine.OpenImage(mode), CNV_OK);
    EXPECT_EQ(GlobalSize(engine.m_hSourceRows), 200u);
    EXPECT_EQ(GlobalSize(engine.m_hOutputRow), 60u);
    EXPECT_EQ(LockCount(engine.m_hSourceRows), 1u);
    EXPECT_EQ(LockCount(engine.m_hOutputRow), 1u);
    EXPECT_EQ(engine.m_pSourceRowB, engine.m_pSourceRowA + 100);
    engine.m_pSourceRowB[99] = 1;
    engine.m_pOutputRow[59] = 1;
    engine.CloseImage(mode);
    EXPECT_EQ(engine.m_hSourceRows, nullptr);
    EXPECT_EQ(engine.m_hOutputRow, nullptr);
    EXPECT_EQ(engine.m_pSourceRowA, nullptr);
    EXPECT_EQ(engine.m_pOutputRow, nullptr);
    EXPECT_EQ(ReadHost().lockedFrees, 0u);
    engine.CloseImage(mode);
  }
}

TEST_F(WorkBuffers, WhatWasAllocatedStaysForCloseImage) {
  for (const unsigned nth : {1u, 2u}) {
    CLinearTransformMem engine;
    engine.m_dwSourceRowBytes = 100;
    engine.m_dwOutputRowBytes = 60;
    ArmFault(Fault::kGlobalAlloc, nth);
    EXPECT_EQ(engine.OpenImage(0), CNV_NO_MEMORY);
    DisarmFault(Fault::kGlobalAlloc);
    EXPECT_EQ(engine.m_hSourceRows == nullptr, nth == 1);
    EXPECT_EQ(engine.m_hOutputRow == nullptr, nth == 2);
    EXPECT_EQ(ReadHost().lockedBlocks, 0u);
    engine.CloseImage(0);
    EXPECT_EQ(ReadHost().liveBlocks, 0u);
  }
}

}  // namespace
}  // namespace dibtest
