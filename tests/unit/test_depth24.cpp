// SPDX-License-Identifier: Apache-2.0
#include "DIBApi.h"
#include "DIBHelp.h"
#include "dib/depth.h"
#include "support/call_image.h"
#include "support/dib.h"
#include "support/host_test.h"

namespace dibtest {
namespace {

using Bytes = std::vector<uint8_t>;

Bytes To24(const Dib& dib) { return CallImage(ConvertTo24BPPDIB, dib.Bytes()); }

// The pixel rows of the 24-bit image.
Bytes RowsTo24(const Dib& dib) {
  const Bytes block = To24(dib);
  return block.empty() ? block : Bytes(block.begin() + 40, block.end());
}

void SetRow(Dib& dib, const Bytes& bytes) {
  std::copy(bytes.begin(), bytes.end(), dib.Data() + dib.RowsOffset());
}

class Depth24 : public HostTest {};

TEST_F(Depth24, CopiesA24BitImage) {
  Random random(1);
  Dib dib({.width = 5, .height = 3, .sizeImage = 77, .clrImportant = 9});
  dib.FillRandom(random);
  EXPECT_EQ(To24(dib), dib.Bytes());
}

TEST_F(Depth24, CopyEndsWithTheBlock) {
  Random random(2);
  Dib dib({.width = 1, .height = 2, .clrUsed = 3, .tableEntries = 3});
  for (size_t i = 40; i < dib.Bytes().size(); ++i) dib.Bytes()[i] = random.Byte();
  const Bytes block = To24(dib);
  ASSERT_EQ(block.size(), 48u);
  EXPECT_EQ(block, Bytes(dib.Bytes().begin(), dib.Bytes().begin() + 48));
}

TEST_F(Depth24, CopyOfACoreImageKeepsItsHeader) {
  Random random(3);
  Dib dib({.width = 2, .height = 2, .core = true});
  dib.FillRandom(random);
  Bytes expected = dib.Bytes();
  expected.resize(40 + 16, 0);
  EXPECT_EQ(To24(dib), expected);
}

TEST_F(Depth24, CopyOfATopDownImageIsTurned) {
  Random random(4);
  Dib dib({.width = 2, .height = -3});
  dib.FillRandom(random);
  EXPECT_EQ(To24(dib), CallImage(TopDownToBottomUp, dib.Bytes()));
}

TEST_F(Depth24, CopyOfAStreamEndsWithTheStream) {
  Dib dib({.width = 1, .height = 2, .compression = 2, .sizeImage = 5});
  SetRow(dib, {1, 2, 3, 4, 5, 6, 7, 8});
  EXPECT_EQ(RowsTo24(dib), (Bytes{1, 2, 3, 4, 5, 0, 0, 0}));
}

TEST_F(Depth24, OneBit) {
  Dib dib({.width = 3, .height = 1, .bits = 1});
  dib.SetBlackWhite();
  SetRow(dib, {0xA0});
  const Bytes block = To24(dib);
  Dib expected({.width = 3, .height = 1, .xPels = 0, .yPels = 0});
  SetRow(expected, {255, 255, 255, 0, 0, 0, 255, 255, 255, 0, 0, 0});
  EXPECT_EQ(block, expected.Bytes());
}

TEST_F(Depth24, OneBitTableIsCutToTwo) {
  Dib dib({.width = 2, .height = 1, .bits = 1, .clrUsed = 300, .tableEntries = 300});
  dib.SetColor(0, {1, 2, 3});
  dib.SetColor(1, {4, 5, 6});
  dib.SetColor(2, {7, 8, 9});
  SetRow(dib, {0x40});
  EXPECT_EQ(RowsTo24(dib), (Bytes{3, 2, 1, 6, 5, 4, 0, 0}));
}

TEST_F(Depth24, IndicesAboveTheTableAreBlack) {
  Dib one({.width = 2, .height = 1, .bits = 1, .clrUsed = 1, .tableEntries = 1});
  one.SetColor(0, {1, 2, 3});
  SetRow(one, {0x40});
  EXPECT_EQ(RowsTo24(one), (Bytes{3, 2, 1, 0, 0, 0, 0, 0}));
  Dib four({.width = 2, .height = 1, .bits = 4, .clrUsed = 2, .tableEntries = 2});
  four.SetColor(1, {1, 2, 3});
  SetRow(four, {0x12});
  EXPECT_EQ(RowsTo24(four), (Bytes{3, 2, 1, 0, 0, 0, 0, 0}));
  Dib eight({.width = 2, .height = 1, .bits = 8, .clrUsed = 2, .tableEntries = 2});
  eight.SetColor(1, {1, 2, 3});
  SetRow(eight, {1, 2});
  EXPECT_EQ(RowsTo24(eight), (Bytes{3, 2, 1, 0, 0, 0, 0, 0}));
}

TEST_F(Depth24, FourBit) {
  Dib dib({.width = 2, .height = 1, .bits = 4});
  dib.SetColor(1, {255, 0, 0});
  dib.SetColor(2, {0, 0, 255});
  SetRow(dib, {0x21});
  EXPECT_EQ(RowsTo24(dib), (Bytes{255, 0, 0, 0, 0, 255, 0, 0}));
}

TEST_F(Depth24, FourBitTableIsCutTo16) {
  Dib dib({.width = 1, .height = 1, .bits = 4, .clrUsed = 700, .tableEntries = 700});
  dib.SetColor(15, {1, 2, 3});
  SetRow(dib, {0xF0});
  EXPECT_EQ(RowsTo24(dib), (Bytes{3, 2, 1, 0}));
}

TEST_F(Depth24, FourBitKeepsThreeTablesInBlocks) {
  Dib dib({.width = 2, .height = 1, .bits = 4, .clrUsed = 7, .tableEntries = 7});
  To24(dib);
  EXPECT_EQ(ReadHost().allocCalls, 4u);
  EXPECT_EQ(ReadHost().lastAllocBytes, 7u);
}

TEST_F(Depth24, EightBit) {
  Dib dib({.width = 3, .height = 1, .bits = 8});
  dib.SetColor(0, {1, 2, 3});
  dib.SetColor(255, {4, 5, 6});
  SetRow(dib, {255, 0, 1});
  EXPECT_EQ(RowsTo24(dib), (Bytes{6, 5, 4, 3, 2, 1, 0, 0, 0, 0, 0, 0}));
}

TEST_F(Depth24, CoreTablesHaveThreeByteEntries) {
  for (const uint16_t bits : std::initializer_list<uint16_t>{1, 4, 8}) {
    Dib dib({.width = 1, .height = 1, .bits = bits, .core = true});
    const size_t last = (size_t{1} << bits) - 1;
    dib.SetColor(last, {10, 20, 30});
    dib.SetPixel(0, 0, static_cast<uint32_t>(last));
    EXPECT_EQ(RowsTo24(dib), (Bytes{30, 20, 10, 0}));
  }
}

TEST_F(Depth24, FiveBitChannelsAreWidened) {
  Dib dib({.width = 4, .height = 1, .bits = 16});
  SetRow(dib, {0xFF, 0x7F, 0x01, 0x00, 0x00, 0x80, 0x00, 0x42});
  EXPECT_EQ(RowsTo24(dib), (Bytes{255, 255, 255, 15, 0, 0, 0, 0, 0, 0, 135, 135}));
}

TEST_F(Depth24, All16BitWords) {
  Bytes words(2 * 65536);
  for (size_t i = 0; i < 65536; ++i) {
    words[2 * i] = static_cast<uint8_t>(i);
    words[2 * i + 1] = static_cast<uint8_t>(i >> 8);
  }
  GuardedBytes out(3 * 65536);
  dibkit::WordsTo24(words.data(), out.data(), 65536, {});
  for (size_t i = 0; i < 65536; ++i) {
    for (size_t k = 0; k < 3; ++k) {
      const size_t channel = i >> (5 * k) & 31;
      ASSERT_EQ(out[3 * i + k], channel == 0 ? 0 : channel * 8 + 7);
    }
  }
}

TEST_F(Depth24, BitFieldRowsBeginAtTheMasks) {
  Dib dib(
      {.width = 8, .height = 1, .bits = 16, .compression = 3, .masks = {0xF800, 0x07E0, 0x001F}});
  SetRow(dib, {0xFF, 0xFF, 0x1F, 0x00});
  // 0xF800, 0, 0x07E0, 0, 0x001F, 0, then the pixels; the last 12 bytes are not reached.
  EXPECT_EQ(RowsTo24(dib), (Bytes{0,   0, 248, 0, 0, 0, 0,   252, 0,   0,   0, 0,
                                  248, 0, 0,   0, 0, 0, 248, 252, 248, 248, 0, 0}));
}

TEST_F(Depth24, ThirtyTwoBitFieldRowsBeginAtTheMasks) {
  Dib dib({.width = 4,
           .height = 1,
           .bits = 32,
           .compression = 3,
           .masks = {0x00FF0000, 0x0000FF00, 0x000000FF}});
  SetRow(dib, {10, 20, 30, 40});
  EXPECT_EQ(RowsTo24(dib), (Bytes{0, 0, 255, 0, 255, 0, 255, 0, 0, 10, 20, 30}));
}

// What a host does that wants the rows behind the masks.
TEST_F(Depth24, ThreeColorsUsedMoveTheRowsBehindTheMasks) {
  Dib dib({.width = 2,
           .height = 1,
           .bits = 16,
           .compression = 3,
           .clrUsed = 3,
           .masks = {0xF800, 0x07E0, 0x001F}});
  SetRow(dib, {0xFF, 0xFF, 0x1F, 0x00});
  EXPECT_EQ(RowsTo24(dib), (Bytes{248, 252, 248, 248, 0, 0, 0, 0}));
}

TEST_F(Depth24, MasksOfAllShapes) {
  struct Case {
    uint32_t mask;
    uint32_t pixel;
    uint8_t expected;
  };
  for (const Case& c : {Case{0, 0xFFFFFFFF, 0}, Case{0xFFFFFFFF, 0xA5123456, 0xA5},
                        Case{0x3FF00000, 0x2A500000, 0xA9}, Case{0x00000101, 0x00000101, 0x80},
                        Case{0x80000000, 0x80000000, 0x80}, Case{0x00000007, 0x00000005, 0xA0},
                        Case{0x0000000F, 0x000000FF, 0xF0}, Case{0xFF000000, 0x7F000000, 0x7F}}) {
    Dib dib({.width = 1,
             .height = 1,
             .bits = 32,
             .compression = 3,
             .clrUsed = 3,
             .masks = {c.mask, c.mask, c.mask}});
    dib.Set32(dib.RowsOffset(), c.pixel);
    EXPECT_EQ(RowsTo24(dib), (Bytes{c.expected, c.expected, c.expected, 0})) << std::hex << c.mask;
  }
}

TEST_F(Depth24, ACoreHeaderNeverMeansBitFields) {
  // The row's bytes at offsets 14 and 16 would say 16 or 32 bits and bit-fields.
  for (const uint16_t bits : std::initializer_list<uint16_t>{16, 32}) {
    Dib dib({.width = 16, .height = 1, .bits = bits, .core = true});
    const uint8_t depth = static_cast<uint8_t>(bits);
    SetRow(dib, {0xFF, 0x7F, depth, 0, 3, 0, 0, 0});
    const Bytes rows = RowsTo24(dib);
    ASSERT_EQ(rows.size(), 48u);
    EXPECT_EQ(Bytes(rows.begin(), rows.begin() + 3),
              bits == 16 ? (Bytes{255, 255, 255}) : (Bytes{0xFF, 0x7F, 32}));
  }
}

TEST_F(Depth24, ThirtyTwoBit) {
  Dib dib({.width = 1, .height = 2, .bits = 32});
  SetRow(dib, {10, 20, 30, 40, 50, 60, 70, 80});
  EXPECT_EQ(RowsTo24(dib), (Bytes{10, 20, 30, 0, 50, 60, 70, 0}));
}

TEST_F(Depth24, OtherDepthsGiveNull) {
  for (const uint16_t bits :
       std::initializer_list<uint16_t>{0, 2, 3, 5, 15, 25, 31, 33, 48, 30000}) {
    Dib dib({.width = 2, .height = 1, .bits = bits, .tableEntries = 0});
    EXPECT_EQ(To24(dib), Bytes{}) << bits;
  }
}

TEST_F(Depth24, OtherHeadersGiveNull) {
  for (const uint32_t size : {0U, 11U, 16U, 39U, 41U, 64U, 108U, 124U, 0xFFFFFFFFU}) {
    Dib dib({.width = 2, .height = 1, .bits = 24, .rowBytes = 200});
    dib.Set32(0, size);
    EXPECT_EQ(To24(dib), Bytes{}) << size;
    EXPECT_EQ(CallImage(ConvertTo16BPPDIB, dib.Bytes()), Bytes{}) << size;
  }
  EXPECT_EQ(ReadHost().allocCalls, 0u);
}

TEST_F(Depth24, TopDownPaletteImagesTurnBlack) {
  Random random(8);
  for (const uint16_t bits : std::initializer_list<uint16_t>{1, 4, 8}) {
    Dib dib({.width = 5, .height = -2, .bits = bits});
    dib.SetRandomTable(random);
    dib.FillRandom(random);
    EXPECT_EQ(RowsTo24(dib), Bytes(32, 0));
  }
}

TEST_F(Depth24, RunLengthEightIsExpanded) {
  Dib dib({.width = 4, .height = 1, .bits = 8, .compression = 1, .sizeImage = 4, .rowBytes = 4});
  dib.SetColor(7, {1, 2, 3});
  SetRow(dib, {3, 7, 0, 1});
  EXPECT_EQ(RowsTo24(dib), (Bytes{3, 2, 1, 3, 2, 1, 3, 2, 1, 0, 0, 0}));
}

TEST_F(Depth24, StreamThatIsReadAsRowsEndsWhereItEnds) {
  // 4 bits: the stream of 6 bytes lies against an inaccessible page; the rows would take 2 x 40.
  Dib dib({.width = 80, .height = 2, .bits = 4, .compression = 2, .sizeImage = 6, .rowBytes = 6});
  dib.SetColor(0, {9, 9, 9});
  dib.SetColor(1, {1, 2, 3});
  SetRow(dib, {0x10, 0x10, 0x10, 0x10, 0x10, 0x11});
  const Bytes rows = RowsTo24(dib);
  ASSERT_EQ(rows.size(), 480u);
  for (size_t i = 0; i < 160; ++i) {
    const bool one = i < 12 && (i % 2 == 0 || i == 11);
    const Bytes pixel(rows.begin() + static_cast<ptrdiff_t>(3 * i),
                      rows.begin() + static_cast<ptrdiff_t>(3 * i + 3));
    EXPECT_EQ(pixel, one ? (Bytes{3, 2, 1}) : (Bytes{9, 9, 9})) << i;
  }
}

TEST_F(Depth24, StreamCutInsideAPixel) {
  Dib dib(
      {.width = 40, .height = 2, .bits = 32, .compression = 1, .sizeImage = 165, .rowBytes = 165});
  for (size_t i = 0; i < 165; ++i) dib.Row(0)[i] = static_cast<uint8_t>(i + 1);
  const Bytes rows = RowsTo24(dib);
  ASSERT_EQ(rows.size(), 240u);
  EXPECT_EQ(Bytes(rows.begin() + 117, rows.begin() + 129),
            (Bytes{157, 158, 159, 161, 162, 163, 165, 0, 0, 0, 0, 0}));
}

TEST_F(Depth24, FailedExpansionIsReadAsRows) {
  Dib dib({.width = 4, .height = 1, .bits = 8, .compression = 1, .sizeImage = 3, .rowBytes = 3});
  dib.SetColor(0, {9, 9, 9});
  dib.SetColor(3, {1, 2, 3});
  SetRow(dib, {3, 7, 3});
  ArmFault(Fault::kGlobalAlloc, 1);
  const Bytes rows = RowsTo24(dib);
  DisarmFault(Fault::kGlobalAlloc);
  EXPECT_EQ(rows, (Bytes{3, 2, 1, 0, 0, 0, 3, 2, 1, 9, 9, 9}));
}

TEST_F(Depth24, SizesThatAreNone) {
  for (const auto& [width, height] :
       {std::pair<int32_t, int32_t>{0, 1}, {1, 0}, {-1, 1}, {INT32_MIN, 1}, {0, -1}}) {
    for (const uint16_t bits : std::initializer_list<uint16_t>{1, 4, 8, 16, 24, 32}) {
      Dib dib({.bits = bits, .rowBytes = 8});
      dib.Set32(4, static_cast<uint32_t>(width));
      dib.Set32(8, static_cast<uint32_t>(height));
      EXPECT_EQ(To24(dib), Bytes{});
      EXPECT_EQ(CallImage(ConvertTo16BPPDIB, dib.Bytes()), Bytes{});
    }
  }
}

TEST_F(Depth24, EveryFaultInTurn) {
  for (const int32_t height : {2, -2}) {
    for (const uint16_t bits : std::initializer_list<uint16_t>{1, 4, 8, 16, 24, 32}) {
      Random random(bits);
      Dib dib({.width = 3, .height = height, .bits = bits});
      if (bits <= 8) dib.SetRandomTable(random);
      dib.FillRandom(random);
      const Bytes whole = To24(dib);
      for (const Fault fault : {Fault::kGlobalAlloc, Fault::kGlobalLock}) {
        FailEach(fault, [&](FaultRun& run) {
          tagHANDLE* handle = run.Call([&] { return ConvertTo24BPPDIB(dib.Data()); });
          if (handle != nullptr) {
            EXPECT_EQ(BytesOf(handle), whole);
          }
          // Only the three tables of a 4-bit image can be done without.
          EXPECT_TRUE(handle == nullptr || !run.Met() || bits == 4);
          GlobalFree(handle);
          EXPECT_EQ(ReadHost().liveBlocks, 0u);
        });
      }
    }
  }
}

TEST_F(Depth24, FourBitWithoutMemoryForItsTablesHasTheSameColors) {
  Random random(9);
  Dib dib({.width = 31, .height = 4, .bits = 4, .clrUsed = 11, .tableEntries = 11});
  for (size_t i = 0; i < 11; ++i) dib.SetColor(i, {random.Byte(), random.Byte(), random.Byte()});
  dib.FillRandom(random);
  const Bytes whole = To24(dib);
  for (unsigned nth = 2; nth <= 4; ++nth) {
    ArmFault(Fault::kGlobalAlloc, nth);
    EXPECT_EQ(To24(dib), whole);
    EXPECT_TRUE(DisarmFault(Fault::kGlobalAlloc));
  }
}

}  // namespace
}  // namespace dibtest
