// SPDX-License-Identifier: Apache-2.0
//
// Every family of colour reduction kernels leaves what the plain members leave.
#include <algorithm>

#include "quantize/color_map.h"
#include "quantize/octree.h"
#include "quantize/search_cube.h"
#include "quantize_comparison.h"
#include "support/host_test.h"

namespace dibtest {
namespace {

using dibkit::CpuLevel;
using namespace dibkit::quantize;

class QuantizeKernelFamilies : public HostTest, public ::testing::WithParamInterface<CpuLevel> {
 protected:
  void SetUp() override {
    HostTest::SetUp();
    if (!CpuRuns(GetParam())) GTEST_SKIP() << "this CPU does not run " << NameOf(GetParam());
  }

  static const QuantizeKernels& Kernels() { return KernelsFor(GetParam()); }

  Random m_random{815};
};

std::string FamilyName(const ::testing::TestParamInfo<CpuLevel>& info) {
  return NameOf(info.param);
}

INSTANTIATE_TEST_SUITE_P(Cpu, QuantizeKernelFamilies, ::testing::ValuesIn(AllFamilies()),
                         FamilyName);

// Images small and large, of every kind, depth and palette size.
std::vector<QuantizeCase> Cases(Random& random) {
  std::vector<QuantizeCase> cases;
  for (unsigned turn = 0; turn < 60; ++turn) {
    const bool large = turn % 3 == 0;  // enough pixels for the leaf cells
    const auto below = [&random](unsigned n) { return static_cast<int32_t>(random.Below(n)); };
    cases.push_back({.width = large ? 130 + below(150) : 1 + below(90),
                     .height = large ? 130 + below(60) : 1 + below(60),
                     .kind = static_cast<PixelKind>(turn % kPixelKinds)});
    if (turn % 4 == 0) cases.back().maxColors = static_cast<uint16_t>(1 + random.Below(256));
    if (turn % 11 == 10) cases.back().depth = static_cast<uint16_t>(1 + random.Below(6));
  }
  return cases;
}

void ExpectNoDifference(const QuantizeCase& quantize, CpuLevel family, Random& random) {
  QuantizeComparison comparison(quantize, random);
  SCOPED_TRACE(comparison.Describe());
  EXPECT_EQ(comparison.Fill(family), 0u);
  EXPECT_EQ(comparison.Prune(), 0u);
  EXPECT_EQ(comparison.SearchCube(family), 0u);
  EXPECT_EQ(comparison.MapByCube(family), 0u);
  EXPECT_EQ(comparison.MapLinearly(family), 0u);
}

TEST_P(QuantizeKernelFamilies, EveryStepEqualsThePlainMembers) {
  for (const QuantizeCase& quantize : Cases(m_random)) {
    ExpectNoDifference(quantize, GetParam(), m_random);
  }
}

TEST_P(QuantizeKernelFamilies, EveryStepEqualsThePlainMembersWithFixedColors) {
  for (unsigned kind = 0; kind < kPixelKinds; ++kind) {
    for (const unsigned fixed : {1u, 5u, 200u}) {
      ExpectNoDifference(
          {.width = 131, .height = 129, .kind = static_cast<PixelKind>(kind), .fixedColors = fixed},
          GetParam(), m_random);
    }
  }
}

TEST_P(QuantizeKernelFamilies, ASecondRunIsAddedToTheFirst) {
  for (unsigned kind = 0; kind < kPixelKinds; ++kind) {
    ExpectNoDifference(
        {.width = 140, .height = 120, .kind = static_cast<PixelKind>(kind), .twice = true},
        GetParam(), m_random);
  }
}

TEST_P(QuantizeKernelFamilies, EveryWidthFrom1To300) {
  for (int32_t width = 1; width <= 300; ++width) {
    const auto kind = static_cast<PixelKind>(m_random.Below(kPixelKinds));
    // Enough rows for the cells at every seventh width, a few otherwise.
    const int32_t height = width % 7 == 0 ? 16384 / width + 1 : 3;
    ExpectNoDifference({.width = width, .height = height, .kind = kind, .maxColors = 16},
                       GetParam(), m_random);
  }
}

TEST_P(QuantizeKernelFamilies, SortsLeaveTiesAsThePaletteSortDoes) {
  for (unsigned turn = 0; turn < 10; ++turn) {
    for (unsigned count = 0; count <= 256; ++count) {
      ASSERT_EQ(CompareSorts(count, m_random, GetParam()), 0u) << count << " keys";
    }
  }
}

// A palette that no tree would give: few distinct colours, each several times.
class Duplicates {
 public:
  Duplicates(unsigned count, unsigned spread, Random& random)
      : m_plain(m_image.Data(), 256, 5, 0), m_fast(m_image.Data(), 256, 5, 0) {
    for (unsigned i = 0; i < count; ++i) {
      const auto part = [&] { return static_cast<uint8_t>(random.Below(spread) * 17); };
      m_plain.m_ColorTrans[i] = {{part(), part(), part(), 0}, random.Below(3), i};
      m_fast.m_ColorTrans[i] = m_plain.m_ColorTrans[i];
    }
    m_plain.m_lColorNum = m_fast.m_lColorNum = count;
  }

  CNiGoRo2& Plain() { return m_plain; }
  CNiGoRo2& Fast() { return m_fast; }

 private:
  Dib m_image = Dib({.width = 1, .height = 1, .bits = 24});
  CNiGoRo2 m_plain;
  CNiGoRo2 m_fast;
};

constexpr uint32_t kPixels = 3000;

std::vector<uint8_t> RandomPixels(Random& random) {
  std::vector<uint8_t> pixels(size_t{3} * kPixels);
  std::generate(pixels.begin(), pixels.end(), [&] { return random.Byte(); });
  return pixels;
}

MapJob JobOf(const std::vector<uint8_t>& pixels, std::vector<uint8_t>& out, uint32_t count) {
  out.assign(count, 0xCC);
  return {pixels.data(), pixels.size(), out.data(), out.size(), count, 1};
}

TEST_P(QuantizeKernelFamilies, SearchesGiveTheFirstOfEqualColors) {
  for (const unsigned spread : {1u, 2u, 4u, 16u}) {
    for (const unsigned count : {1u, 2u, 15u, 16u, 17u, 33u, 255u, 256u}) {
      SCOPED_TRACE(::testing::Message() << count << " colours, spread " << spread);
      Duplicates palettes(count, spread, m_random);
      CNiGoRo2& plain = palettes.Plain();
      CNiGoRo2& fast = palettes.Fast();
      FillSearchCubePlainly(plain, count);
      FillSearchCube(fast.m_ColorTrans, count, fast.m_SearchCube, Kernels());
      ASSERT_EQ(CubeDifferences(fast, plain), 0u);
      const std::vector<uint8_t> pixels = RandomPixels(m_random);
      std::vector<uint8_t> out;
      ASSERT_TRUE(MapByCube(JobOf(pixels, out, kPixels), plain.m_SearchCube, Kernels()));
      for (size_t i = 0; i < kPixels; ++i) {
        const uint8_t* p = &pixels[3 * i];
        ASSERT_EQ(out[i], plain.GetNearestColorIndexC(p[2], p[1], p[0])) << i;
      }
      Qsort(plain.m_ColorTrans, static_cast<long>(count), CompareBlue);
      ASSERT_TRUE(MapLinearly(JobOf(pixels, out, kPixels), plain.m_ColorTrans, count, Kernels()));
      for (size_t i = 0; i < kPixels; ++i) {
        const uint8_t* p = &pixels[3 * i];
        ASSERT_EQ(out[i], plain.GetNearestColorIndexL(p[2], p[1], p[0])) << i;
      }
    }
  }
}

TEST_P(QuantizeKernelFamilies, WhatOnlyThePlainSearchCanDoIsLeftToIt) {
  Duplicates palettes(200, 16, m_random);
  CNiGoRo2& quantizer = palettes.Fast();
  FillSearchCubePlainly(quantizer, 200);
  const std::vector<uint8_t> pixels = RandomPixels(m_random);
  std::vector<uint8_t> out;
  const auto byCube = [&](uint32_t count) {
    return MapByCube(JobOf(pixels, out, count), quantizer.m_SearchCube, Kernels());
  };
  const auto linearly = [&](uint32_t colors) {
    return MapLinearly(JobOf(pixels, out, kPixels), quantizer.m_ColorTrans, colors, Kernels());
  };
  const auto untouched = [&] {
    return std::all_of(out.begin(), out.end(), [](uint8_t byte) { return byte == 0xCC; });
  };
  EXPECT_TRUE(byCube(kPixels));
  EXPECT_FALSE(byCube(10));
  EXPECT_TRUE(untouched());

  // Not in blue order, no colours, more colours than a palette has.
  Qsort(quantizer.m_ColorTrans, 200, CompareBlue);
  EXPECT_TRUE(linearly(200));
  EXPECT_FALSE(linearly(0));
  EXPECT_FALSE(linearly(257));
  std::reverse(quantizer.m_ColorTrans, quantizer.m_ColorTrans + 200);
  EXPECT_FALSE(linearly(200));
  EXPECT_TRUE(untouched());

  // A list that is too long, an empty one.
  while (quantizer.m_SearchCube[1][2][3].lCount <= 1024) {
    quantizer.AddList(1, 2, 3, quantizer.m_ColorTrans[0]);
  }
  EXPECT_FALSE(byCube(kPixels));
  quantizer.DeleteSearchCube();
  EXPECT_FALSE(byCube(kPixels));
  EXPECT_TRUE(untouched());
}

// Trees by hand -----------------------------------------------------------------

// One colour with its pixels.
struct SameColor {
  Rgb color;
  uint32_t count;
};

constexpr unsigned kDepth = 5;
constexpr size_t kNodes = 37449;

class HandMadeTree {
 public:
  explicit HandMadeTree(const std::vector<SameColor>& runs)
      : m_quantizer(m_image.Data(), 256, kDepth, 0) {
    m_quantizer.InitOctree();
    for (const SameColor& run : runs) {
      InsertRun(m_quantizer.m_pTree, kDepth, run.color.red, run.color.green, run.color.blue,
                run.count);
    }
  }
  CNiGoRo2& operator*() { return m_quantizer; }
  CCube2* Nodes() { return m_quantizer.m_pTree; }
  std::vector<CCube2> Copy() { return {Nodes(), Nodes() + kNodes}; }

 private:
  Dib m_image = Dib({.width = 1, .height = 1, .bits = 24});
  CNiGoRo2 m_quantizer;
};

// Pruning either does what the rounds do or declines and touches nothing.
::testing::AssertionResult PrunesAsTheRoundsDo(const std::vector<SameColor>& runs, uint32_t limit,
                                               bool declines) {
  HandMadeTree fast(runs);
  HandMadeTree plain(runs);
  const std::vector<CCube2> before = fast.Copy();
  uint32_t colors = 0;
  if (PruneTree(fast.Nodes(), limit, colors) == declines) {
    return ::testing::AssertionFailure() << (declines ? "did not decline" : "declined");
  }
  if (declines) {
    if (TreeDifferences(fast.Nodes(), before.data(), kNodes) == 0) {
      return ::testing::AssertionSuccess();
    }
    return ::testing::AssertionFailure() << "declined and touched the tree";
  }
  const uint32_t wanted = PruneByRounds(*plain, limit);
  if (colors != wanted || TreeDifferences(fast.Nodes(), plain.Nodes(), kNodes) != 0) {
    return ::testing::AssertionFailure() << colors << " colours, not " << wanted;
  }
  return ::testing::AssertionSuccess();
}

constexpr Rgb kBlack = {0, 0, 0};
constexpr Rgb kNearBlack = {8, 0, 0};
constexpr Rgb kGrey = {100, 100, 100};
constexpr Rgb kWhite = {255, 255, 255};

TEST(TreePruning, WeightsUpTo32Bits) {
  const std::vector<std::vector<SameColor>> trees = {
      {{kBlack, 0xFFFFFFFF}},
      {{kBlack, 0xFFFFFFFE}, {kWhite, 1}},
      {{kBlack, 0x7FFFFFFF}, {kWhite, 0x80000000}},
      {{kBlack, 0x7FFFFFFF}, {kNearBlack, 0x7FFFFFFF}, {kWhite, 1}},
      {{kBlack, 1}, {kNearBlack, 1}, {kGrey, 1}, {kWhite, 0xFFFFFFFC}},
      {{kBlack, 5}, {kNearBlack, 5}, {kGrey, 5}, {kWhite, 5}}};
  for (const std::vector<SameColor>& runs : trees) {
    for (const uint32_t limit : {1u, 2u, 3u, 4u, 256u, 0xFFFFFFFFu}) {
      EXPECT_TRUE(PrunesAsTheRoundsDo(runs, limit, false)) << limit;
    }
  }
}

TEST(TreePruning, DeclinesWeightsThatWrapped) {
  EXPECT_TRUE(PrunesAsTheRoundsDo({{kBlack, 0xFFFFFFFF}, {kWhite, 1}}, 1, true));
  EXPECT_TRUE(PrunesAsTheRoundsDo({{kBlack, 0xFFFFFFFF}, {kWhite, 7}}, 1, true));
  EXPECT_TRUE(PrunesAsTheRoundsDo({{kBlack, 0x80000000}, {kNearBlack, 0x80000001}}, 1, true));
}

TEST(TreePruning, DeclinesALimitOfNoColors) {
  EXPECT_TRUE(PrunesAsTheRoundsDo({{kBlack, 3}, {kWhite, 4}}, 0, true));
}

TEST(TreePruning, DeclinesFixedColors) {
  HandMadeTree tree({{kBlack, 3}, {kGrey, 1}});
  (*tree).InsertColor(kWhite.red, kWhite.green, kWhite.blue, 1);
  const std::vector<CCube2> before = tree.Copy();
  uint32_t colors = 0;
  EXPECT_FALSE(PruneTree(tree.Nodes(), 1, colors));
  EXPECT_EQ(TreeDifferences(tree.Nodes(), before.data(), kNodes), 0u);
}

TEST(TreePruning, EveryLimitOfARandomTree) {
  Random random(99);
  std::vector<SameColor> runs;
  for (unsigned i = 0; i < 300; ++i) {
    runs.push_back({{random.Byte(), random.Byte(), random.Byte()}, 1 + random.Below(9)});
  }
  for (uint32_t limit = 1; limit <= 300; limit += 1 + limit / 16) {
    EXPECT_TRUE(PrunesAsTheRoundsDo(runs, limit, false)) << limit;
  }
}

TEST(TreeRuns, LeaveWhatTheirPixelsLeaveOneByOne) {
  Random random(98);
  HandMadeTree fast({});
  HandMadeTree plain({});
  for (unsigned turn = 0; turn < 500; ++turn) {
    const Rgb color = {random.Byte(), random.Byte(), random.Byte()};
    const bool fixed = turn % 50 == 0;
    if (fixed) {
      (*fast).InsertColor(color.red, color.green, color.blue, 1);
      (*plain).InsertColor(color.red, color.green, color.blue, 1);
    }
    const uint32_t count = 1 + random.Below(20);
    InsertRun(fast.Nodes(), kDepth, color.red, color.green, color.blue, count);
    for (uint32_t i = 0; i < count; ++i) {
      (*plain).InsertColor(color.red, color.green, color.blue, 0);
    }
  }
  EXPECT_EQ(TreeDifferences(fast.Nodes(), plain.Nodes(), kNodes), 0u);
}

}  // namespace
}  // namespace dibtest
