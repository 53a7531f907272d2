// SPDX-License-Identifier: Apache-2.0
//
// The plain line makers: one output row from two neighbouring source rows, written as the
// definition reads. Whatever makes rows faster is tested against these, byte for byte.
#ifndef DIBKIT_SRC_RESOLUTION_LINES_H
#define DIBKIT_SRC_RESOLUTION_LINES_H

#include <cstddef>
#include <cstdint>

#include "Cnv_res_mem.h"

namespace dibkit::resolution {

// The horizontal side of a row.
struct LineGeometry {
  double scaleX;
  uint16_t sourceWidth;  // 0 makes nothing: there are no samples
  uint16_t outputWidth;
};

// The vertical side of a row: `rowA` weighs 1 - fy, `rowB` weighs fy.
struct SourceRows {
  double fy;
  const unsigned char* rowA;
  const unsigned char* rowB;
};

// 1 bit. `setIsDark`: a set bit has darkness 255 and a clear one 0, otherwise the other way round.
// Sets the output bits whose darkness is below the threshold and leaves the others.
void MakeBilevelLine(const CPosition* columns, size_t count, bool setIsDark, int threshold,
                     const SourceRows& rows, unsigned char* out);

// 4 bits in grey, with the nibble order that Make4bitGrayImageLine documents.
void MakeGray4Line(const LineGeometry& line, const tagRGBQUAD* table, const SourceRows& rows,
                   unsigned char* out);

// 8 bits in grey. Counts every output value in `histogram`.
void MakeGray8Line(const LineGeometry& line, const tagRGBQUAD* table, const SourceRows& rows,
                   unsigned long* histogram, unsigned char* out);

// 8 bits in colour: an index into the fixed colour cube.
void MakePalette8Line(const LineGeometry& line, const tagRGBQUAD* table, const SourceRows& rows,
                      unsigned char* out);

// 24 bits.
void MakeTrueColorLine(const LineGeometry& line, const SourceRows& rows, unsigned char* out);

}  // namespace dibkit::resolution

#endif  // DIBKIT_SRC_RESOLUTION_LINES_H
