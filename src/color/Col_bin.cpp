// SPDX-License-Identifier: Apache-2.0
#include "Col_bin.h"

#include <algorithm>

namespace {

// On i386 hosts rely on where the fields stand.
#if defined(__i386__)
static_assert(offsetof(CColorCollector, pColors) == 4);
static_assert(sizeof(CColorCollector) == 8);
#endif
static_assert(sizeof(long) == sizeof(void*));

constexpr int kTaken = 1;
constexpr int kKnownColor = 2;

bool IsCollected(const CColorCollector& collector, uint32_t color) {
  const uint32_t* end = collector.pColors + std::max(collector.lCount, int32_t{0});
  return std::find(static_cast<const uint32_t*>(collector.pColors), end, color) != end;
}

}  // namespace

int GetColorsCallback(void* record, long collector) {
  const CColorRecord& source = *static_cast<const CColorRecord*>(record);
  // NOLINTNEXTLINE(performance-no-int-to-ptr): hosts hand the address over as a number.
  CColorCollector& target = *reinterpret_cast<CColorCollector*>(collector);
  const bool wanted = source.lFlag == 0;
  if (target.pColors == nullptr) {
    if (wanted) ++target.lCount;
    return kTaken;
  }
  // Looked for before the flag: a known colour is reported for a skipped record too.
  if (IsCollected(target, source.lColor)) return kKnownColor;
  if (wanted) {
    target.pColors[target.lCount] = source.lColor;
    ++target.lCount;
  }
  return kTaken;
}

int GetBaseColors(tagHANDLE*, unsigned long*) { return 0; }
