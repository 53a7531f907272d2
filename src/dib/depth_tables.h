// SPDX-License-Identifier: Apache-2.0
//
// Which row function converts an image, and the tables that it reads.
#ifndef DIBKIT_SRC_DIB_DEPTH_TABLES_H
#define DIBKIT_SRC_DIB_DEPTH_TABLES_H

#include <array>
#include <cstdint>

#include "AutoClass.h"
#include "dib/depth_rows.h"

namespace dibkit {

// Where the tables of one conversion live. Images of few colours need no block; entries that the
// image does not define are black.
struct WorkingTables {
  std::array<uint8_t, 2> reds{};
  std::array<uint8_t, 2> greens{};
  std::array<uint8_t, 2> blues{};
  std::array<uint16_t, 16> words{};
  std::array<CHandle, 3> blocks{nullptr, nullptr, nullptr};
};

// The forms of the row function for `dib`, with `meaning` filled from the header and table;
// `meaning` may point into `tables` and `dib`. Both are null for a depth that is not converted and
// when a table has no memory.
using Preparation = RowForms (*)(unsigned char* dib, WorkingTables& tables, PixelMeaning& meaning);
RowForms PrepareTo24(unsigned char* dib, WorkingTables& tables, PixelMeaning& meaning);
RowForms PrepareTo16(unsigned char* dib, WorkingTables& tables, PixelMeaning& meaning);

}  // namespace dibkit

#endif  // DIBKIT_SRC_DIB_DEPTH_TABLES_H
