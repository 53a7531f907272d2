// SPDX-License-Identifier: Apache-2.0
#include "resolution/lines.h"

#include "resolution/positions.h"
#include "resolution/real.h"

namespace dibkit::resolution {
namespace {

// The two source columns of an output column and the weight of the right one.
struct ColumnPair {
  unsigned left;
  unsigned right;
  Real fx;
};

// Four neighbouring samples: two in the first source row, two in the second.
struct Samples {
  int leftA;
  int rightA;
  int leftB;
  int rightB;
};

Real Interpolate(const Samples& s, Real fx, Real fy) {
  const Real a = s.leftA + (s.rightA - s.leftA) * fx;
  const Real b = s.leftB + (s.rightB - s.leftB) * fx;
  return a + (b - a) * fy;
}

// Calls visit(x, columns) for every output column, with positions computed on the spot.
template <typename Visit>
void ForEachColumn(const LineGeometry& line, Visit visit) {
  if (line.sourceWidth == 0) return;
  for (unsigned x = 0; x < line.outputWidth; ++x) {
    const Place place = Locate(x, line.scaleX);
    if (IsAtEdge(place.index, line.sourceWidth)) {
      const unsigned last = line.sourceWidth - 1u;
      visit(x, ColumnPair{last, last, place.fraction});
    } else {
      visit(x, ColumnPair{place.index, place.index + 1u, place.fraction});
    }
  }
}

// One channel of a column pair; `sample(row, column)` gives a pixel's value.
template <typename Sample>
uint8_t InterpolateChannel(const SourceRows& rows, const ColumnPair& columns, Sample sample) {
  const Samples s{sample(rows.rowA, columns.left), sample(rows.rowA, columns.right),
                  sample(rows.rowB, columns.left), sample(rows.rowB, columns.right)};
  return TruncateToByte(Interpolate(s, columns.fx, rows.fy));
}

// The nearest entry of the fixed colour cube, red 231 and 232 apart, which go to 255.
uint8_t CubeIndex(int blue, int green, int red) {
  return static_cast<uint8_t>((blue + 25) / 51 * 42 + (green + 25) / 51 * 7 + (red + 21) / 42);
}

}  // namespace

void MakeBilevelLine(const CPosition* columns, size_t count, bool setIsDark, int threshold,
                     const SourceRows& rows, unsigned char* out) {
  const auto darkness = [setIsDark](unsigned char byte, unsigned column) {
    const bool isSet = (byte & 0x80 >> column % 8) != 0;
    return isSet == setIsDark ? 255 : 0;
  };
  for (size_t x = 0; x < count; ++x) {
    const CPosition& c = columns[x];
    const Samples s{darkness(rows.rowA[c.leftByte], c.leftColumn),
                    darkness(rows.rowA[c.rightByte], c.rightColumn),
                    darkness(rows.rowB[c.leftByte], c.leftColumn),
                    darkness(rows.rowB[c.rightByte], c.rightColumn)};
    if (TruncateToByte(Interpolate(s, c.fraction, rows.fy)) < threshold) {
      out[x / 8] = static_cast<unsigned char>(out[x / 8] | 0x80 >> x % 8);
    }
  }
}

void MakeGray4Line(const LineGeometry& line, const tagRGBQUAD* table, const SourceRows& rows,
                   unsigned char* out) {
  const auto leftSample = [table](const unsigned char* row, unsigned column) -> int {
    const unsigned char pair = row[column / 2];
    return table[column % 2 == 0 ? pair & 15 : pair >> 4].rgbBlue;
  };
  const auto rightSample = [table](const unsigned char* row, unsigned column) -> int {
    return table[row[column / 2] & 15].rgbBlue;
  };
  ForEachColumn(line, [&](unsigned x, const ColumnPair& c) {
    Samples s{leftSample(rows.rowA, c.left), 0, leftSample(rows.rowB, c.left), 0};
    const bool isEdge = c.left == c.right;
    s.rightA = isEdge ? s.leftA : rightSample(rows.rowA, c.right);
    s.rightB = isEdge ? s.leftB : rightSample(rows.rowB, c.right);
    const uint8_t value = TruncateToByte(Interpolate(s, c.fx, rows.fy));
    out[x / 2] = static_cast<unsigned char>(x % 2 == 0 ? value : out[x / 2] | value >> 4);
  });
}

void MakeGray8Line(const LineGeometry& line, const tagRGBQUAD* table, const SourceRows& rows,
                   unsigned long* histogram, unsigned char* out) {
  const auto gray = [table](const unsigned char* row, unsigned column) -> int {
    return table[row[column]].rgbBlue;
  };
  ForEachColumn(line, [&](unsigned x, const ColumnPair& columns) {
    out[x] = InterpolateChannel(rows, columns, gray);
    ++histogram[out[x]];
  });
}

void MakePalette8Line(const LineGeometry& line, const tagRGBQUAD* table, const SourceRows& rows,
                      unsigned char* out) {
  ForEachColumn(line, [&](unsigned x, const ColumnPair& columns) {
    const auto channel = [&](uint8_t tagRGBQUAD::*component) {
      return InterpolateChannel(
          rows, columns, [table, component](const unsigned char* row, unsigned column) -> int {
            return table[row[column]].*component;
          });
    };
    out[x] = CubeIndex(channel(&tagRGBQUAD::rgbBlue), channel(&tagRGBQUAD::rgbGreen),
                       channel(&tagRGBQUAD::rgbRed));
  });
}

void MakeTrueColorLine(const LineGeometry& line, const SourceRows& rows, unsigned char* out) {
  ForEachColumn(line, [&](unsigned x, const ColumnPair& columns) {
    for (unsigned channel = 0; channel < 3; ++channel) {
      out[3 * x + channel] = InterpolateChannel(
          rows, columns, [channel](const unsigned char* row, unsigned column) -> int {
            return row[3 * column + channel];
          });
    }
  });
}

}  // namespace dibkit::resolution
