// SPDX-License-Identifier: Apache-2.0
#include "Color.h"

#include <algorithm>

#include "dib/layout.h"

using namespace dibkit;

namespace {

struct Components {
  explicit Components(unsigned long color)
      : red(RedOf(color)), green(GreenOf(color)), blue(BlueOf(color)) {}

  unsigned red;
  unsigned green;
  unsigned blue;
};

unsigned Mean(const Components& c) { return (c.red + c.green + c.blue) / 3; }

unsigned MiddleOfExtremes(const Components& c) {
  const auto [least, most] = std::minmax({c.red, c.green, c.blue});
  return (most + least) / 2;
}

// The weights sum to 62, not 64.
unsigned Luminance(const Components& c) { return (16 * c.red + 38 * c.green + 8 * c.blue) / 64; }

unsigned RoundedLuminance(const Components& c) {
  return (30 * c.red + 59 * c.green + 11 * c.blue + 50) / 100;
}

unsigned long Gray(unsigned level) { return level * 0x010101UL; }

unsigned long Gray16(unsigned level) { return Gray(level / 17 * 17); }

}  // namespace

unsigned long ColorToMono256Easy(unsigned long color) { return Gray(Mean(Components(color))); }

unsigned long ColorToMono256MinMax(unsigned long color) {
  return Gray(MiddleOfExtremes(Components(color)));
}

unsigned long ColorToMono256(unsigned long color) { return Gray(Luminance(Components(color))); }

unsigned long ColorToMono16Easy(unsigned long color) { return Gray16(Mean(Components(color))); }

unsigned long ColorToMono16MinMax(unsigned long color) {
  return Gray16(MiddleOfExtremes(Components(color)));
}

unsigned long ColorToMono16(unsigned long color) {
  return Gray16(RoundedLuminance(Components(color)));
}
