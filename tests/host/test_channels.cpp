// SPDX-License-Identifier: Apache-2.0
//
// The arithmetic on channels, and the whole numbers that resolutions become.
#include <gtest/gtest.h>

#include <cmath>

#include "formats/channels.h"
#include "formats/whole_resolution.h"

namespace dibkit::host {
namespace {

TEST(Channels, SixteenBitsAreRoundedToNearest) {
  for (uint32_t value = 0; value <= 65535; ++value) {
    ASSERT_EQ(To8Bits(value), (value * uint64_t{255} + 32767) / 65535) << value;
  }
}

TEST(Channels, EightBitsOverWhite) {
  for (uint32_t level = 0; level <= 255; ++level) {
    for (uint32_t alpha = 0; alpha <= 255; ++alpha) {
      const double exact = (level * alpha + 255.0 * (255 - alpha)) / 255;
      ASSERT_EQ(OverWhite8(level, alpha), std::floor(exact + 0.5)) << level << " " << alpha;
    }
  }
}

TEST(Channels, SixteenBitsOverWhiteAreRoundedOnce) {
  for (uint32_t level = 0; level <= 65535; level += 257 * 3 + 11) {
    for (uint32_t alpha = 0; alpha <= 65535; alpha += 97) {
      const long double laid = (level * (alpha / 65535.0L) + (65535.0L - alpha)) / 65535.0L;
      ASSERT_EQ(OverWhite16(level, alpha), std::floor(laid * 255 + 0.5L)) << level << " " << alpha;
    }
  }
  EXPECT_EQ(OverWhite16(0, 65535), 0);
  EXPECT_EQ(OverWhite16(65535, 65535), 255);
  EXPECT_EQ(OverWhite16(0, 0), 255);
}

TEST(Channels, OpaqueSixteenBitsAreOnlyRounded) {
  for (uint32_t value = 0; value <= 65535; ++value) {
    ASSERT_EQ(OverWhite16(value, 65535), To8Bits(value)) << value;
  }
}

TEST(Channels, InksLeaveWhatTheyDoNotCover) {
  for (uint32_t ink = 0; ink <= 255; ++ink) {
    for (uint32_t black = 0; black <= 255; ++black) {
      const double exact = (255.0 - ink) * (255.0 - black) / 255;
      ASSERT_EQ(LeftByInks(ink, black), std::floor(exact + 0.5)) << ink << " " << black;
    }
  }
}

void ExpectWhole(ResolutionUnit to, const Resolution& resolution, uint64_t x, uint64_t y,
                 bool exact) {
  const WholeResolution whole = WholeResolutionPer(to, resolution);
  EXPECT_EQ(whole.x, x);
  EXPECT_EQ(whole.y, y);
  EXPECT_EQ(whole.exact, exact);
}

TEST(WholeResolutions, AreRoundedToNearest) {
  ExpectWhole(ResolutionUnit::kMetre, ResolutionOfDpi(300), 11811, 11811, false);
  ExpectWhole(ResolutionUnit::kMetre, ResolutionOfDpi(254), 10000, 10000, true);
  ExpectWhole(ResolutionUnit::kMetre, {ResolutionUnit::kInch, {72, 1}, {601, 2}}, 2835, 11831,
              false);
  ExpectWhole(ResolutionUnit::kInch, {ResolutionUnit::kMetre, {11811, 1}, {5906, 1}}, 300, 150,
              false);
  ExpectWhole(ResolutionUnit::kInch, {ResolutionUnit::kCentimetre, {100, 1}, {200, 1}}, 254, 508,
              true);
  ExpectWhole(ResolutionUnit::kCentimetre, {ResolutionUnit::kMetre, {11800, 1}, {5900, 1}}, 118, 59,
              true);
  ExpectWhole(ResolutionUnit::kMetre, {ResolutionUnit::kMetre, {4294967295U, 1}, {1, 1}},
              4294967295U, 1, true);
  ExpectWhole(ResolutionUnit::kMetre, {ResolutionUnit::kCentimetre, {4294967295U, 1}, {1, 1}},
              429496729500U, 100, true);
}

TEST(WholeResolutions, AreZeroWhereThereIsNoNumber) {
  ExpectWhole(ResolutionUnit::kInch, {}, 0, 0, false);
  ExpectWhole(ResolutionUnit::kInch, {ResolutionUnit::kInch, {300, 0}, {300, 1}}, 0, 0, false);
  ExpectWhole(ResolutionUnit::kInch, {ResolutionUnit::kInch, {300, 1}, {0, 1}}, 0, 0, false);
  ExpectWhole(ResolutionUnit::kInch, {ResolutionUnit::kInch, {300, 1}, {1, 3}}, 0, 0, false);
}

}  // namespace
}  // namespace dibkit::host
