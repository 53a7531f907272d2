// SPDX-License-Identifier: Apache-2.0
//
// The line kernels, and whole images that are made with them, against the plain line makers.
#ifndef DIBKIT_TESTS_UNIT_LINE_COMPARISON_H
#define DIBKIT_TESTS_UNIT_LINE_COMPARISON_H

#include <cstdint>
#include <vector>

#include "Cnv_res_mem.h"
#include "kernel_tally.h"
#include "resolution/row_maker.h"
#include "support/dib.h"

namespace dibtest {

// What the two source rows of an output row look like.
enum class RowKind {
  kRandom,
  kFlat,
  kGradient,
  kText,
  kPaper,         // flat for hundreds of samples, with marks between
  kCheckerboard,  // the largest steps, in both directions
  kIntegers,      // the ideal value is an integer at every output pixel
  kIntegerSteps,  // likewise where the parts of both axes are few, with rows that are unrelated
  kPaperNoise,
  kTwoLevels,  // two neighbouring greys
};
inline constexpr unsigned kRowKinds = 10;

struct LineCase {
  unsigned width;
  unsigned height;
  unsigned dpi;
  unsigned resX;
  unsigned resY;
  unsigned channels;  // 1: grey; 3: true colour
  RowKind kind;
  bool narrowX87 = false;  // run the kernels with an x87 unit that rounds to 53 bits
};

// Makes `rows` output rows with each family and plainly. Rows end, or begin, at inaccessible
// memory, with canaries on the other side.
void CompareLines(const LineCase& line, unsigned rows, Random& random, std::vector<Tally>& tallies);

struct ImageCase {
  ImageKind kind;
  unsigned width;
  unsigned height;
  unsigned dpi;
  unsigned resX;
  unsigned resY;
  RowKind rows;
  bool plainTable = true;  // grey: entry i is grey level i
  int threshold = 128;     // bilevel
  double stretch = 1;      // the scales are this many times those of the resolutions
  dibkit::resolution::HistogramUse use = dibkit::resolution::HistogramUse::kCounted;
};

// Makes the whole image with each family and plainly. Padding, column records and, where counted,
// the histogram must be equal too.
void CompareImage(const ImageCase& image, Random& random, std::vector<Tally>& tallies);

}  // namespace dibtest

#endif  // DIBKIT_TESTS_UNIT_LINE_COMPARISON_H
