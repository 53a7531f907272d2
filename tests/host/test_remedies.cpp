// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <utility>

#include "dibkit/host/remedies.h"
#include "loaded_dib.h"

namespace dibkit::test {
namespace {

using host::BitFieldsWidened;
using host::DibView;
using host::Expanded;
using host::ImageFault;
using host::LockedBlock;
using host::OwnedBlock;
using host::TurnedBottomUp;

using Step = OwnedBlock (*)(OwnedBlock);

constexpr Step kSteps[] = {Expanded, BitFieldsWidened, TurnedBottomUp};

BitmapBuilder Coloured(uint16_t bits) {
  BitmapBuilder file;
  file.bitCount = bits;
  file.width = 3;
  file.xPelsPerMeter = 2835;
  file.yPelsPerMeter = -7;
  if (bits <= 8) {
    file.table = Bytes();
    for (unsigned i = 0; i < 1U << bits; ++i) {
      for (const unsigned value : {i * 37 + 1, i * 91 + 50, 255 - i * 13, 0U}) {
        file.table->push_back(static_cast<unsigned char>(value));
      }
    }
  }
  return file;
}

BitmapBuilder RunLength(uint16_t bits, const Bytes& stream) {
  BitmapBuilder file = Coloured(bits);
  file.width = 5;
  file.height = 2;
  file.compression = bits == 8 ? 1 : 2;
  file.pixels = stream;
  return file;
}

BitmapBuilder BitFields(uint16_t bits, std::initializer_list<uint32_t> masks, const Bytes& pixels) {
  BitmapBuilder file = Coloured(bits);
  file.compression = 3;
  file.masks = Words(masks);
  file.height = 2;
  file.pixels = pixels;
  return file;
}

void ExpectResolution(const OwnedBlock& dib) {
  const LockedBlock lock(dib.get());
  const Bytes block(lock.Bytes().begin() + 24, lock.Bytes().begin() + 32);
  EXPECT_EQ(block, Words({2835, static_cast<uint32_t>(-7)}));
}

// Size field, width, height, planes and depth.
Bytes Shape(const OwnedBlock& dib) {
  const Bytes block = BlockBytes(dib);
  return Bytes(block.begin(), block.begin() + 16);
}

TEST(Remedies, StepsLeaveAloneWhatTheyAreNotFor) {
  for (const uint16_t bits : std::initializer_list<uint16_t>{1, 4, 8, 16, 24, 32}) {
    const Bytes before = BlockBytes(Load(Coloured(bits)));
    for (const Step step : kSteps) {
      OwnedBlock dib = Load(Coloured(bits));
      const tagHANDLE* handle = dib.get();
      dib = step(std::move(dib));
      EXPECT_EQ(dib.get(), handle);
      EXPECT_EQ(BlockBytes(dib), before);
    }
  }
}

TEST(Remedies, StepsWantABlock) {
  for (const Step step : kSteps) {
    EXPECT_EQ(FaultOf([&] { step(OwnedBlock()); }), ImageFault::kNoBlock);
  }
}

TEST(Remedies, StepsFreeTheBlockThatTheyReplace) {
  const uint64_t before = host::ReadMemoryCounters().liveBlocks;
  {
    const OwnedBlock dib = Expanded(Load(RunLength(4, {5, 0x12, 0, 1})));
    EXPECT_EQ(host::ReadMemoryCounters().liveBlocks, before + 1);
    EXPECT_EQ(host::ReadMemoryCounters().locks, 0U);
  }
  EXPECT_EQ(host::ReadMemoryCounters().liveBlocks, before);
}

TEST(Remedies, ImagesOfEightBitsAreExpanded) {
  const BitmapBuilder file = RunLength(8, {5, 7, 0, 0, 0, 3, 1, 2, 3, 0, 0, 1});
  const OwnedBlock dib = Expanded(Load(file));
  EXPECT_EQ(RowBytes(dib), (Bytes{7, 7, 7, 7, 7, 0, 0, 0, 1, 2, 3, 0, 0, 0, 0, 0}));
  const LockedBlock lock(dib.get());
  const auto table = DibView(lock.Bytes()).Table();
  EXPECT_EQ(Bytes(table.begin(), table.end()), file.Table());
  ExpectResolution(dib);
}

TEST(Remedies, ImagesOfFourBitsAreExpanded) {
  const BitmapBuilder file = RunLength(4, {5, 0x12, 0, 0, 0, 3, 0x34, 0x50, 0, 1});
  const OwnedBlock dib = Expanded(Load(file));
  EXPECT_EQ(RowBytes(dib), (Bytes{0x12, 0x12, 0x10, 0, 0x34, 0x50, 0, 0}));
  const LockedBlock lock(dib.get());
  const auto table = DibView(lock.Bytes()).Table();
  EXPECT_EQ(Bytes(table.begin(), table.end()), file.Table());
  ExpectResolution(dib);
}

TEST(Remedies, OddMovesFromOddColumnsReachTheirPixels) {
  EXPECT_EQ(RowBytes(Expanded(Load(RunLength(4, {1, 0x10, 0, 2, 1, 0, 2, 0x23})))),
            (Bytes{0x10, 0x23, 0, 0, 0, 0, 0, 0}));
  EXPECT_EQ(RowBytes(Expanded(Load(RunLength(4, {3, 0x12, 0, 2, 1, 1, 1, 0x30})))),
            (Bytes{0x12, 0x10, 0, 0, 0, 0, 0x30, 0}));
}

TEST(Remedies, WhatLeavesARowDoesNotReachTheNext) {
  EXPECT_EQ(RowBytes(Expanded(Load(RunLength(8, {9, 7, 0, 0, 1, 1})))),
            (Bytes{7, 7, 7, 7, 7, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0}));
  EXPECT_EQ(RowBytes(Expanded(Load(RunLength(4, {20, 0x77, 0, 0, 1, 0x10})))),
            (Bytes{0x77, 0x77, 0x70, 0, 0x10, 0, 0, 0}));
}

TEST(Remedies, BitFieldsOf16BitsAreWidenedFromTheirFirstPixelOn) {
  const BitmapBuilder file =
      BitFields(16, {0xF800, 0x07E0, 0x001F},
                HalfWords({0xFFFF, 0xF800, 0x07E0, 0, 0x001F, 0x0000, 0x0841, 0}));
  const OwnedBlock dib = BitFieldsWidened(Load(file));
  EXPECT_EQ(Shape(dib), Joined({Words({40, 3, 2}), HalfWords({1, 24})}));
  EXPECT_EQ(RowBytes(dib), (Bytes{255, 255, 255, 0, 0, 255, 0, 255, 0, 0, 0, 0,  //
                                  255, 0,   0,   0, 0, 0,   8, 8,   8, 0, 0, 0}));
  ExpectResolution(dib);
}

TEST(Remedies, BitFieldsOf32BitsAreWidenedFromTheirFirstPixelOn) {
  const BitmapBuilder file =
      BitFields(32, {0x000000FF, 0x0000FF00, 0x00FF0000},
                Words({0xFF302010, 0x00605040, 0x00908070, 0x00C0B0A0, 0x00F0E0D0, 0x00030201}));
  const OwnedBlock dib = BitFieldsWidened(Load(file));
  EXPECT_EQ(RowBytes(dib), (Bytes{0x30, 0x20, 0x10, 0x60, 0x50, 0x40, 0x90, 0x80, 0x70, 0, 0, 0,
                                  0xC0, 0xB0, 0xA0, 0xF0, 0xE0, 0xD0, 3,    2,    1,    0, 0, 0}));
  ExpectResolution(dib);
}

TEST(Remedies, TopDownBitFieldsKeepTheirRowOrder) {
  BitmapBuilder file = BitFields(16, {0xF800, 0x07E0, 0x001F},
                                 HalfWords({0xFFFF, 0xF800, 0x07E0, 0, 0x001F, 0, 0x0841, 0}));
  const Bytes bottomUp = RowBytes(BitFieldsWidened(Load(file)));
  file.height = -2;
  const OwnedBlock dib = BitFieldsWidened(Load(file));
  const Bytes block = BlockBytes(dib);
  EXPECT_EQ(Bytes(block.begin() + 8, block.begin() + 12), Words({static_cast<uint32_t>(-2)}));
  EXPECT_EQ(Bytes(block.begin() + 40, block.end()), bottomUp);
}

TEST(Remedies, OddMasksAreHarmless) {
  const Bytes pixels = Words({0xFFFFFFFF, 0x12345678, 0, 1, 2, 3});
  EXPECT_EQ(RowBytes(BitFieldsWidened(Load(BitFields(32, {0, 0, 0}, pixels)))), Bytes(24));
  const OwnedBlock same =
      BitFieldsWidened(Load(BitFields(32, {0xFFFFFFFF, 0xFFFFFFFF, 0xFF0000FF}, pixels)));
  EXPECT_EQ(RowBytes(same)[0], 0xFF);
}

TEST(Remedies, TurnedImagesKeepTheirColours) {
  for (const uint16_t bits : std::initializer_list<uint16_t>{1, 4, 8, 16, 24, 32}) {
    BitmapBuilder file = Coloured(bits);
    const Bytes upright = BlockBytes(Load(file));
    const size_t stride = static_cast<size_t>(Stride(3, bits));
    const Bytes rows = file.Pixels();
    file.height = -3;
    file.pixels = Bytes();
    for (const size_t row : {2U, 1U, 0U}) {
      const auto from = rows.begin() + static_cast<std::ptrdiff_t>(row * stride);
      file.pixels->insert(file.pixels->end(), from, from + static_cast<std::ptrdiff_t>(stride));
    }
    const OwnedBlock dib = TurnedBottomUp(Load(file));
    EXPECT_EQ(BlockBytes(dib), upright) << bits;
    ExpectResolution(dib);
  }
}

// A header without the pixels that it claims; the steps look at the sizes first.
OwnedBlock HeaderOf(uint32_t side, uint16_t bits, uint32_t compression) {
  const Bytes header =
      Joined({Words({40, side, side}), HalfWords({1, bits}), Words({compression})});
  OwnedBlock dib(GlobalAlloc(GHND, 100));
  const LockedBlock lock(dib.get());
  std::copy(header.begin(), header.end(), lock.Bytes().begin());
  return dib;
}

TEST(Remedies, ResultsThatNoBlockCanHoldAreRefused) {
  EXPECT_EQ(FaultOf([] { BitFieldsWidened(HeaderOf(40000, 16, 3)); }), ImageFault::kTooLarge);
  EXPECT_EQ(FaultOf([] { Expanded(HeaderOf(65536, 8, 1)); }), ImageFault::kTooLarge);
}

}  // namespace
}  // namespace dibkit::test
