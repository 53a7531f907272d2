// SPDX-License-Identifier: Apache-2.0
//
// The palette sort and its comparisons.
#include <utility>

#include "NiGoRo2.h"
#include "quantize/distance.h"

using dibkit::quantize::Distance;

namespace {

// Every swap counts: the order in which equal entries end is what decides ties in the searches.
template <typename Compare>
void SortEntries(CColorTrans2* a, long n, Compare compare) {
  while (n > 1) {
    std::swap(a[0], a[n / 2]);
    long last = 0;
    for (long i = 1; i < n; ++i) {
      if (compare(a[i], a[0]) < 0) {
        ++last;
        std::swap(a[last], a[i]);
      }
    }
    std::swap(a[0], a[last]);
    SortEntries(a, last, compare);
    a += last + 1;
    n -= last + 1;
  }
}

}  // namespace

void Qsort(CColorTrans2* a, tagRGBQUAD key, long n,
           int (*cmp)(CColorTrans2, CColorTrans2, tagRGBQUAD)) {
  SortEntries(a, n,
              [cmp, key](const CColorTrans2& x, const CColorTrans2& y) { return cmp(x, y, key); });
}

void Qsort(CColorTrans2* a, long n, int (*cmp)(CColorTrans2, CColorTrans2)) {
  SortEntries(a, n, cmp);
}

int CompareColor(CColorTrans2 x, CColorTrans2 y, tagRGBQUAD key) {
  return static_cast<int>(Distance(x.rgb, key) - Distance(y.rgb, key));
}

int CompareBlue(CColorTrans2 x, CColorTrans2 y) { return x.rgb.rgbBlue - y.rgb.rgbBlue; }

int CompareDenom(CColorTrans2 x, CColorTrans2 y) { return static_cast<int>(x.lDenom - y.lDenom); }
