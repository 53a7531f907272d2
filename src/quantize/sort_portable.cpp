// SPDX-License-Identifier: Apache-2.0
#include <utility>

#include "quantize/kernels.h"

namespace dibkit::quantize {

// The same swaps as Qsort, without a branch on the comparison: an element that stays is written
// back where it was.
void SortKeysPortable(SortKey* keys, size_t n) {
  while (n > 1) {
    std::swap(keys[0], keys[n / 2]);
    const SortKey bound = keys[0] >> kSortPlaceBits << kSortPlaceBits;
    size_t last = 0;
    for (size_t i = 1; i < n; ++i) {
      const SortKey key = keys[i];
      const bool less = key < bound;
      last += less;
      const SortKey other = keys[last];
      keys[i] = less ? other : key;
      keys[last] = less ? key : other;
    }
    std::swap(keys[0], keys[last]);
    SortKeysPortable(keys, last);
    keys += last + 1;
    n -= last + 1;
  }
}

}  // namespace dibkit::quantize
