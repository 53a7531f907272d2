// SPDX-License-Identifier: Apache-2.0
#include "DIBApi.h"
#include "DIBHelp.h"
#include "support/call_image.h"
#include "support/dib.h"
#include "support/host_test.h"

namespace dibtest {
namespace {

using Bytes = std::vector<uint8_t>;
using Words = std::vector<uint16_t>;

Bytes To16(const Dib& dib) { return CallImage(ConvertTo16BPPDIB, dib.Bytes()); }

// The words of the 16-bit image, fill words included.
Words WordsTo16(const Dib& dib) {
  const Bytes block = To16(dib);
  Words words;
  for (size_t i = 40; i + 1 < block.size(); i += 2) {
    words.push_back(static_cast<uint16_t>(block[i] | block[i + 1] << 8));
  }
  return words;
}

void SetRow(Dib& dib, const Bytes& bytes) {
  std::copy(bytes.begin(), bytes.end(), dib.Data() + dib.RowsOffset());
}

class Depth16 : public HostTest {};

TEST_F(Depth16, CopiesA16BitImage) {
  Random random(1);
  Dib dib({.width = 5, .height = 3, .bits = 16, .sizeImage = 77});
  dib.FillRandom(random);
  EXPECT_EQ(To16(dib), dib.Bytes());
}

TEST_F(Depth16, CopyOfABitFieldImageEnds12BytesEarly) {
  Random random(2);
  Dib dib({.width = 5, .height = 2, .bits = 16, .compression = 3, .masks = {0xF800, 0x7E0, 0x1F}});
  dib.FillRandom(random);
  const Bytes block = To16(dib);
  ASSERT_EQ(block.size(), 40u + 24);
  EXPECT_EQ(block, Bytes(dib.Bytes().begin(), dib.Bytes().end() - 12));
}

TEST_F(Depth16, CopyEndsWithTheBlock) {
  Random random(3);
  Dib dib({.width = 1,
           .height = 1,
           .bits = 16,
           .compression = 3,
           .clrUsed = 3,
           .masks = {0xF800, 0x7E0, 0x1F}});
  dib.FillRandom(random);
  const Bytes block = To16(dib);
  ASSERT_EQ(block.size(), 44u);
  EXPECT_EQ(block, Bytes(dib.Bytes().begin(), dib.Bytes().begin() + 44));
}

TEST_F(Depth16, CopyOfACoreImageKeepsItsHeader) {
  Random random(4);
  Dib dib({.width = 3, .height = 2, .bits = 16, .core = true});
  dib.FillRandom(random);
  Bytes expected = dib.Bytes();
  expected.resize(40 + 16, 0);
  EXPECT_EQ(To16(dib), expected);
}

TEST_F(Depth16, OneBit) {
  Dib dib({.width = 3, .height = 1, .bits = 1});
  dib.SetBlackWhite();
  SetRow(dib, {0xA0});
  EXPECT_EQ(WordsTo16(dib), (Words{0x7FFF, 0, 0x7FFF, 0}));
  Dib expected({.width = 3, .height = 1, .bits = 16, .xPels = 0, .yPels = 0});
  SetRow(expected, {0xFF, 0x7F, 0, 0, 0xFF, 0x7F});
  EXPECT_EQ(To16(dib), expected.Bytes());
}

TEST_F(Depth16, TablesAreCutToTheirDepth) {
  for (const uint16_t bits : std::initializer_list<uint16_t>{1, 4, 8}) {
    Dib dib({.width = 1, .height = 1, .bits = bits, .clrUsed = 1000, .tableEntries = 1000});
    const size_t last = (size_t{1} << bits) - 1;
    dib.SetColor(last, {8, 16, 24});
    dib.SetPixel(0, 0, static_cast<uint32_t>(last));
    EXPECT_EQ(WordsTo16(dib), (Words{1 << 10 | 2 << 5 | 3, 0}));
  }
}

TEST_F(Depth16, IndicesAboveTheTableAreBlack) {
  for (const uint16_t bits : std::initializer_list<uint16_t>{1, 4, 8}) {
    Dib dib({.width = 2, .height = 1, .bits = bits, .clrUsed = 1, .tableEntries = 1});
    dib.SetColor(0, {255, 255, 255});
    dib.SetPixel(1, 0, 1);
    EXPECT_EQ(WordsTo16(dib), (Words{0x7FFF, 0}));
  }
}

TEST_F(Depth16, FourBit) {
  Dib dib({.width = 3, .height = 1, .bits = 4});
  dib.SetColor(1, {255, 0, 0});
  dib.SetColor(2, {0, 0, 255});
  SetRow(dib, {0x21, 0x1F});
  EXPECT_EQ(WordsTo16(dib), (Words{31, 31 << 10, 31 << 10, 0}));
}

TEST_F(Depth16, EightBit) {
  Dib dib({.width = 1, .height = 1, .bits = 8});
  dib.SetColor(5, {0xC0, 0x80, 0x40});
  SetRow(dib, {5});
  EXPECT_EQ(WordsTo16(dib), (Words{24 << 10 | 16 << 5 | 8, 0}));
}

TEST_F(Depth16, EightBitKeepsItsTableInABlock) {
  Dib dib({.width = 1, .height = 1, .bits = 8, .clrUsed = 9, .tableEntries = 9});
  To16(dib);
  EXPECT_EQ(ReadHost().allocCalls, 2u);
  EXPECT_EQ(ReadHost().lastAllocBytes, 18u);
}

TEST_F(Depth16, CoreTablesHaveThreeByteEntries) {
  for (const uint16_t bits : std::initializer_list<uint16_t>{1, 4, 8}) {
    Dib dib({.width = 1, .height = 1, .bits = bits, .core = true});
    const size_t last = (size_t{1} << bits) - 1;
    dib.SetColor(last, {0xC0, 0x80, 0x40});
    dib.SetPixel(0, 0, static_cast<uint32_t>(last));
    EXPECT_EQ(WordsTo16(dib), (Words{24 << 10 | 16 << 5 | 8, 0}));
  }
}

TEST_F(Depth16, TwentyFourBit) {
  Dib dib({.width = 3, .height = 1});
  SetRow(dib, {255, 255, 255, 8, 16, 248, 7, 7, 7});
  EXPECT_EQ(WordsTo16(dib), (Words{0x7FFF, 31 << 10 | 2 << 5 | 1, 0, 0}));
}

TEST_F(Depth16, ThirtyTwoBit) {
  Dib dib({.width = 1, .height = 2, .bits = 32});
  SetRow(dib, {0, 0, 255, 0, 255, 8, 0, 99});
  EXPECT_EQ(WordsTo16(dib), (Words{31 << 10, 0, 1 << 5 | 31, 0}));
}

TEST_F(Depth16, BitFieldsPutRedIntoBlueAndBeginAtTheMasks) {
  Dib dib({.width = 7,
           .height = 1,
           .bits = 32,
           .compression = 3,
           .masks = {0x00FF0000, 0x0000FF00, 0x000000FF}});
  SetRow(dib, {0, 0, 255, 0, 255, 0, 0, 0, 0, 255, 0, 0, 8, 16, 24, 32});
  constexpr uint16_t kRed = 31 << 10 | 31;
  EXPECT_EQ(WordsTo16(dib), (Words{kRed, 31 << 5, 0, kRed, 0, 31 << 5, 3 << 10 | 2 << 5 | 3, 0}));
}

TEST_F(Depth16, OtherDepthsGiveNull) {
  for (const uint16_t bits : std::initializer_list<uint16_t>{0, 2, 3, 5, 15, 25, 31, 33, 30000}) {
    Dib dib({.width = 2, .height = 1, .bits = bits, .tableEntries = 0});
    EXPECT_EQ(To16(dib), Bytes{}) << bits;
  }
}

TEST_F(Depth16, TopDownPaletteImagesTurnBlack) {
  Random random(8);
  for (const uint16_t bits : std::initializer_list<uint16_t>{1, 4, 8}) {
    Dib dib({.width = 5, .height = -2, .bits = bits});
    dib.SetRandomTable(random);
    dib.FillRandom(random);
    EXPECT_EQ(WordsTo16(dib), Words(12, 0));
  }
}

TEST_F(Depth16, StreamThatIsReadAsRowsEndsWhereItEnds) {
  Dib dib({.width = 4, .height = 1, .bits = 4, .compression = 2, .sizeImage = 1, .rowBytes = 1});
  dib.SetColor(0, {8, 8, 8});
  dib.SetColor(1, {255, 255, 255});
  SetRow(dib, {0x11});
  EXPECT_EQ(WordsTo16(dib), (Words{0x7FFF, 0x7FFF, 0x0421, 0x0421}));
}

TEST_F(Depth16, RunLengthEightIsExpanded) {
  Dib dib({.width = 4, .height = 1, .bits = 8, .compression = 1, .sizeImage = 4, .rowBytes = 4});
  dib.SetColor(7, {255, 255, 255});
  SetRow(dib, {3, 7, 0, 1});
  EXPECT_EQ(WordsTo16(dib), (Words{0x7FFF, 0x7FFF, 0x7FFF, 0}));
}

TEST_F(Depth16, EveryFaultInTurn) {
  for (const int32_t height : {2, -2}) {
    for (const uint16_t bits : std::initializer_list<uint16_t>{1, 4, 8, 16, 24, 32}) {
      Random random(bits);
      Dib dib({.width = 3, .height = height, .bits = bits});
      dib.FillRandom(random);
      for (const Fault fault : {Fault::kGlobalAlloc, Fault::kGlobalLock}) {
        const unsigned faults = FailEach(fault, [&](FaultRun& run) {
          tagHANDLE* handle = run.Call([&] { return ConvertTo16BPPDIB(dib.Data()); });
          EXPECT_EQ(handle == nullptr, run.Met());
          GlobalFree(handle);
          EXPECT_EQ(ReadHost().liveBlocks, 0u);
        });
        EXPECT_GE(faults, height < 0 ? 2u : bits == 8 ? 2u : 1u);
      }
    }
  }
}

}  // namespace
}  // namespace dibtest
