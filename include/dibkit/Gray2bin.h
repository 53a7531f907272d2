// SPDX-License-Identifier: Apache-2.0
//
// Two tables of weights around a pixel, for hosts; the library itself does not read them.
#ifndef DIBKIT_GRAY_2_BIN_H
#define DIBKIT_GRAY_2_BIN_H

#include <cstdint>

#include "Export.h"

// 5 x 5 weights, row by row from the top; the centre, entry 12, is 0. Hosts may change them;
// nothing guards them against two threads.

// Sums to 78. Row 3 differs from row 1 in its second and fourth entries.
extern DIBKIT_API int16_t WEIGHT_TABLE_A[25];

// Sums to 84 and is symmetric in both directions.
extern DIBKIT_API int16_t WEIGHT_TABLE_B[25];

#endif  // DIBKIT_GRAY_2_BIN_H
