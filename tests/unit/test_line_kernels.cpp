// SPDX-License-Identifier: Apache-2.0
//
// Every family of line kernels makes the bytes of the plain line makers.
#include "line_comparison.h"

#include <iterator>

#include "resolution/line_settle.h"
#include "resolution/real.h"
#include "support/host_test.h"
#include "x87_precision.h"

namespace dibtest {
namespace {

using dibkit::CpuLevel;
using namespace dibkit::resolution;

struct Resolutions {
  unsigned dpi;
  unsigned source;
};

constexpr Resolutions kCommon[] = {
    {200, 300}, {150, 300}, {300, 150}, {300, 200}, {300, 240}, {240, 300}, {72, 300},
    {300, 72},  {100, 300}, {300, 100}, {300, 400}, {400, 300}, {300, 600}, {600, 300},
    {160, 300}, {300, 160}, {96, 300},  {300, 96},  {204, 300}, {300, 204}, {299, 300},
    {300, 299}, {300, 300}, {75, 300},  {1200, 72}, {200, 204}};

class LineKernelFamilies : public HostTest, public ::testing::WithParamInterface<CpuLevel> {
 protected:
  void SetUp() override {
    HostTest::SetUp();
    if (!CpuRuns(GetParam())) GTEST_SKIP() << "this CPU does not run " << NameOf(GetParam());
  }

  void ExpectNoDifference() const {
    EXPECT_GT(Result().compared, 0u);
    EXPECT_EQ(Result().differences, 0u) << Result().first;
  }
  const Tally& Result() const { return m_tallies.front(); }

  std::vector<Tally> m_tallies = {{.family = GetParam()}};
  Random m_random{4711};
};

std::string FamilyName(const ::testing::TestParamInfo<CpuLevel>& info) {
  return NameOf(info.param);
}

INSTANTIATE_TEST_SUITE_P(Cpu, LineKernelFamilies, ::testing::ValuesIn(AllFamilies()), FamilyName);

TEST_P(LineKernelFamilies, EveryKindOfRowAtCommonResolutions) {
  for (const Resolutions& r : kCommon) {
    for (const unsigned channels : {1u, 3u}) {
      for (unsigned kind = 0; kind < kRowKinds; ++kind) {
        const auto row = static_cast<RowKind>(kind);
        CompareLines({1240, 3508, r.dpi, r.source, r.source, channels, row}, 3, m_random,
                     m_tallies);
        CompareLines({4000, 20000, r.dpi, r.source, r.source, channels, row}, 1, m_random,
                     m_tallies);
      }
    }
  }
  EXPECT_EQ(Result().unplanned, 0u);
  ExpectNoDifference();
}

TEST_P(LineKernelFamilies, EveryWidthFrom1To300) {
  for (unsigned width = 1; width <= 300; ++width) {
    for (const Resolutions& r : kCommon) {
      const auto kind = static_cast<RowKind>(m_random.Below(kRowKinds));
      const unsigned channels = m_random.Below(2) != 0 ? 3 : 1;
      CompareLines({width, 400, r.dpi, r.source, r.source, channels, kind}, 2, m_random, m_tallies);
    }
  }
  ExpectNoDifference();
}

TEST_P(LineKernelFamilies, RandomResolutionsWithUnequalAxes) {
  for (unsigned turn = 0; turn < 2000; ++turn) {
    unsigned dpi = 1 + m_random.Below(1200);
    unsigned resX = 1 + m_random.Below(1200);
    unsigned resY = 1 + m_random.Below(1200);
    if (turn % 2 != 0) {  // small ratios are what 16-bit lanes take
      const unsigned factor = 1 + m_random.Below(40);
      dpi = (1 + m_random.Below(15)) * factor;
      resX = (1 + m_random.Below(30)) * factor;
      resY = (1 + m_random.Below(30)) * factor;
      // Few parts across and many down have sums of 16 bits, but remainders that exceed them.
      if (turn % 4 == 1) resY = 1 + m_random.Below(1200);
    }
    const unsigned width = 1 + m_random.Below(turn % 64 == 0 ? 65535 : 700);
    const auto kind = static_cast<RowKind>(m_random.Below(kRowKinds));
    const unsigned channels = m_random.Below(2) != 0 ? 3 : 1;
    CompareLines({width, 1 + m_random.Below(65535), dpi, resX, resY, channels, kind}, 3, m_random,
                 m_tallies);
  }
  ExpectNoDifference();
}

TEST_P(LineKernelFamilies, BytesDoNotDependOnTheX87Precision) {
  for (const Resolutions& r : kCommon) {
    for (unsigned kind = 0; kind < kRowKinds; ++kind) {
      const unsigned channels = kind % 2 == 0 ? 3 : 1;
      CompareLines(
          {1500, 3508, r.dpi, r.source, r.source, channels, static_cast<RowKind>(kind), true}, 3,
          m_random, m_tallies);
    }
  }
  ExpectNoDifference();
}

constexpr ImageKind kKinds[] = {KIND_TRUE_COLOR, KIND_GRAY_8BIT, KIND_BILEVEL, KIND_PALETTE_8BIT};

void CompareSmallImages(HistogramUse use, Random& random, std::vector<Tally>& tallies) {
  for (const Resolutions& r : kCommon) {
    for (const ImageKind kind : kKinds) {
      ImageCase image{.kind = kind,
                      .width = 1 + random.Below(220),
                      .height = 1 + random.Below(90),
                      .dpi = r.dpi,
                      .resX = r.source,
                      .resY = random.Below(3) == 0 ? r.source + 50 : r.source,
                      .rows = static_cast<RowKind>(random.Below(kRowKinds)),
                      .use = use};
      CompareImage(image, random, tallies);
    }
  }
}

TEST_P(LineKernelFamilies, WholeImagesWithTheirHistogramAndColumns) {
  CompareSmallImages(HistogramUse::kCounted, m_random, m_tallies);
  ExpectNoDifference();
}

// Several rows are made at a time there.
TEST_P(LineKernelFamilies, ImagesThatNobodySeesInTheMaking) {
  CompareSmallImages(HistogramUse::kUnseen, m_random, m_tallies);
  ExpectNoDifference();
}

ImageCase LargeImage(ImageKind kind, unsigned wanted, const Resolutions& r) {
  return {.kind = kind,
          .width = wanted * r.source / r.dpi,
          .height = wanted * r.source / r.dpi,
          .dpi = r.dpi,
          .resX = r.source,
          .resY = r.source,
          .rows = RowKind::kRandom,
          .use = HistogramUse::kUnseen};
}

// These are large enough to go past the caches.
TEST_P(LineKernelFamilies, LargeImages) {
  constexpr Resolutions kScales[] = {{300, 150}, {150, 300}, {300, 96}, {326, 143}, {300, 200}};
  for (const Resolutions& r : kScales) {
    CompareImage(LargeImage(KIND_TRUE_COLOR, 1001, r), m_random, m_tallies);
    CompareImage(LargeImage(KIND_GRAY_8BIT, 1603, r), m_random, m_tallies);
  }
  ExpectNoDifference();
}

// Source rows that are too short for wide look-ups are made by kernels of a plainer family.
TEST_P(LineKernelFamilies, LargeImagesOfVerySmallOnes) {
  for (const Resolutions& r : {Resolutions{796, 2}, Resolutions{800, 3}, Resolutions{1024, 4}}) {
    CompareImage(LargeImage(KIND_TRUE_COLOR, 1200, r), m_random, m_tallies);
    CompareImage(LargeImage(KIND_GRAY_8BIT, 2200, r), m_random, m_tallies);
  }
  ExpectNoDifference();
}

TEST_P(LineKernelFamilies, GreyImagesThroughATableThatIsNotTheIdentity) {
  for (const Resolutions& r : kCommon) {
    for (const HistogramUse use : {HistogramUse::kCounted, HistogramUse::kUnseen}) {
      ImageCase image{.kind = KIND_GRAY_8BIT,
                      .width = 1 + m_random.Below(300),
                      .height = 40 + m_random.Below(50),
                      .dpi = r.dpi,
                      .resX = r.source,
                      .resY = r.source,
                      .rows = static_cast<RowKind>(m_random.Below(kRowKinds)),
                      .plainTable = false,
                      .use = use};
      CompareImage(image, m_random, m_tallies);
    }
  }
  ExpectNoDifference();
}

TEST_P(LineKernelFamilies, BilevelImagesAtEveryThreshold) {
  for (int threshold = -1; threshold <= 257; ++threshold) {
    const Resolutions& r = kCommon[m_random.Below(std::size(kCommon))];
    ImageCase image{.kind = KIND_BILEVEL,
                    .width = 1 + m_random.Below(130),
                    .height = 30,
                    .dpi = r.dpi,
                    .resX = r.source,
                    .resY = r.source,
                    .rows = RowKind::kRandom,
                    .plainTable = threshold % 2 == 0,
                    .threshold = threshold};
    CompareImage(image, m_random, m_tallies);
  }
  ExpectNoDifference();
}

// The last columns need not lie at the edge of the source.
TEST_P(LineKernelFamilies, WideBilevelImages) {
  constexpr double kStretches[] = {1, 1.01, 0.37, 1.7, 1.0000000000000002};
  for (unsigned turn = 0; turn < 60; ++turn) {
    const Resolutions& r = kCommon[turn % std::size(kCommon)];
    ImageCase image{.kind = KIND_BILEVEL,
                    .width = 600 + m_random.Below(2400),
                    .height = 8 + m_random.Below(30),
                    .dpi = r.dpi,
                    .resX = r.source,
                    .resY = r.source,
                    .rows = turn % 2 == 0 ? RowKind::kRandom : RowKind::kText,
                    .plainTable = turn % 3 == 0,
                    .threshold = static_cast<int>(m_random.Below(256)),
                    .stretch = kStretches[turn % std::size(kStretches)],
                    .use = turn % 4 == 0 ? HistogramUse::kUnseen : HistogramUse::kCounted};
    CompareImage(image, m_random, m_tallies);
  }
  ExpectNoDifference();
}

// A host may set scales that are not those of the resolutions.
TEST_P(LineKernelFamilies, ScalesOfTheHostsOwn) {
  for (unsigned turn = 0; turn < 80; ++turn) {
    constexpr double kStretches[] = {1.0000000000000002, 0.9999999999999999, 1.01, 0.37, 1.7};
    const Resolutions& r = kCommon[m_random.Below(std::size(kCommon))];
    ImageCase image{.kind = kKinds[turn % std::size(kKinds)],
                    .width = 90,
                    .height = 50,
                    .dpi = r.dpi,
                    .resX = r.source,
                    .resY = r.source,
                    .rows = RowKind::kIntegers,
                    .stretch = kStretches[turn % std::size(kStretches)]};
    CompareImage(image, m_random, m_tallies);
  }
  ExpectNoDifference();
}

// Random, but often short in binary, as fractions of common resolutions are.
Extended RandomFraction(Random& random) {
  const uint64_t bits = uint64_t{random.Next()} << 32 | random.Next();
  const uint64_t kept = random.Below(3) == 0 ? ~uint64_t{0} << random.Below(63) : ~uint64_t{0};
  return {(bits & kept) | uint64_t{1} << 63, -64 - static_cast<int>(random.Below(12)), false};
}

// fx and fy of a value of exactly 64 significant bits.
Real ValueOf(const Extended& value) {
  Real real = static_cast<Real>(value.significand);
  for (int i = value.exponent; i < 0; ++i) real /= 2;
  return real;
}

uint8_t PlainSample(const int (&s)[4], Real fx, Real fy) {
  const Real a = s[0] + (s[1] - s[0]) * fx;
  const Real b = s[2] + (s[3] - s[2]) * fx;
  return TruncateToByte(a + (b - a) * fy);
}

TEST(SettledSamples, IntegersGiveWhatTheDefinitionGives) {
  Random random(12);
  for (unsigned turn = 0; turn < 300000; ++turn) {
    const Extended fx = RandomFraction(random);
    const Extended fy = ExtendedFromDouble(ToDouble(RandomFraction(random)));
    int s[4];
    const unsigned levels = turn % 2 != 0 ? 3 : 256;
    for (int& sample : s) sample = static_cast<int>(random.Below(levels));
    const uint8_t wanted = PlainSample(s, ValueOf(fx), ValueOf(fy));
    ASSERT_EQ(SoftSample(s[0], s[1], s[2], s[3], fx, fy), wanted);
    ASSERT_EQ(ExactSample(s[0], s[1], s[2], s[3], fx, fy), wanted);
    const X87Precision narrow(true);
    ASSERT_EQ(ExactSample(s[0], s[1], s[2], s[3], fx, fy), wanted);
  }
}

}  // namespace
}  // namespace dibtest
