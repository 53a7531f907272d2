// SPDX-License-Identifier: Apache-2.0
#include <climits>

#include "DIBApi.h"
#include "DIBHelp.h"
#include "dib/orientation.h"
#include "support/call_image.h"
#include "support/dib.h"
#include "support/host_test.h"

namespace dibtest {
namespace {

using Bytes = std::vector<uint8_t>;

Dib TopDownDib(uint16_t bits, int32_t width, int32_t rows, const Bytes& pixels) {
  Dib dib({.width = width,
           .height = -rows,
           .bits = bits,
           .tableEntries = 0,
           .rowBytes = static_cast<int64_t>(pixels.size())});
  std::copy(pixels.begin(), pixels.end(), dib.Data() + dib.RowsOffset());
  return dib;
}

Bytes Tail(const Bytes& bytes, size_t offset) {
  return bytes.size() < offset ? Bytes{}
                               : Bytes(bytes.begin() + static_cast<ptrdiff_t>(offset), bytes.end());
}

class Orientation : public HostTest {};

TEST_F(Orientation, RowsComeBackReversedUnderAFreshHeader) {
  const Dib dib = TopDownDib(24, 1, 3, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12});
  Dib expected({.width = 1, .height = 3, .bits = 24, .xPels = 0, .yPels = 0});
  const Bytes rows = {9, 10, 11, 12, 5, 6, 7, 8, 1, 2, 3, 4};
  std::copy(rows.begin(), rows.end(), expected.Data() + 40);
  EXPECT_EQ(CallImage(TopDownToBottomUp, dib.Bytes()), expected.Bytes());
  EXPECT_EQ(CallImage(NormalizeDIB, dib.Bytes()), expected.Bytes());
}

TEST_F(Orientation, BottomUpImagesNeedNothing) {
  for (const uint32_t compression : {0U, 3U}) {
    Dib dib({.width = 1, .height = 3, .bits = 32, .compression = compression});
    EXPECT_EQ(CallImage(TopDownToBottomUp, dib.Bytes()), Bytes{});
    EXPECT_EQ(CallImage(NormalizeDIB, dib.Bytes()), Bytes{});
  }
  Dib empty({.width = 1, .height = 0});
  EXPECT_EQ(CallImage(TopDownToBottomUp, empty.Bytes()), Bytes{});
  EXPECT_EQ(ReadHost().allocCalls, 0u);
}

TEST_F(Orientation, TableOfAFlippedImageIsBlack) {
  Random random(3);
  for (const uint16_t bits : std::initializer_list<uint16_t>{1, 4, 8}) {
    Dib dib({.width = 9, .height = -3, .bits = bits});
    dib.SetRandomTable(random);
    dib.FillRandom(random);
    const Bytes block = CallImage(TopDownToBottomUp, dib.Bytes());
    ASSERT_EQ(block.size(), dib.Bytes().size());
    const size_t table = size_t{4} << bits;
    EXPECT_EQ(Bytes(block.begin() + 40, block.begin() + static_cast<ptrdiff_t>(40 + table)),
              Bytes(table, 0));
    for (size_t y = 0; y < 3; ++y) {
      const uint8_t* row = block.data() + 40 + table + y * dib.Stride();
      EXPECT_EQ(Bytes(row, row + dib.Stride()),
                Bytes(dib.Row(2 - y), dib.Row(2 - y) + dib.Stride()));
    }
  }
}

TEST_F(Orientation, TableWithoutAllEntriesStillMakesAFullOne) {
  Dib dib({.width = 1, .height = -1, .bits = 8, .clrUsed = 3, .tableEntries = 3});
  *dib.Row(0) = 77;
  const Bytes block = CallImage(TopDownToBottomUp, dib.Bytes());
  ASSERT_EQ(block.size(), 40u + 1024 + 4);
  EXPECT_EQ(block[1064], 77);
}

TEST_F(Orientation, MasksBecomeTheFirstPixelsOfTheTopRow) {
  for (const uint16_t bits : std::initializer_list<uint16_t>{16, 32}) {
    const size_t width = 128 / bits;  // rows of 16 bytes
    Dib dib({.width = static_cast<int32_t>(width),
             .height = -2,
             .bits = bits,
             .compression = 3,
             .masks = {0x11111111, 0x22222222, 0x33333333}});
    for (uint8_t i = 0; i < 32; ++i) dib.Row(0)[i] = i;
    const Bytes block = CallImage(TopDownToBottomUp, dib.Bytes());
    const Bytes expected = {4,    5,    6,    7,    8,    9,    10,   11,   12,   13,   14,
                            15,   16,   17,   18,   19,   0x11, 0x11, 0x11, 0x11, 0x22, 0x22,
                            0x22, 0x22, 0x33, 0x33, 0x33, 0x33, 0,    1,    2,    3};
    EXPECT_EQ(Tail(block, 40), expected);
    EXPECT_EQ(block[16], 0) << "compression";
  }
}

TEST_F(Orientation, DepthsThatCreateDibChanges) {
  // 2 bits: rows of 4 bytes go into a 4-bit image with rows of 8, at the source's row length.
  const Bytes two =
      CallImage(TopDownToBottomUp, TopDownDib(2, 9, 2, {1, 2, 3, 4, 5, 6, 7, 8}).Bytes());
  EXPECT_EQ(two[14], 4);
  EXPECT_EQ(Tail(two, 104), (Bytes{5, 6, 7, 8, 1, 2, 3, 4, 0, 0, 0, 0, 0, 0, 0, 0}));
  // 48 bits: rows of 8 bytes into a 24-bit image with rows of 4; what falls behind is left out.
  const Bytes deep = CallImage(
      TopDownToBottomUp, TopDownDib(48, 1, 3, {1,  2,  3,  4,  5,  6,  7,  8,  11, 12, 13, 14,
                                               15, 16, 17, 18, 21, 22, 23, 24, 25, 26, 27, 28})
                             .Bytes());
  EXPECT_EQ(deep[14], 24);
  EXPECT_EQ(Tail(deep, 40), (Bytes{21, 22, 23, 24, 25, 26, 27, 28, 11, 12, 13, 14}));
  // 0 bits: nothing to copy.
  const Bytes none = CallImage(TopDownToBottomUp, TopDownDib(0, 3, 2, {}).Bytes());
  EXPECT_EQ(Tail(none, 48), Bytes(8, 0));
  // 30,000 bits: the block of 1-pixel rows is as large as it says, and only its end counts.
  const Bytes huge = CallImage(TopDownToBottomUp, TopDownDib(30000, 1, 2, Bytes(7504, 9)).Bytes());
  EXPECT_EQ(Tail(huge, 40), Bytes(8, 9));
}

TEST_F(Orientation, OddDepthsUpTo32KeepTheirRows) {
  Random random(5);
  for (const uint16_t bits : std::initializer_list<uint16_t>{25, 31, 32}) {
    Bytes pixels(2 * StrideOf(bits, 3));
    for (uint8_t& byte : pixels) byte = random.Byte();
    const Bytes block = CallImage(TopDownToBottomUp, TopDownDib(bits, 3, 2, pixels).Bytes());
    std::rotate(pixels.begin(), pixels.begin() + static_cast<ptrdiff_t>(pixels.size() / 2),
                pixels.end());
    EXPECT_EQ(Tail(block, 40), pixels);
  }
}

TEST_F(Orientation, RunLengthImages) {
  Dib dib({.width = 4, .height = 2, .bits = 8, .compression = 1, .sizeImage = 4, .rowBytes = 4});
  const Bytes stream = {6, 7, 0, 1};
  std::copy(stream.begin(), stream.end(), dib.Data() + 1064);
  EXPECT_EQ(CallImage(NormalizeDIB, dib.Bytes()), CallImage(RestoreRLE8, dib.Bytes()));
  EXPECT_NE(CallImage(NormalizeDIB, dib.Bytes()), Bytes{});
  EXPECT_EQ(CallImage(TopDownToBottomUp, dib.Bytes()), Bytes{});

  dib.Set32(8, static_cast<uint32_t>(-2));
  EXPECT_EQ(CallImage(NormalizeDIB, dib.Bytes()), Bytes{});
  EXPECT_EQ(CallImage(TopDownToBottomUp, dib.Bytes()), Bytes{});

  Dib four({.width = 4, .height = 2, .bits = 4, .compression = 2, .sizeImage = 4, .rowBytes = 4});
  EXPECT_EQ(CallImage(NormalizeDIB, four.Bytes()), Bytes{});
  four.Set32(8, static_cast<uint32_t>(-2));
  EXPECT_EQ(CallImage(NormalizeDIB, four.Bytes()), Bytes{});
  EXPECT_EQ(CallImage(TopDownToBottomUp, four.Bytes()), Bytes{});
}

TEST_F(Orientation, OtherHeaders) {
  Dib core({.width = 2, .height = 40000, .bits = 1, .core = true});
  EXPECT_EQ(CallImage(NormalizeDIB, core.Bytes()), Bytes{});
  EXPECT_EQ(CallImage(TopDownToBottomUp, core.Bytes()), Bytes{});
  Dib longer({.width = 2, .height = -1, .bits = 24, .rowBytes = 100});
  longer.Set32(0, 108);
  EXPECT_EQ(CallImage(NormalizeDIB, longer.Bytes()), Bytes{});
  EXPECT_EQ(CallImage(TopDownToBottomUp, longer.Bytes()), Bytes{});
}

TEST_F(Orientation, SizesThatAreNone) {
  for (const auto& [width, height] : {std::pair<int32_t, int32_t>{0, -1},
                                      {-1, -1},
                                      {INT_MIN, -1},
                                      {1, INT_MIN},
                                      {INT_MAX, INT_MIN}}) {
    Dib dib({.rowBytes = 0});
    dib.Set32(4, static_cast<uint32_t>(width));
    dib.Set32(8, static_cast<uint32_t>(height));
    EXPECT_EQ(CallImage(TopDownToBottomUp, dib.Bytes()), Bytes{});
    EXPECT_EQ(CallImage(NormalizeDIB, dib.Bytes()), Bytes{});
  }
  EXPECT_EQ(ReadHost().allocCalls, 0u);
}

TEST_F(Orientation, EveryAllocationAndLockFailingInTurn) {
  Dib flipped({.width = 3, .height = -2, .bits = 8});
  Dib packed({.width = 4, .height = 2, .bits = 8, .compression = 1, .sizeImage = 4, .rowBytes = 4});
  for (Dib* dib : {&flipped, &packed}) {
    for (const ImageFunction function : {TopDownToBottomUp, NormalizeDIB}) {
      if (dib == &packed && function == TopDownToBottomUp) continue;
      for (const Fault fault : {Fault::kGlobalAlloc, Fault::kGlobalLock}) {
        const unsigned faults = FailEach(fault, [&](FaultRun& run) {
          tagHANDLE* handle = run.Call([&] { return function(dib->Data()); });
          EXPECT_EQ(handle == nullptr, run.Met());
          GlobalFree(handle);
          EXPECT_EQ(ReadHost().liveBlocks, 0u);
        });
        EXPECT_EQ(faults, fault == Fault::kGlobalAlloc ? 1u : 2u);
      }
    }
  }
}

}  // namespace
}  // namespace dibtest
