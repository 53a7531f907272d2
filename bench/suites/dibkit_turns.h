// SPDX-License-Identifier: Apache-2.0
//
// The library's own turns, through its exported entries, and the floor below them.
#ifndef DIBKIT_BENCH_SUITES_DIBKIT_TURNS_H
#define DIBKIT_BENCH_SUITES_DIBKIT_TURNS_H

#include "picture.h"
#include "task.h"

namespace dibkit::bench {

inline constexpr int kThreshold = 128;

struct Size {
  int width;
  int height;
};

// Columns and rows of the picture at another resolution.
Size SizeAt(const Dib& source, unsigned dpi);

// The sources must outlive the contenders.
Contender ConvertTurn(Dib& source, unsigned dpi);
Contender QuantizeTurn(Dib& source);
Contender ImageTurn(Dib& source, tagHANDLE* (*entry)(unsigned char*));

// One memcpy of as many bytes as the source has, and one of as many as the result.
Contender FloorTurn(size_t sourceBytes, size_t resultBytes);

}  // namespace dibkit::bench

#endif  // DIBKIT_BENCH_SUITES_DIBKIT_TURNS_H
