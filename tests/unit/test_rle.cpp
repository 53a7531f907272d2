// SPDX-License-Identifier: Apache-2.0
#include <climits>

#include "DIBApi.h"
#include "DIBHelp.h"
#include "dib/rle.h"
#include "reference/rle_model.h"
#include "rle_comparison.h"
#include "support/call_image.h"
#include "support/dib.h"
#include "support/guarded_bytes.h"
#include "support/host_test.h"
#include "support/rle_encoder.h"

namespace dibtest {
namespace {

using Bytes = std::vector<uint8_t>;

Dib CompressedDib(uint16_t bits, int32_t width, int32_t height, const Bytes& stream) {
  Dib dib({.width = width,
           .height = height,
           .bits = bits,
           .compression = bits == 8 ? 1U : 2U,
           .sizeImage = static_cast<uint32_t>(stream.size()),
           .rowBytes = static_cast<int64_t>(stream.size())});
  std::copy(stream.begin(), stream.end(), dib.Data() + dib.RowsOffset());
  return dib;
}

// The pixel area after decoding.
Bytes Restore(uint16_t bits, int32_t width, int32_t height, const Bytes& stream) {
  const Bytes block = CallImage(bits == 8 ? RestoreRLE8 : RestoreRLE4,
                                CompressedDib(bits, width, height, stream).Bytes());
  if (block.empty()) return {};
  return {block.begin() + (bits == 8 ? 1064 : 104), block.end()};
}

class Rle : public HostTest {};

TEST_F(Rle, EightBitRunWrapsIntoTheNextRow) {
  EXPECT_EQ(Restore(8, 4, 2, {6, 7, 0, 1}), (Bytes{7, 7, 7, 7, 7, 7, 0, 0}));
}

TEST_F(Rle, EightBitRunOverSeveralRowsSkipsThePadding) {
  EXPECT_EQ(Restore(8, 3, 3, {8, 9, 0, 1}), (Bytes{9, 9, 9, 0, 9, 9, 9, 0, 9, 9, 0, 0}));
}

TEST_F(Rle, EightBitLiteralsSkipTheFillerOfAnOddCount) {
  EXPECT_EQ(Restore(8, 8, 1, {0, 3, 1, 2, 3, 0xEE, 2, 5, 0, 1}), (Bytes{1, 2, 3, 5, 5, 0, 0, 0}));
}

TEST_F(Rle, EightBitLiteralsOfAnEvenCountHaveNoFiller) {
  EXPECT_EQ(Restore(8, 8, 1, {0, 4, 1, 2, 3, 4, 2, 5, 0, 1}), (Bytes{1, 2, 3, 4, 5, 5, 0, 0}));
}

TEST_F(Rle, EightBitLiteralsWrapIntoTheNextRow) {
  EXPECT_EQ(Restore(8, 3, 2, {0, 5, 1, 2, 3, 4, 5, 0, 0, 1}), (Bytes{1, 2, 3, 0, 4, 5, 0, 0}));
}

TEST_F(Rle, EightBitMoveLeavesZeros) {
  EXPECT_EQ(Restore(8, 8, 2, {1, 9, 0, 2, 5, 1, 1, 8}),
            (Bytes{9, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 8, 0}));
}

TEST_F(Rle, EightBitMoveBehindTheRowGoesOnInTheNext) {
  EXPECT_EQ(Restore(8, 4, 2, {0, 2, 200, 0, 1, 8}), (Bytes{0, 0, 0, 0, 8, 0, 0, 0}));
  EXPECT_EQ(Restore(8, 4, 2, {0, 2, 200, 0, 0, 0, 1, 8}), (Bytes{0, 0, 0, 0, 8, 0, 0, 0}));
}

TEST_F(Rle, EightBitLineEndsAndEarlyEnd) {
  EXPECT_EQ(Restore(8, 2, 3, {1, 1, 0, 0, 0, 0, 1, 3, 0, 1, 1, 4}),
            (Bytes{1, 0, 0, 0, 0, 0, 0, 0, 3, 0, 0, 0}));
}

TEST_F(Rle, FourBitRunTakesTurns) {
  EXPECT_EQ(Restore(4, 8, 1, {5, 0x12, 0, 1}), (Bytes{0x12, 0x12, 0x10, 0}));
}

TEST_F(Rle, FourBitRunFromAnOddColumn) {
  EXPECT_EQ(Restore(4, 8, 1, {1, 0x70, 4, 0x12, 0, 1}), (Bytes{0x71, 0x21, 0x20, 0}));
}

TEST_F(Rle, FourBitLiterals) {
  EXPECT_EQ(Restore(4, 8, 1, {0, 3, 0x12, 0x30, 1, 0x40}), (Bytes{0x12, 0x34, 0, 0}));
  EXPECT_EQ(Restore(4, 8, 1, {0, 5, 0x12, 0x34, 0x5F, 0xEE, 1, 0x60}),
            (Bytes{0x12, 0x34, 0x56, 0}));
  EXPECT_EQ(Restore(4, 8, 1, {0, 6, 0x12, 0x34, 0x56, 0xEE, 1, 0x70}),
            (Bytes{0x12, 0x34, 0x56, 0x70}));
  EXPECT_EQ(Restore(4, 8, 1, {0, 7, 0x12, 0x34, 0x56, 0x7F, 1, 0x80}),
            (Bytes{0x12, 0x34, 0x56, 0x78}));
}

TEST_F(Rle, FourBitMoveIgnoresTheParityOfItsColumn) {
  EXPECT_EQ(Restore(4, 8, 1, {1, 0x10, 0, 2, 1, 0, 1, 0x40}), (Bytes{0x50, 0, 0, 0}));
}

TEST_F(Rle, FourBitLostByteStaysLostAcrossLineEnds) {
  EXPECT_EQ(Restore(4, 8, 2, {1, 0x10, 0, 2, 1, 0, 0, 0, 2, 0x34}),
            (Bytes{0x10, 0, 0, 0x34, 0, 0, 0, 0}));
}

TEST_F(Rle, FourBitRunPassesTheEndOfItsRowWithoutCountingIt) {
  // 3 pixels wide, rows of 4 bytes: ten pixels fill the padding and the next row's first byte.
  EXPECT_EQ(Restore(4, 3, 2, {10, 0x12, 0, 0, 1, 0x40, 0, 1}),
            (Bytes{0x12, 0x12, 0x12, 0x12, 0x52, 0, 0, 0}));
}

TEST_F(Rle, FourBitPixelsAreOredTogether) {
  EXPECT_EQ(Restore(4, 2, 2, {10, 0x11, 0, 0, 2, 0x22}),
            (Bytes{0x11, 0x11, 0x11, 0x11, 0x33, 0, 0, 0}));
}

TEST_F(Rle, EmptyStreamGivesIndexZero) {
  EXPECT_EQ(Restore(8, 4, 2, {}), Bytes(8, 0));
  EXPECT_EQ(Restore(4, 4, 2, {}), Bytes(8, 0));
}

TEST_F(Rle, StreamWithoutAnEndMark) {
  EXPECT_EQ(Restore(8, 4, 1, {2, 5}), (Bytes{5, 5, 0, 0}));
  EXPECT_EQ(Restore(4, 4, 1, {2, 0x56}), (Bytes{0x56, 0, 0, 0}));
}

TEST_F(Rle, RowsBeyondTheHeightAreNotRead) {
  EXPECT_EQ(Restore(8, 4, 1, {4, 1, 0, 0, 4, 2}), (Bytes{1, 1, 1, 1}));
  EXPECT_EQ(Restore(4, 8, 1, {8, 0x11, 0, 0, 8, 0x22}), (Bytes{0x11, 0x11, 0x11, 0x11}));
}

TEST_F(Rle, RecordThatLeavesTheAreaIsTheLast) {
  EXPECT_EQ(Restore(8, 4, 2, {0, 2, 2, 1, 255, 3, 0, 2, 0, 0, 1, 9}),
            (Bytes{0, 0, 0, 0, 0, 0, 3, 3}));
  EXPECT_EQ(Restore(8, 4, 1, {0, 2, 0, 255, 4, 3}), (Bytes{0, 0, 0, 0}));
  EXPECT_EQ(Restore(8, 4, 1, {0, 6, 1, 2, 3, 4, 5, 6, 1, 7}), (Bytes{1, 2, 3, 4}));
  EXPECT_EQ(Restore(4, 8, 1, {255, 0x12, 0, 0, 1, 0x30}), (Bytes{0x12, 0x12, 0x12, 0x12}));
  EXPECT_EQ(Restore(4, 4, 1, {0, 9, 0x12, 0x34, 0x56, 0x78, 0x90, 0}),
            (Bytes{0x12, 0x34, 0x56, 0x78}));
}

TEST_F(Rle, FourBitPixelsBeforeTheAreaEndTheDecoding) {
  // Each odd move from an odd column loses a byte; so many lost bytes lead in front of the area.
  Bytes stream;
  for (int i = 0; i < 6; ++i) {
    stream.insert(stream.end(), {1, 0x10, 0, 2, 1, 0});
  }
  stream.insert(stream.end(), {0, 0, 6, 0x44, 1, 0x70});
  // The line end leads to byte 4 - 6; the run of 6 pixels covers bytes -2, -1 and 0.
  EXPECT_EQ(Restore(4, 8, 2, stream), (Bytes{0x54, 0, 0, 0, 0, 0, 0, 0}));
}

TEST_F(Rle, CutRecordsAreTheLast) {
  EXPECT_EQ(Restore(8, 4, 1, {1, 5, 3}), (Bytes{5, 0, 0, 0}));
  EXPECT_EQ(Restore(8, 4, 1, {1, 5, 0, 2}), (Bytes{5, 0, 0, 0}));
  EXPECT_EQ(Restore(8, 4, 1, {1, 5, 0, 2, 1}), (Bytes{5, 0, 0, 0}));
  EXPECT_EQ(Restore(8, 8, 1, {0, 5, 1, 2}), (Bytes{1, 2, 0, 0, 0, 0, 0, 0}));
  EXPECT_EQ(Restore(8, 4, 1, {0, 3, 1, 2, 3}), (Bytes{1, 2, 3, 0}));
  EXPECT_EQ(Restore(4, 8, 1, {0, 7, 0x12}), (Bytes{0x12, 0, 0, 0}));
  EXPECT_EQ(Restore(4, 8, 1, {1, 0x50, 3}), (Bytes{0x50, 0, 0, 0}));
}

TEST_F(Rle, NegativeStreamLengthIsNoStream) {
  for (const uint16_t bits : std::initializer_list<uint16_t>{4, 8}) {
    Dib dib = CompressedDib(bits, 4, 1, {4, 0x11, 0, 1});
    dib.Set32(20, 0x80000000);
    const Bytes block = CallImage(bits == 8 ? RestoreRLE8 : RestoreRLE4, dib.Bytes());
    EXPECT_EQ(Bytes(block.end() - 4, block.end()), Bytes(4, 0));
  }
}

TEST_F(Rle, ResultHasAFreshHeaderAndAFullTable) {
  for (const uint16_t bits : std::initializer_list<uint16_t>{4, 8}) {
    const size_t entries = size_t{1} << bits;
    const int used = bits == 8 ? 20 : 5;
    Random random(bits);
    Dib dib({.width = 5,
             .height = 1,
             .bits = bits,
             .compression = bits == 8 ? 1U : 2U,
             .sizeImage = 2,
             .clrUsed = static_cast<uint32_t>(used),
             .clrImportant = 3,
             .tableEntries = used,
             .rowBytes = 2});
    for (int i = 0; i < 4 * used; ++i) dib.Data()[40 + i] = random.Byte();
    dib.Bytes()[dib.RowsOffset()] = 5;
    const Bytes block = CallImage(bits == 8 ? RestoreRLE8 : RestoreRLE4, dib.Bytes());
    Dib expected({.width = 5, .height = 1, .bits = bits, .xPels = 0, .yPels = 0});
    std::copy_n(dib.Bytes().begin() + 40, 4 * used, expected.Bytes().begin() + 40);
    ASSERT_EQ(block.size(), 40 + 4 * entries + expected.Stride());
    EXPECT_EQ(block, expected.Bytes());
  }
}

TEST_F(Rle, StreamsOfAllMannersDecodeAsInThePlainForm) {
  Random random(77);
  Tally tally;
  for (int round = 0; round < 120; ++round) {
    for (const unsigned bits : {8U, 4U}) {
      for (unsigned mix = 0; mix < kRecordMixes; ++mix) {
        CompareRle(bits, static_cast<RecordMix>(mix), random, tally);
      }
    }
  }
  EXPECT_EQ(tally.differences, 0U) << tally.first;
}

TEST_F(Rle, WidthsAndHeightsThatAreNone) {
  for (const ImageFunction restore : {RestoreRLE8, RestoreRLE4}) {
    const uint16_t bits = restore == RestoreRLE8 ? 8 : 4;
    for (const auto& [width, height] : {std::pair<int32_t, int32_t>{0, 1},
                                        {1, 0},
                                        {-1, 1},
                                        {INT_MIN, 1},
                                        {1, -1},
                                        {1, INT_MIN},
                                        {INT_MAX, INT_MAX}}) {
      Dib dib = CompressedDib(bits, 1, 1, {1, 1});
      dib.Set32(4, static_cast<uint32_t>(width));
      dib.Set32(8, static_cast<uint32_t>(height));
      EXPECT_EQ(CallImage(restore, dib.Bytes()), Bytes{}) << width << " x " << height;
    }
  }
  EXPECT_EQ(ReadHost().allocCalls, 0u);
}

TEST_F(Rle, RefusesOtherDepthsAndCompressions) {
  for (const uint16_t bits : std::initializer_list<uint16_t>{1, 2, 4, 8, 16, 24, 32}) {
    for (uint32_t compression = 0; compression < 4; ++compression) {
      Dib dib({.width = 4,
               .height = 1,
               .bits = bits,
               .compression = compression,
               .sizeImage = 2,
               .tableEntries = bits <= 8 ? 256 : 0});
      const bool rle8 = bits == 8 && compression == 1;
      const bool rle4 = bits == 4 && compression == 2;
      EXPECT_EQ(CallImage(RestoreRLE8, dib.Bytes()).empty(), !rle8);
      EXPECT_EQ(CallImage(RestoreRLE4, dib.Bytes()).empty(), !rle4);
      EXPECT_EQ(CallImage(RestoreRLE, dib.Bytes()).empty(), !rle8);
    }
  }
}

TEST_F(Rle, DispatcherExpandsEightBitsOnly) {
  const Bytes eight = CompressedDib(8, 4, 2, {6, 7, 0, 1}).Bytes();
  EXPECT_EQ(CallImage(RestoreRLE, eight), CallImage(RestoreRLE8, eight));
  const Bytes four = CompressedDib(4, 8, 1, {5, 0x12, 0, 1}).Bytes();
  EXPECT_EQ(CallImage(RestoreRLE, four), Bytes{});
  EXPECT_NE(CallImage(RestoreRLE4, four), Bytes{});
}

TEST_F(Rle, DispatcherRefusesOtherHeaders) {
  Dib core({.width = 2, .height = 1, .bits = 8, .core = true});
  EXPECT_EQ(CallImage(RestoreRLE, core.Bytes()), Bytes{});
  Dib longer = CompressedDib(8, 4, 1, {4, 7});
  longer.Set32(0, 108);
  EXPECT_EQ(CallImage(RestoreRLE, longer.Bytes()), Bytes{});
}

TEST_F(Rle, SmallCoreHeadersAreNotReadPastTheirEnd) {
  Dib core({.width = 1, .height = 1, .bits = 24, .core = true, .rowBytes = 0});
  EXPECT_EQ(CallImage(RestoreRLE8, core.Bytes()), Bytes{});
  EXPECT_EQ(CallImage(RestoreRLE4, core.Bytes()), Bytes{});
}

TEST_F(Rle, EveryAllocationAndLockFailingInTurn) {
  for (const ImageFunction restore : {RestoreRLE8, RestoreRLE4, RestoreRLE}) {
    const uint16_t bits = restore == RestoreRLE4 ? 4 : 8;
    Dib dib = CompressedDib(bits, 4, 2, {6, 7, 0, 1});
    for (const Fault fault : {Fault::kGlobalAlloc, Fault::kGlobalLock}) {
      const unsigned faults = FailEach(fault, [&](FaultRun& run) {
        tagHANDLE* handle = run.Call([&] { return restore(dib.Data()); });
        EXPECT_EQ(handle == nullptr, run.Met());
        GlobalFree(handle);
        EXPECT_EQ(ReadHost().liveBlocks, 0u);
      });
      EXPECT_EQ(faults, fault == Fault::kGlobalAlloc ? 1u : 2u);
    }
  }
}

Bytes RandomPicture(Random& random, unsigned bits, size_t width, size_t rows) {
  Bytes pixels(width * rows);
  uint8_t last = 0;
  for (uint8_t& pixel : pixels) {
    if (random.Below(3) == 0) last = random.Below(2) == 0 ? uint8_t{0} : random.Byte();
    pixel = bits == 8 ? last : last & 15;
  }
  return pixels;
}

TEST_F(Rle, RoundTrips) {
  Random random(7);
  for (int round = 0; round < 600; ++round) {
    const unsigned bits = round % 2 == 0 ? 8 : 4;
    const size_t width = 1 + random.Below(round % 10 == 0 ? 700 : 40);
    const size_t rows = 1 + random.Below(6);
    const Bytes pixels = RandomPicture(random, bits, width, rows);
    RleStyle style{.bits = bits};
    style.moves = random.Below(2) == 0;
    style.endOfBitmap = random.Below(2) == 0;
    style.wrapRuns = bits == 8 && !style.moves && random.Below(2) == 0;
    const Bytes stream = EncodeRle(pixels, width, random, style);

    EXPECT_TRUE(DecodeRleSlowly(bits, stream, width, rows).sound);
    const Bytes area = Restore(static_cast<uint16_t>(bits), static_cast<int32_t>(width),
                               static_cast<int32_t>(rows), stream);
    ASSERT_EQ(area.size(), StrideOf(bits, width) * rows);
    Dib image({.width = static_cast<int32_t>(width),
               .height = static_cast<int32_t>(rows),
               .bits = static_cast<uint16_t>(bits)});
    for (size_t i = 0; i < pixels.size(); ++i) image.SetPixel(i % width, i / width, pixels[i]);
    ASSERT_EQ(area, Bytes(image.Row(0), image.Row(0) + area.size())) << "round " << round;
  }
}

// Streams of mostly sensible records, with sizes out of bounds mixed in.
Bytes RandomStream(Random& random) {
  Bytes stream;
  const uint32_t records = random.Below(30);
  for (uint32_t i = 0; i < records; ++i) {
    switch (random.Below(6)) {
      case 0:
        stream.insert(stream.end(), {0, 0});
        break;
      case 1:
        stream.insert(stream.end(), {0, 2, static_cast<uint8_t>(random.Below(6)),
                                     static_cast<uint8_t>(random.Below(2))});
        break;
      case 2: {
        const uint32_t count = 3 + random.Below(9);
        stream.insert(stream.end(), {0, static_cast<uint8_t>(count)});
        for (uint32_t k = 0; k < count; ++k) stream.push_back(random.Byte());
        break;
      }
      case 3:
        stream.push_back(random.Byte());
        break;
      default:
        stream.insert(stream.end(), {static_cast<uint8_t>(1 + random.Below(12)), random.Byte()});
        break;
    }
  }
  return stream;
}

TEST_F(Rle, AnyStreamDecodesAsTheModelSays) {
  Random random(11);
  int sound = 0;
  int unsound = 0;
  for (int round = 0; round < 4000; ++round) {
    const uint16_t bits = round % 2 == 0 ? 8 : 4;
    const size_t width = 1 + random.Below(20);
    const size_t rows = 1 + random.Below(8);
    const Bytes stream = RandomStream(random);
    const RleOutcome expected = DecodeRleSlowly(bits, stream, width, rows);
    ++(expected.sound ? sound : unsound);
    ASSERT_EQ(Restore(bits, static_cast<int32_t>(width), static_cast<int32_t>(rows), stream),
              expected.area)
        << "round " << round;
  }
  EXPECT_GT(sound, 500);
  EXPECT_GT(unsound, 500);
}

// The decoders alone, with stream and pixel area against an inaccessible page at either side.
TEST_F(Rle, DecodersKeepToTheirSpans) {
  Random random(13);
  for (int round = 0; round < 400; ++round) {
    const Bytes stream = RandomStream(random);
    const size_t width = 1 + random.Below(20);
    const size_t rows = 1 + random.Below(4);
    for (const GuardSide side : {GuardSide::kEnd, GuardSide::kStart}) {
      for (const unsigned bits : {4U, 8U}) {
        GuardedBytes source(stream, side);
        source.MakeReadOnly();
        const size_t stride = StrideOf(bits, width);
        GuardedBytes area(stride * rows, side);
        (bits == 8 ? dibkit::DecodeRle8 : dibkit::DecodeRle4)(
            {source.data(), source.size()},
            {area.data(), stride, static_cast<uint32_t>(width), static_cast<uint32_t>(rows)});
        ASSERT_EQ(area.Copy(), DecodeRleSlowly(bits, stream, width, rows).area);
      }
    }
  }
}

}  // namespace
}  // namespace dibtest
