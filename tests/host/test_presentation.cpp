// SPDX-License-Identifier: Apache-2.0
//
// How files of every kind are presented to the library.
#include <gtest/gtest.h>

#include <algorithm>

#include "dibkit/DIBHelp.h"
#include "loaded_dib.h"

namespace dibkit::test {
namespace {

using host::ImageFault;

Bytes Header(const BitmapBuilder& file, uint16_t bits, uint32_t compression = 0,
             uint32_t sizeImage = 0, uint32_t colorsUsed = 0) {
  return Joined({Words({40, static_cast<uint32_t>(file.width), static_cast<uint32_t>(file.height)}),
                 HalfWords({1, bits}),
                 Words({compression, sizeImage, static_cast<uint32_t>(file.xPelsPerMeter),
                        static_cast<uint32_t>(file.yPelsPerMeter), colorsUsed, 0})});
}

TEST(Presentation, LongerHeadersBecomeTheUsualOne) {
  for (const uint32_t size : {52U, 56U, 64U, 108U, 124U}) {
    for (const uint16_t bits : std::initializer_list<uint16_t>{1, 4, 8, 16, 24, 32}) {
      BitmapBuilder file;
      file.bitCount = bits;
      const Bytes expected = Joined({Header(file, bits), file.Table(), file.Pixels()});
      file.headerBytes = size;
      EXPECT_EQ(BlockBytes(Load(file)), expected) << size << " " << bits;
    }
  }
}

TEST(Presentation, AHeaderOf16BytesHasNoResolution) {
  BitmapBuilder file;
  file.headerBytes = 16;
  const Bytes block = BlockBytes(Load(file));
  file.xPelsPerMeter = file.yPelsPerMeter = 0;
  EXPECT_EQ(block, Joined({Header(file, 8), file.Table(), file.Pixels()}));
}

TEST(Presentation, CoreHeadersAndTheirTablesBecomeTheUsualOnes) {
  for (const uint16_t bits : std::initializer_list<uint16_t>{1, 4, 8, 24}) {
    BitmapBuilder file;
    file.bitCount = bits;
    file.xPelsPerMeter = file.yPelsPerMeter = 0;
    const Bytes expected = Joined({Header(file, bits), file.Table(), file.Pixels()});
    file.headerBytes = 12;
    EXPECT_EQ(BlockBytes(Load(file)), expected) << bits;
  }
}

TEST(Presentation, AShortTableBehindACoreHeaderIsFilledUpWithBlack) {
  BitmapBuilder file;
  file.headerBytes = 12;
  file.bitCount = 4;
  file.table = Bytes{1, 2, 3, 4, 5, 6, 7, 8, 9};
  file.xPelsPerMeter = file.yPelsPerMeter = 0;
  EXPECT_EQ(BlockBytes(Load(file)),
            Joined({Header(file, 4), Bytes{1, 2, 3, 0, 4, 5, 6, 0, 7, 8, 9, 0}, Bytes(13 * 4),
                    file.Pixels()}));
}

TEST(Presentation, TwoBitsBecomeFour) {
  BitmapBuilder file;
  file.bitCount = 2;
  file.width = 5;
  file.height = 2;
  file.pixels = Bytes{0x1B, 0xC0, 0, 0, 0xE4, 0x40, 0, 0};
  EXPECT_EQ(BlockBytes(Load(file)), Joined({Header(file, 4), file.Table(), Bytes(12 * 4),
                                            Bytes{0x01, 0x23, 0x30, 0, 0x32, 0x10, 0x10, 0}}));
}

TEST(Presentation, PaddingOfTwoBitRowsIsLeftOut) {
  BitmapBuilder file;
  file.bitCount = 2;
  file.width = 3;
  file.height = 1;
  file.pixels = Bytes{0xFF, 0xFF, 0xFF, 0xFF};
  const Bytes block = BlockBytes(Load(file));
  EXPECT_EQ(Bytes(block.end() - 4, block.end()), (Bytes{0x33, 0x30, 0, 0}));
}

TEST(Presentation, TopDownRowsKeepTheirOrder) {
  for (const uint16_t bits : std::initializer_list<uint16_t>{1, 4, 8, 16, 24, 32}) {
    BitmapBuilder file;
    file.bitCount = bits;
    file.height = -3;
    EXPECT_EQ(BlockBytes(Load(file)), Joined({Header(file, bits), file.Table(), file.Pixels()}))
        << bits;
  }
}

TEST(Presentation, TablesWithoutUseAreDropped) {
  for (const uint16_t bits : std::initializer_list<uint16_t>{16, 24, 32}) {
    BitmapBuilder file;
    file.bitCount = bits;
    file.colorsUsed = 300;
    file.table = Bytes(1200, 0x99);
    file.gap = 5;
    EXPECT_EQ(BlockBytes(Load(file)), Joined({Header(file, bits), file.Pixels()})) << bits;
  }
}

// A bit-field file with its masks where its header wants them.
BitmapBuilder BitFields(uint16_t bits, uint32_t headerBytes, uint32_t compression = 3) {
  BitmapBuilder file;
  file.bitCount = bits;
  file.headerBytes = headerBytes;
  file.compression = compression;
  const Bytes masks = Words({0xF800, 0x07E0, 0x001F});
  if (headerBytes == 40) {
    file.masks = compression == 6 ? Joined({masks, Words({0xFF000000})}) : masks;
  }
  return file;
}

Bytes BitFieldBlock(const BitmapBuilder& file, const Bytes& masks) {
  return Joined({Header(file, file.bitCount, 3, 0, 3), masks, file.Pixels()});
}

TEST(Presentation, RowsOfBitFieldsAreFoundBehindTheMasks) {
  for (const uint16_t bits : std::initializer_list<uint16_t>{16, 32}) {
    for (const uint32_t compression : {3U, 6U}) {
      for (const int32_t height : {3, -3}) {
        BitmapBuilder file = BitFields(bits, 40, compression);
        file.height = height;
        const host::OwnedBlock dib = Load(file);
        EXPECT_EQ(BlockBytes(dib), BitFieldBlock(file, Words({0xF800, 0x07E0, 0x001F})))
            << bits << " " << compression << " " << height;
        const host::LockedBlock lock(dib.get());
        EXPECT_EQ(DIBBits(lock.Bytes().data()) - lock.Bytes().data(), 52);
      }
    }
  }
}

TEST(Presentation, MasksInsideTheHeaderAreMovedBehindIt) {
  for (const uint32_t size : {52U, 56U, 108U, 124U}) {
    const BitmapBuilder builder = BitFields(32, size);
    Bytes file = builder.Build();
    const Bytes masks = Words({0x3FF00000, 0x000FFC00, 0x000003FF});
    std::copy(masks.begin(), masks.end(), file.begin() + 14 + 40);
    const host::OwnedBlock dib =
        host::BitmapFile(std::make_unique<host::MemorySource>(file)).ReadDib();
    EXPECT_EQ(BlockBytes(dib), BitFieldBlock(builder, masks)) << size;
  }
}

TEST(Presentation, ATableBehindTheMasksIsDropped) {
  BitmapBuilder file = BitFields(16, 40);
  file.colorsUsed = 256;
  file.table = Bytes(1024, 0x77);
  EXPECT_EQ(BlockBytes(Load(file)), BitFieldBlock(file, file.masks));
}

BitmapBuilder RunLength(uint16_t bits, const Bytes& stream) {
  BitmapBuilder file;
  file.bitCount = bits;
  file.width = 7;
  file.compression = bits == 8 ? 1 : 2;
  file.pixels = stream;
  return file;
}

// The stream as the library will see it.
Bytes PresentedStream(uint16_t bits, const Bytes& stream) {
  const BitmapBuilder file = RunLength(bits, stream);
  const Bytes block = BlockBytes(Load(file));
  const size_t front = 40 + (bits == 8 ? 1024 : 64);
  const Bytes presented(block.begin() + static_cast<std::ptrdiff_t>(front), block.end());
  EXPECT_EQ(block,
            Joined({Header(file, bits, file.compression, static_cast<uint32_t>(presented.size())),
                    file.Table(), presented}));
  return presented;
}

TEST(Presentation, StreamsThatKeepToTheirRowsStayAsTheyAre) {
  const Bytes eight{7, 1, 0, 0, 0, 3, 1, 2, 3, 0, 0, 4, 5, 6, 7, 8, 0, 0, 0, 2, 3, 0, 4, 9};
  EXPECT_EQ(PresentedStream(8, eight), eight);
  const Bytes four{7, 0x12, 0, 0, 0, 5, 0x12, 0x34, 0x50, 0, 0, 2, 0, 1, 1, 0x90};
  EXPECT_EQ(PresentedStream(4, four), four);
}

TEST(Presentation, RunsAreCutAtTheEndOfTheirRow) {
  EXPECT_EQ(PresentedStream(8, {9, 1, 3, 2, 0, 0}), (Bytes{7, 1, 0, 0}));
  EXPECT_EQ(PresentedStream(4, {9, 0x12, 3, 2, 0, 0}), (Bytes{7, 0x12, 0, 0}));
}

TEST(Presentation, LiteralsAreCutAtTheEndOfTheirRow) {
  EXPECT_EQ(PresentedStream(8, {3, 1, 0, 6, 1, 2, 3, 4, 5, 6, 0, 0}),
            (Bytes{3, 1, 0, 4, 1, 2, 3, 4, 0, 0}));
  EXPECT_EQ(PresentedStream(8, {4, 1, 0, 4, 1, 2, 3, 4, 0, 0}),
            (Bytes{4, 1, 0, 3, 1, 2, 3, 0, 0, 0}));
  EXPECT_EQ(PresentedStream(4, {2, 0x12, 0, 9, 0x12, 0x34, 0x56, 0x78, 0x90, 0, 0, 0}),
            (Bytes{2, 0x12, 0, 5, 0x12, 0x34, 0x56, 0, 0, 0}));
}

TEST(Presentation, LessThanThreeLiteralsBecomeRuns) {
  EXPECT_EQ(PresentedStream(8, {5, 1, 0, 3, 7, 8, 9, 0, 0, 0}), (Bytes{5, 1, 1, 7, 1, 8, 0, 0}));
  EXPECT_EQ(PresentedStream(8, {6, 1, 0, 3, 7, 8, 9, 0}), (Bytes{6, 1, 1, 7}));
  EXPECT_EQ(PresentedStream(8, {7, 1, 0, 3, 7, 8, 9, 0}), (Bytes{7, 1}));
  EXPECT_EQ(PresentedStream(4, {5, 1, 0, 3, 0x78, 0x90, 0, 0}), (Bytes{5, 1, 2, 0x78, 0, 0}));
  EXPECT_EQ(PresentedStream(4, {6, 1, 0, 3, 0x78, 0x90}), (Bytes{6, 1, 1, 0x78}));
}

TEST(Presentation, OddMovesFromOddColumnsAreSplitAtFourBits) {
  EXPECT_EQ(PresentedStream(4, {1, 0x50, 0, 2, 3, 1, 2, 0x67}),
            (Bytes{1, 0x50, 0, 2, 2, 1, 1, 0, 2, 0x67}));
  EXPECT_EQ(PresentedStream(4, {1, 0x50, 0, 2, 2, 1}), (Bytes{1, 0x50, 0, 2, 2, 1}));
  EXPECT_EQ(PresentedStream(4, {2, 0x50, 0, 2, 3, 1}), (Bytes{2, 0x50, 0, 2, 3, 1}));
  EXPECT_EQ(PresentedStream(8, {1, 5, 0, 2, 3, 1, 2, 6}), (Bytes{1, 5, 0, 2, 3, 1, 2, 6}));
}

TEST(Presentation, MovesStopAtTheEndOfTheirRow) {
  EXPECT_EQ(PresentedStream(8, {4, 5, 0, 2, 200, 1, 2, 6, 0, 0, 1, 6}),
            (Bytes{4, 5, 0, 2, 3, 1, 0, 0, 1, 6}));
}

TEST(Presentation, AStreamEndsWithItsRows) {
  EXPECT_EQ(PresentedStream(8, {1, 1, 0, 0, 0, 0, 0, 0, 1, 2, 0, 0}),
            (Bytes{1, 1, 0, 0, 0, 0, 0, 0}));
  EXPECT_EQ(PresentedStream(8, {1, 1, 0, 2, 0, 9, 1, 2}), (Bytes{1, 1, 0, 2, 0, 9}));
  EXPECT_EQ(PresentedStream(8, {1, 1, 0, 1, 1, 2}), (Bytes{1, 1}));
}

TEST(Presentation, CutRecordsGiveWhatIsThere) {
  EXPECT_EQ(PresentedStream(8, {1, 1, 5}), (Bytes{1, 1}));
  EXPECT_EQ(PresentedStream(8, {1, 1, 0, 2, 3}), (Bytes{1, 1}));
  EXPECT_EQ(PresentedStream(8, {1, 1, 0, 5, 7, 8, 9}), (Bytes{1, 1, 0, 3, 7, 8, 9, 0}));
  EXPECT_EQ(PresentedStream(8, {1, 1, 0, 5, 7, 8}), (Bytes{1, 1, 1, 7, 1, 8}));
  EXPECT_EQ(PresentedStream(4, {1, 1, 0, 7, 0x78}), (Bytes{1, 1, 2, 0x78}));
  EXPECT_EQ(PresentedStream(4, {1, 1, 0, 7}), (Bytes{1, 1}));
}

TEST(Presentation, RefusesEmbeddedFiles) {
  for (const uint32_t compression : {4U, 5U}) {
    BitmapBuilder file;
    file.headerBytes = 124;
    file.compression = compression;
    file.bitCount = 0;
    file.table = Bytes();
    file.pixels = Bytes(10);
    EXPECT_EQ(FaultOf([&] { Load(file); }), ImageFault::kCompressionNotConvertible) << compression;
  }
}

BitmapBuilder Rle24(const Bytes& stream) {
  BitmapBuilder file;
  file.headerBytes = 64;
  file.compression = 4;
  file.bitCount = 24;
  file.width = 5;
  file.height = 3;
  file.pixels = stream;
  file.sizeImage = static_cast<uint32_t>(stream.size());
  return file;
}

// Five pixels of one byte thrice, 0 is black.
Bytes GreyRow(const Bytes& levels) {
  Bytes row(16);
  for (size_t i = 0; i < levels.size() * 3; ++i) {
    row[i] = levels[i / 3];
  }
  return row;
}

TEST(Presentation, RunLengthStreamsOf24BitsBecomeRows) {
  // A run; literals with a filler byte; a move up and right, a run that leaves its row.
  const host::OwnedBlock dib = Load(Rle24({2,  1, 1, 1, 3, 9, 8, 7, 0, 0,                    //
                                           0,  3, 2, 2, 2, 3, 3, 3, 4, 4, 4, 0, 0, 2, 1, 1,  //
                                           99, 5, 5, 5, 0, 1}));
  const Bytes first{1, 1, 1, 1, 1, 1, 9, 8, 7, 9, 8, 7, 9, 8, 7, 0};
  EXPECT_EQ(RowBytes(dib), Joined({first, GreyRow({2, 3, 4}), GreyRow({0, 0, 0, 0, 5})}));
}

TEST(Presentation, RunLengthStreamsOf24BitsEndAnywhere) {
  const Bytes whole{2, 1, 1, 1, 0, 3, 2, 2,   2,   3, 3, 3, 4,
                    4, 4, 0, 0, 0, 0, 2, 255, 255, 5, 6, 6, 6};
  for (size_t size = 1; size <= whole.size(); ++size) {
    const Bytes rows = RowBytes(
        Load(Rle24(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)))));
    EXPECT_EQ(rows.size(), 48U);
    EXPECT_EQ(rows[0], size >= 4 ? 1 : 0) << size;
    EXPECT_EQ(Bytes(rows.begin() + 16, rows.end()), Bytes(32)) << size;
  }
}

TEST(Presentation, RefusesStreamsOfImagesThatNoBlockCanHold) {
  BitmapBuilder file = RunLength(8, {1, 1, 0, 1});
  file.width = file.height = 65536;
  EXPECT_EQ(FaultOf([&] { Load(file); }), ImageFault::kTooLarge);
}

}  // namespace
}  // namespace dibkit::test
