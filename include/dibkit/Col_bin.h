// SPDX-License-Identifier: Apache-2.0
//
// Collecting the distinct colours of a host's records.
#ifndef DIBKIT_COL_BIN_H
#define DIBKIT_COL_BIN_H

#include <cstddef>
#include <cstdint>

#include "Export.h"
#include "GlobalMemory.h"

// What GetColorsCallback reads of a host's record: its first four 32-bit words. The record may be
// longer.
struct CColorRecord {
  uint32_t lFlag;       // 0: collect the record; anything else: skip it
  uint32_t lUnused[2];  // not read
  uint32_t lColor;      // the colour value, compared in all 32 bits
};
static_assert(sizeof(CColorRecord) == 16);

// Where GetColorsCallback collects. On i386 8 bytes; the pointer stands at its natural alignment.
struct CColorCollector {
  int32_t lCount;     // colours collected, or counted, so far; the host starts it at 0
  uint32_t* pColors;  // room for every colour that may come, owned by the host; null: only count
};

// Takes one record. `record`: a CColorRecord. `collector`: the address of a CColorCollector, as a
// number of the width of an address; all its bits count.
//
// Without an array a record with flag 0 raises the count, whatever its colour. With an array a
// colour that is there already gives 2, whatever the flag; a new colour is appended when the flag
// is 0. Returns 2 in that one case and 1 in all others. The room of the array is not checked. Two
// threads need collectors of their own.
DIBKIT_API int GetColorsCallback(void* record, long collector);

// Kept for hosts that call it: returns 0 and neither reads nor writes anything. Any arguments.
DIBKIT_API int GetBaseColors(tagHANDLE* image, unsigned long* colors);

#endif  // DIBKIT_COL_BIN_H
