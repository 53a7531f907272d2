// SPDX-License-Identifier: Apache-2.0
//
// Records looked at in groups: where all of a group are runs and none is long, they are written
// without a branch on what they are.
#ifndef DIBKIT_SRC_DIB_RLE_GROUPS_H
#define DIBKIT_SRC_DIB_RLE_GROUPS_H

#include <cstddef>
#include <cstdint>
#include <utility>

#include "dib/bytes.h"

namespace dibkit {

// 1 in each of four counts.
inline constexpr uint64_t kFourOnes = 0x0001000100010001;

// The first bytes of four records, 16 bits for each.
inline uint64_t LoadFourCounts(const unsigned char* records) {
  return LoadLittle<uint64_t>(records) & kFourOnes * 0xFF;
}

// Asks for what comes half a page later in a stream or in the rows: what a CPU foresees by itself
// ends with the page.
inline void PrefetchAhead(const unsigned char* at) {
  constexpr uintptr_t kAhead = 2048;
  __builtin_prefetch(reinterpret_cast<const void*>(reinterpret_cast<uintptr_t>(at) + kAhead));
}

// Calls `call` with 0 to kTimes - 1, and leaves no loop.
template <size_t kTimes, typename Call>
inline void Unroll(Call call) {
  [&]<size_t... kPlaces>(std::index_sequence<kPlaces...>) { (call(kPlaces), ...); }
  (std::make_index_sequence<kTimes>());
}

}  // namespace dibkit

#endif  // DIBKIT_SRC_DIB_RLE_GROUPS_H
