// SPDX-License-Identifier: Apache-2.0
#include "Gray2bin.h"

// clang-format off
int16_t WEIGHT_TABLE_A[25] = {
    1, 2, 3, 2, 1,
    2, 5, 7, 5, 2,
    3, 7, 0, 7, 3,
    2, 4, 7, 4, 2,
    1, 2, 3, 2, 1,
};

int16_t WEIGHT_TABLE_B[25] = {
    1, 3, 2, 3, 1,
    3, 7, 5, 7, 3,
    2, 5, 0, 5, 2,
    3, 7, 5, 7, 3,
    1, 3, 2, 3, 1,
};
// clang-format on
