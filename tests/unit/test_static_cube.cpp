// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <array>
#include <cstring>
#include <numeric>

#include "NiGoRo2.h"
#include "support/dib.h"
#include "support/host_test.h"

namespace dibtest {
namespace {

using Bytes = std::vector<uint8_t>;

constexpr int kRedGreen[7] = {0, 32, 80, 130, 170, 220, 255};
constexpr int kBlue[5] = {0, 64, 144, 208, 255};
constexpr int kExtra[11][3] = {{0, 128, 128},   {128, 0, 128},   {0, 192, 192},  {192, 0, 192},
                               {32, 32, 32},    {64, 64, 64},    {96, 96, 96},   {128, 128, 128},
                               {160, 160, 160}, {192, 192, 192}, {224, 224, 224}};

std::array<int, 3> ExpectedColor(int index) {
  if (index >= 245) return {kExtra[index - 245][0], kExtra[index - 245][1], kExtra[index - 245][2]};
  return {kRedGreen[index / 35], kRedGreen[index / 5 % 7], kBlue[index % 5]};
}

// How a host maps a colour to the fixed palette: the cell of the colour, the first of the nearest
// candidates.
uint8_t LookUp(uint8_t red, uint8_t green, uint8_t blue) {
  const CSearchCell& cell = STATIC_CUBE[red / 16][green / 16][blue / 16];
  uint32_t best = 0;
  int bestDistance = 3 * 256 * 256;
  for (int i = 0; i < cell.lCount; ++i) {
    const CColorTrans2& candidate = cell.pList[i];
    const int dr = candidate.rgb.rgbRed - red;
    const int dg = candidate.rgb.rgbGreen - green;
    const int db = candidate.rgb.rgbBlue - blue;
    const int distance = dr * dr + dg * dg + db * db;
    if (distance < bestDistance) {
      bestDistance = distance;
      best = candidate.lIndex;
    }
  }
  return static_cast<uint8_t>(best);
}

int Distance(int index, int red, int green, int blue) {
  const std::array<int, 3> color = ExpectedColor(index);
  const int dr = color[0] - red;
  const int dg = color[1] - green;
  const int db = color[2] - blue;
  return dr * dr + dg * dg + db * db;
}

// The globals outlive every test: each leaves them empty.
class StaticCube : public HostTest {
 protected:
  void TearDown() override {
    CNiGoRo2::DeleteStaticSearchCube();
    STATIC_COLOR.Free();
    CNiGoRo2::m_iStcColorNum = 0;
    HostTest::TearDown();
  }
};

void ExpectEveryCellEmpty() {
  for (const auto& plane : STATIC_CUBE) {
    for (const auto& line : plane) {
      for (const CSearchCell& cell : line) {
        EXPECT_EQ(cell.lCount, 0);
        EXPECT_EQ(cell.pList, nullptr);
      }
    }
  }
}

TEST_F(StaticCube, StartsEmpty) {
  EXPECT_TRUE(STATIC_COLOR.IsEmpty());
  EXPECT_EQ(CNiGoRo2::m_iStcColorNum, 0);
  ExpectEveryCellEmpty();
}

TEST_F(StaticCube, PaletteIsRedGreenBlueTriples) {
  CNiGoRo2::SetStaticColors();
  EXPECT_EQ(CNiGoRo2::m_iStcColorNum, 256);
  ASSERT_FALSE(STATIC_COLOR.IsEmpty());
  EXPECT_EQ(ReadHost().lastAllocBytes, 768u);
  EXPECT_EQ(LockCount(STATIC_COLOR.m_hHandle), 1u);
  const unsigned char* bytes = STATIC_COLOR;
  for (int i = 0; i < 256; ++i) {
    const std::array<int, 3> color = ExpectedColor(i);
    for (int k = 0; k < 3; ++k) EXPECT_EQ(bytes[3 * i + k], color[static_cast<size_t>(k)]) << i;
  }
  EXPECT_EQ(bytes[0], 0);
  EXPECT_EQ(bytes[3 * 244], 255);
  EXPECT_EQ(bytes[765], 224);
  EXPECT_EQ(bytes[767], 224);
}

TEST_F(StaticCube, SecondCallRewritesTheSameBlock) {
  CNiGoRo2::SetStaticColors();
  tagHANDLE* handle = STATIC_COLOR.m_hHandle;
  STATIC_COLOR[5] = 77;
  CNiGoRo2::SetStaticColors();
  EXPECT_EQ(STATIC_COLOR.m_hHandle, handle);
  EXPECT_EQ(STATIC_COLOR[5], 64);
  EXPECT_EQ(ReadHost().allocCalls, 1u);
  EXPECT_EQ(LockCount(handle), 1u);
}

TEST_F(StaticCube, PaletteWithoutMemoryOrLock) {
  for (const Fault fault : {Fault::kGlobalAlloc, Fault::kGlobalLock}) {
    const unsigned faults = FailEach(fault, [&](FaultRun& run) {
      run.Call([] { CNiGoRo2::SetStaticColors(); });
      EXPECT_EQ(CNiGoRo2::m_iStcColorNum, 256);
      EXPECT_EQ(STATIC_COLOR.IsEmpty(), run.Met() && fault == Fault::kGlobalAlloc);
      STATIC_COLOR.Free();
    });
    EXPECT_EQ(faults, 1u);
  }
}

TEST_F(StaticCube, CubeWithoutAPaletteStaysEmpty) {
  for (const Fault fault : {Fault::kGlobalAlloc, Fault::kGlobalLock}) {
    ArmFault(fault, 1, FaultSpan::kFromThenOn);
    CNiGoRo2::CreateStaticSearchCube();
    EXPECT_TRUE(DisarmFault(fault));
    EXPECT_EQ(STATIC_CUBE[0][0][0].lCount, 0);
    EXPECT_EQ(STATIC_CUBE[15][15][15].lCount, 0);
    STATIC_COLOR.Free();
  }
}

TEST_F(StaticCube, EveryCellHasItsCandidates) {
  CNiGoRo2::CreateStaticSearchCube();
  for (int r = 0; r < 16; ++r) {
    for (int g = 0; g < 16; ++g) {
      for (int b = 0; b < 16; ++b) {
        const int low[3] = {16 * r, 16 * g, 16 * b};
        int high[3];
        int centre[3];
        for (int k = 0; k < 3; ++k) {
          high[k] = low[k] == 240 ? 255 : low[k] + 16;
          centre[k] = low[k] == 240 ? 247 : low[k] + 8;
        }
        const CSearchCell& cell = STATIC_CUBE[r][g][b];
        ASSERT_GE(cell.lCount, 1);
        int last = -1;
        int farBound = 0;
        for (int i = 0; i < cell.lCount; ++i) {
          const CColorTrans2& entry = cell.pList[i];
          const int index = static_cast<int>(entry.lIndex);
          const std::array<int, 3> color = ExpectedColor(index);
          ASSERT_EQ(entry.rgb.rgbRed, color[0]);
          ASSERT_EQ(entry.rgb.rgbGreen, color[1]);
          ASSERT_EQ(entry.rgb.rgbBlue, color[2]);
          const int distance = Distance(index, centre[0], centre[1], centre[2]);
          ASSERT_GE(distance, last) << "not in the order of the distance";
          last = distance;
          int nearBound = 0;
          for (size_t k = 0; k < 3; ++k) {
            const int below = std::max(0, low[k] - color[k]);
            const int above = std::max(0, color[k] - high[k]);
            nearBound += below * below + above * above;
            if (i == 0) {
              const int away = std::max(color[k] - low[k], high[k] - color[k]);
              farBound += away * away;
            }
          }
          ASSERT_LE(nearBound, farBound);
        }
      }
    }
  }
}

TEST_F(StaticCube, LookUpFindsTheNearestColor) {
  CNiGoRo2::CreateStaticSearchCube();
  for (int i = 0; i < 256; ++i) {
    const std::array<int, 3> c = ExpectedColor(i);
    const uint8_t found =
        LookUp(static_cast<uint8_t>(c[0]), static_cast<uint8_t>(c[1]), static_cast<uint8_t>(c[2]));
    EXPECT_EQ(ExpectedColor(found), c);
  }
  EXPECT_EQ(LookUp(0, 0, 0), 0);
  EXPECT_EQ(LookUp(255, 255, 255), 244);
  EXPECT_EQ(LookUp(33, 30, 31), 249);
  Random random(19);
  for (int round = 0; round < 20000; ++round) {
    const uint8_t red = random.Byte();
    const uint8_t green = random.Byte();
    const uint8_t blue = random.Byte();
    int nearest = 3 * 256 * 256;
    for (int i = 0; i < 256; ++i) nearest = std::min(nearest, Distance(i, red, green, blue));
    ASSERT_EQ(Distance(LookUp(red, green, blue), red, green, blue), nearest);
  }
}

// The order of equally distant colours comes from the sort, step by step, and from the order that
// the cell before left.
void SortByDistance(std::vector<int>& order, size_t first, size_t count,
                    const std::array<int, 3>& key) {
  if (count < 2) return;
  const auto distance = [&](size_t at) { return Distance(order[at], key[0], key[1], key[2]); };
  std::swap(order[first], order[first + count / 2]);
  size_t last = first;
  for (size_t i = first + 1; i < first + count; ++i) {
    if (distance(i) < distance(first)) std::swap(order[++last], order[i]);
  }
  std::swap(order[first], order[last]);
  SortByDistance(order, first, last - first, key);
  SortByDistance(order, last + 1, first + count - last - 1, key);
}

TEST_F(StaticCube, EveryBuildListsTheSameInTheSameOrder) {
  for (int pass = 0; pass < 2; ++pass) {
    CNiGoRo2::CreateStaticSearchCube();
    std::vector<int> order(256);
    std::iota(order.begin(), order.end(), 0);
    for (int i = 0; i < 4096; ++i) {
      const std::array<int, 3> cell = {i / 256, i / 16 % 16, i % 16};
      std::array<int, 3> key{};
      for (size_t k = 0; k < 3; ++k) key[k] = cell[k] == 15 ? 247 : 16 * cell[k] + 8;
      SortByDistance(order, 0, 256, key);
      const CSearchCell& found = STATIC_CUBE[cell[0]][cell[1]][cell[2]];
      for (int at = 0; at < found.lCount; ++at) {
        ASSERT_EQ(found.pList[at].lIndex, static_cast<uint32_t>(order[static_cast<size_t>(at)]))
            << "cell " << i << ", candidate " << at;
      }
    }
    CNiGoRo2::DeleteStaticSearchCube();
  }
}

TEST_F(StaticCube, DeleteEmptiesEveryCellAndMayBeRepeated) {
  CNiGoRo2::DeleteStaticSearchCube();
  CNiGoRo2::CreateStaticSearchCube();
  CNiGoRo2::DeleteStaticSearchCube();
  CNiGoRo2::DeleteStaticSearchCube();
  ExpectEveryCellEmpty();
}

TEST_F(StaticCube, InitEmptiesWithoutFreeing) {
  CColorTrans2* list = new CColorTrans2[32];
  STATIC_CUBE[3][4][5] = {1, list};
  CNiGoRo2::InitStaticSearchCube();
  const std::vector<unsigned char> zero(sizeof STATIC_CUBE, 0);
  EXPECT_EQ(std::memcmp(STATIC_CUBE, zero.data(), zero.size()), 0);
  list[31].lIndex = 1;
  delete[] list;
}

TEST_F(StaticCube, ListsGrowBy32) {
  const CColorTrans2* before = nullptr;
  for (uint32_t i = 0; i < 100; ++i) {
    CNiGoRo2::AddStaticList(1, 2, 15, {{1, 2, 3, 0}, 0, i});
    const CSearchCell& cell = STATIC_CUBE[1][2][15];
    ASSERT_EQ(cell.lCount, static_cast<int>(i + 1));
    EXPECT_EQ(cell.pList == before, i % 32 != 0);
    before = cell.pList;
    for (uint32_t k = 0; k <= i; ++k) ASSERT_EQ(cell.pList[k].lIndex, k);
  }
  EXPECT_EQ(STATIC_CUBE[1][2][14].lCount, 0);
}

TEST_F(StaticCube, ListWithoutMemoryStaysShorter) {
  for (uint32_t i = 0; i < 32; ++i) CNiGoRo2::AddStaticList(0, 0, 0, {{}, 0, i});
  const CColorTrans2* list = STATIC_CUBE[0][0][0].pList;
  ArmFault(Fault::kNew, 1, FaultSpan::kFromThenOn);
  CNiGoRo2::AddStaticList(0, 0, 0, {{}, 0, 32});
  CNiGoRo2::AddStaticList(0, 0, 1, {{}, 0, 32});
  EXPECT_TRUE(DisarmFault(Fault::kNew));
  EXPECT_EQ(STATIC_CUBE[0][0][0].lCount, 32);
  EXPECT_EQ(STATIC_CUBE[0][0][0].pList, list);
  EXPECT_EQ(STATIC_CUBE[0][0][1].lCount, 0);
  CNiGoRo2::AddStaticList(0, 0, 0, {{}, 0, 32});
  EXPECT_EQ(STATIC_CUBE[0][0][0].lCount, 33);
}

TEST_F(StaticCube, CellsWithoutMemoryHoldWhatFitted) {
  for (const unsigned nth : {1U, 2U, 100U, 4096U}) {
    ArmFault(Fault::kNew, nth, FaultSpan::kFromThenOn);
    CNiGoRo2::CreateStaticSearchCube();
    EXPECT_TRUE(DisarmFault(Fault::kNew));
    int filled = 0;
    for (const auto& plane : STATIC_CUBE) {
      for (const auto& line : plane) {
        for (const CSearchCell& cell : line) filled += cell.lCount != 0 ? 1 : 0;
      }
    }
    EXPECT_LT(filled, 4096);
    CNiGoRo2::DeleteStaticSearchCube();
  }
}

}  // namespace
}  // namespace dibtest
