// SPDX-License-Identifier: Apache-2.0
//
// How the candidate list of a search cell grows and ends; both search cubes use it.
#ifndef DIBKIT_SRC_QUANTIZE_SEARCH_CELL_H
#define DIBKIT_SRC_QUANTIZE_SEARCH_CELL_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <new>

#include "NiGoRo2.h"

namespace dibkit {

// A list's capacity is its count rounded up to a multiple of this; hosts rely on it.
inline constexpr int32_t kSearchCellStep = 32;

// Appends `entry` to the cell's list. False, with the list as it was, when there is no memory.
inline bool Append(CSearchCell& cell, const CColorTrans2& entry) {
  if (cell.lCount % kSearchCellStep == 0) {
    const size_t capacity = static_cast<size_t>(cell.lCount) + kSearchCellStep;
    CColorTrans2* grown = new (std::nothrow) CColorTrans2[capacity];
    if (grown == nullptr) return false;
    std::copy_n(cell.pList, cell.lCount, grown);
    delete[] cell.pList;
    cell.pList = grown;
  }
  cell.pList[cell.lCount] = entry;
  ++cell.lCount;
  return true;
}

// Frees the cell's list, if there is one, and empties the cell.
inline void Release(CSearchCell& cell) {
  delete[] cell.pList;
  cell = {0, nullptr};
}

}  // namespace dibkit

#endif  // DIBKIT_SRC_QUANTIZE_SEARCH_CELL_H
