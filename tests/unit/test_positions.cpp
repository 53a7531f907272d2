// SPDX-License-Identifier: Apache-2.0
//
// Positions that are stepped through in integers are those that division gives.
#include "resolution/positions.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "support/dib.h"
#include "x87_precision.h"

namespace dibtest {
namespace {

using namespace dibkit::resolution;

struct Resolutions {
  unsigned target;
  unsigned source;
};

constexpr Resolutions kCommon[] = {{300, 200}, {200, 300}, {300, 150}, {150, 300}, {299, 300},
                                   {300, 299}, {240, 300}, {72, 300},  {300, 72},  {100, 300},
                                   {204, 300}, {96, 300},  {600, 96},  {300, 300}};

constexpr Resolutions kExtreme[] = {{65535, 1},     {1, 65535},     {65535, 2},     {2, 65535},
                                    {65535, 7},     {7, 65535},     {65535, 65534}, {65534, 65535},
                                    {65535, 32768}, {32768, 65535}, {65535, 65535}, {1, 1},
                                    {32768, 32767}, {3, 65535},     {65535, 4096},  {4096, 65535}};

double ScaleOf(const Resolutions& r) {
  return static_cast<double>(static_cast<Real>(r.target) / static_cast<Real>(r.source));
}

// How many output indices a source of 65,535 columns has.
uint32_t MostIndices(double scale) {
  return static_cast<uint32_t>(std::min(65535.0, 65535.0 * scale));
}

std::vector<Place> LocateAll(double scale, uint32_t count) {
  std::vector<Place> places;
  for (uint32_t i = 0; i < count; ++i) places.push_back(Locate(i, scale));
  return places;
}

std::vector<StoredPlace> WalkAll(double scale, uint32_t count, bool narrowX87) {
  std::vector<StoredPlace> places(count);
  const X87Precision precision(narrowX87);
  PlaceWalk walk(scale, count);
  for (StoredPlace& place : places) place = walk.Next();
  return places;
}

bool SameNumber(double a, double b) { return a == b || (std::isnan(a) && std::isnan(b)); }

::testing::AssertionResult WalkIsLocated(double scale, uint32_t count, bool narrowX87 = false) {
  const std::vector<Place> wanted = LocateAll(scale, count);
  const std::vector<StoredPlace> places = WalkAll(scale, count, narrowX87);
  for (uint32_t i = 0; i < count; ++i) {
    if (places[i].index != wanted[i].index ||
        !SameNumber(places[i].fraction, static_cast<double>(wanted[i].fraction))) {
      return ::testing::AssertionFailure()
             << "index " << i << " at scale " << scale << ": " << places[i].index << " + "
             << places[i].fraction << ", not " << wanted[i].index << " + " << wanted[i].fraction;
    }
  }
  return ::testing::AssertionSuccess();
}

TEST(PlaceWalk, LocatesCommonResolutionsOverWholeSources) {
  for (const Resolutions& r : kCommon) {
    ASSERT_TRUE(WalkIsLocated(ScaleOf(r), MostIndices(ScaleOf(r)) + 1));
  }
}

TEST(PlaceWalk, LocatesExtremeResolutionsOverWholeSources) {
  for (const Resolutions& r : kExtreme) {
    ASSERT_TRUE(WalkIsLocated(ScaleOf(r), MostIndices(ScaleOf(r)) + 1));
  }
}

TEST(PlaceWalk, LocatesRandomResolutions) {
  Random random(31);
  for (unsigned turn = 0; turn < 2000; ++turn) {
    const unsigned most = turn % 4 == 0 ? 65535 : 1200;
    const double scale = ScaleOf({1 + random.Below(most), 1 + random.Below(most)});
    ASSERT_TRUE(WalkIsLocated(scale, std::min(MostIndices(scale), 1500u) + 1));
  }
}

TEST(PlaceWalk, LocatesRandomScalesOfTheHostsOwn) {
  Random random(32);
  for (unsigned turn = 0; turn < 2000; ++turn) {
    const double fraction = (random.Next() + 1) / 4294967296.0;
    const double scale = std::ldexp(fraction, static_cast<int>(random.Below(36)) - 18);
    ASSERT_TRUE(WalkIsLocated(scale, 300));
  }
}

TEST(PlaceWalk, TakesScalesThatNobodyCanStepThrough) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  for (const double scale : {0.0, -0.0, -1.5, 1e-300, 5e-324, 0x1p-17, 0x1p17, 1e300, kInfinity,
                             std::numeric_limits<double>::quiet_NaN()}) {
    ASSERT_TRUE(WalkIsLocated(scale, 1000));
  }
}

// More places than a source has: the index wraps in 16 bits.
TEST(PlaceWalk, WrapsBehindTheLastSourceColumn) {
  for (const double scale : {0.5, 0.3, 1.0, 0.999}) ASSERT_TRUE(WalkIsLocated(scale, 70000));
}

TEST(PlaceWalk, DoesNotDependOnTheX87Precision) {
  Random random(33);
  for (const Resolutions& r : kCommon) {
    const double scale = ScaleOf(r);
    ASSERT_TRUE(WalkIsLocated(scale, std::min(MostIndices(scale) + 1, 20000u), true));
  }
  for (const Resolutions& r : kExtreme) {
    const double scale = ScaleOf(r);
    if (MostIndices(scale) < 2) continue;
    ASSERT_TRUE(WalkIsLocated(scale, MostIndices(scale) - 1, true));
  }
  for (unsigned turn = 0; turn < 500; ++turn) {
    const double scale = ScaleOf({1 + random.Below(1200), 1 + random.Below(1200)});
    ASSERT_TRUE(WalkIsLocated(scale, std::min(MostIndices(scale) - 1, 1000u), true));
  }
}

::testing::AssertionResult ColumnsAreLocated(double scale, uint16_t source, uint16_t output,
                                             bool narrowX87) {
  std::vector<CPosition> columns = {{0.5, 1, 2, 3, 4}};  // an older table is replaced
  {
    const X87Precision precision(narrowX87);
    FillColumns(scale, source, output, columns);
  }
  if (columns.size() != output) return ::testing::AssertionFailure() << columns.size();
  for (unsigned x = 0; x < output; ++x) {
    const Place place = Locate(x, scale);
    const bool edge = place.index >= source - 1;
    const unsigned left = edge ? source - 1u : place.index;
    const unsigned right = edge ? left : left + 1;
    const CPosition& c = columns[x];
    if (!SameNumber(c.fraction, static_cast<double>(place.fraction)) || c.leftColumn != left ||
        c.rightColumn != right || c.leftByte != left / 8 || c.rightByte != right / 8) {
      return ::testing::AssertionFailure() << "column " << x << " at scale " << scale << ", "
                                           << source << " columns to " << output;
    }
  }
  return ::testing::AssertionSuccess();
}

TEST(Columns, AreLocatedAndEndAtTheLastSourceColumn) {
  Random random(34);
  for (const Resolutions& r : kCommon) {
    const double scale = ScaleOf(r);
    for (uint16_t width = 1; width <= 300; ++width) {
      const auto output = static_cast<uint16_t>(width * scale + random.Below(3));
      ASSERT_TRUE(ColumnsAreLocated(scale, width, output, false));
    }
  }
  for (const Resolutions& r : kExtreme) {
    const double scale = ScaleOf(r);
    const auto output = static_cast<uint16_t>(MostIndices(scale));
    ASSERT_TRUE(ColumnsAreLocated(scale, 65535, output, false));
    ASSERT_TRUE(ColumnsAreLocated(scale, 1, output, false));
  }
}

TEST(Columns, DoNotDependOnTheX87Precision) {
  for (const Resolutions& r : kCommon) {
    for (const unsigned width : {1u, 2u, 33u, 2550u, 20000u}) {
      const auto output = static_cast<uint16_t>(std::min(65535.0, width * ScaleOf(r)));
      ASSERT_TRUE(ColumnsAreLocated(ScaleOf(r), static_cast<uint16_t>(width), output, true));
    }
  }
}

TEST(RowPairs, RepeatTheLastRowFromItOn) {
  const RowPair inside = PairRows({8, 0.25}, 10);
  EXPECT_EQ(inside.first, 8);
  EXPECT_EQ(inside.second, 9);
  EXPECT_EQ(inside.fraction, 0.25);
  for (const unsigned index : {9u, 10u, 65535u}) {
    const RowPair edge = PairRows({static_cast<uint16_t>(index), 0.75}, 10);
    EXPECT_EQ(edge.first, 9);
    EXPECT_EQ(edge.second, 9);
    EXPECT_EQ(edge.fraction, 0.75);
  }
}

}  // namespace
}  // namespace dibtest
