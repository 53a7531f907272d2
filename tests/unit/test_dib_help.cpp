// SPDX-License-Identifier: Apache-2.0
#include <climits>
#include <cstring>

#include "DIBHelp.h"
#include "support/dib.h"
#include "support/guarded_bytes.h"
#include "support/host_test.h"

namespace dibtest {
namespace {

using Bytes = std::vector<uint8_t>;

// A header that stands alone against inaccessible memory: who reads past it is stopped.
class LoneHeader {
 public:
  explicit LoneHeader(const DibShape& shape) : m_bytes(HeaderOf(shape)) {}
  operator unsigned char*() { return m_bytes.data(); }

 private:
  static Bytes HeaderOf(DibShape shape) {
    shape.rowBytes = 0;
    shape.tableEntries = 0;
    return Dib(shape).Bytes();
  }
  GuardedBytes m_bytes;
};

TEST(DibHeader, FieldsOfAnInfoHeader) {
  LoneHeader dib({.width = 70000, .height = -5, .bits = 8});
  EXPECT_EQ(DIBWidth(dib), 70000);
  EXPECT_EQ(DIBHeight(dib), -5);
  EXPECT_EQ(DIBBitCount(dib), 8);
}

TEST(DibHeader, FieldsOfACoreHeaderAreZeroExtended) {
  LoneHeader dib({.width = 65535, .height = 40000, .bits = 4, .core = true});
  EXPECT_EQ(DIBWidth(dib), 65535);
  EXPECT_EQ(DIBHeight(dib), 40000);
  EXPECT_EQ(DIBBitCount(dib), 4);
}

TEST(DibHeader, EightBitDefaults) {
  LoneHeader dib({.bits = 8});
  EXPECT_EQ(DIBNumColors(dib), 256);
  EXPECT_EQ(PaletteSize(dib), 1024);
  EXPECT_EQ(DIBBits(dib), dib + 1064);
}

TEST(DibHeader, CoreHeaderOf300EightBitPixels) {
  Dib image({.width = 300, .height = 1, .bits = 8, .core = true});
  image.Bytes()[15] = 1;
  image.Bytes()[16] = 2;
  image.Bytes()[17] = 3;
  unsigned char* dib = image.Data();
  EXPECT_EQ(DIBWidth(dib), 300);
  EXPECT_EQ(DIBNumColors(dib), 256);
  EXPECT_EQ(PaletteSize(dib), 768);
  EXPECT_EQ(DIBBits(dib), dib + 780);
  EXPECT_EQ(GetIndexColor(dib, 1), 0x010203u);
}

TEST(DibHeader, ColorsByDepth) {
  const struct {
    uint16_t bits;
    uint16_t colors;
  } rows[] = {{1, 2}, {4, 16}, {8, 256}, {0, 0},  {2, 0},     {3, 0},  {5, 0},
              {7, 0}, {9, 0},  {16, 0},  {24, 0}, {30000, 0}, {32, 0}, {65535, 0}};
  for (const auto& row : rows) {
    LoneHeader info({.bits = row.bits});
    EXPECT_EQ(DIBNumColors(info), row.colors) << row.bits;
    EXPECT_EQ(PaletteSize(info), row.colors * 4) << row.bits;
    LoneHeader core({.bits = row.bits, .core = true});
    EXPECT_EQ(DIBNumColors(core), row.colors) << row.bits;
    EXPECT_EQ(PaletteSize(core), row.colors * 3) << row.bits;
  }
}

TEST(DibHeader, UsedColorsWinOverTheDepthAndAreCutTo16Bits) {
  const struct {
    uint32_t used;
    uint16_t colors;
    uint16_t paletteSize;
  } rows[] = {{1, 1, 4},
              {8, 8, 32},
              {16384, 16384, 0},
              {16385, 16385, 4},
              {65535, 65535, 65532},
              {0x10000, 0, 0},
              {0x10003, 3, 12},
              {0xFFFFFFFF, 65535, 65532}};
  for (const auto& row : rows) {
    for (const uint16_t bits : {uint16_t{1}, uint16_t{8}, uint16_t{24}}) {
      LoneHeader dib({.bits = bits, .clrUsed = row.used});
      EXPECT_EQ(DIBNumColors(dib), row.colors) << row.used;
      EXPECT_EQ(PaletteSize(dib), row.paletteSize) << row.used;
      EXPECT_EQ(DIBBits(dib), dib + 40 + row.paletteSize) << row.used;
    }
  }
}

TEST(DibHeader, TrueColorHasNoTable) {
  LoneHeader dib({.bits = 24});
  EXPECT_EQ(DIBNumColors(dib), 0);
  EXPECT_EQ(PaletteSize(dib), 0);
  EXPECT_EQ(GetIndexColor(dib, 0), 0xFF000000u);
  EXPECT_EQ(GetColorIndex(dib, 0), -1);
}

TEST(DibHeader, ALongerHeaderIsReadWithTheCoreLayout) {
  Bytes bytes(108 + 12, 0);
  bytes[0] = 108;
  bytes[4] = 0x34;  // width 0x1234, height 0xABCD
  bytes[5] = 0x12;
  bytes[6] = 0xCD;
  bytes[7] = 0xAB;
  bytes[10] = 1;  // depth
  bytes[32] = 7;  // would be biClrUsed
  bytes[12] = 0x11;
  GuardedBytes dib(bytes);
  EXPECT_EQ(DIBWidth(dib.data()), 0x1234);
  EXPECT_EQ(DIBHeight(dib.data()), 0xABCD);
  EXPECT_EQ(DIBBitCount(dib.data()), 1);
  EXPECT_EQ(DIBNumColors(dib.data()), 2);
  EXPECT_EQ(DIBBits(dib.data()), dib.data() + 108 + 6);
  EXPECT_EQ(GetIndexColor(dib.data(), 0), 0x110000u) << "the table starts at 12 all the same";
}

TEST(DibHeader, SizeIsHeaderTableAndRows) {
  LoneHeader indexed({.width = 5, .height = 7, .bits = 8});
  EXPECT_EQ(DIBSize(indexed), 40u + 1024 + 8 * 7);
  LoneHeader bilevel({.width = 33, .height = 2, .bits = 1});
  EXPECT_EQ(DIBSize(bilevel), 40u + 8 + 8 * 2);
  LoneHeader core({.width = 3, .height = 4, .bits = 24, .core = true});
  EXPECT_EQ(DIBSize(core), 12u + 12 * 4);
}

TEST(DibHeader, SizeOfATopDownImageWraps) {
  LoneHeader dib({.width = 5, .height = -7, .bits = 8});
  EXPECT_EQ(DIBSize(dib), 40u + 1024 - 8 * 7);
  LoneHeader deep({.width = 100, .height = -100, .bits = 24});
  EXPECT_EQ(DIBSize(deep), static_cast<uint32_t>(40 - 300 * 100));
}

TEST(DibHeader, SizeIgnoresMasksAndStreamLength) {
  LoneHeader dib({.width = 2, .height = 2, .bits = 16, .compression = 3, .sizeImage = 999});
  EXPECT_EQ(DIBSize(dib), 40u + 4 * 2);
}

TEST(DibHeader, ExtremeSizesComputeWithoutOverflow) {
  LoneHeader dib({.width = INT_MAX, .height = INT_MIN, .bits = 32});
  EXPECT_EQ(DIBHeight(dib), INT_MIN);
  // 32 x (2^31 - 1) + 31 is -1 modulo 2^32; its stride is -4, and -4 x -2^31 is 0 modulo 2^32.
  EXPECT_EQ(DIBSize(dib), 40u);
}

TEST(DibTable, ColorsAreReadAndWrittenInBothLayouts) {
  for (const bool core : {false, true}) {
    Dib image({.bits = 4, .core = core});
    unsigned char* dib = image.Data();
    SetIndexColor(dib, 15, 0xAA302010);
    EXPECT_EQ(image.Color(15), (Rgb{0x10, 0x20, 0x30}));
    EXPECT_EQ(GetIndexColor(dib, 15), 0x302010u);
    EXPECT_EQ(GetIndexColor(dib, 14), 0u);
  }
}

TEST(DibTable, AnIndexOutOfRangeIsNoColor) {
  Dib image({.bits = 4});
  const Bytes before = image.Bytes();
  for (const int index : {-1, 16, 255, INT_MIN, INT_MAX}) {
    EXPECT_EQ(GetIndexColor(image.Data(), index), 0xFF000000u);
    SetIndexColor(image.Data(), index, 0x123456);
  }
  EXPECT_EQ(image.Bytes(), before);
}

TEST(DibTable, TheLimitIsTheNumberOfUsedColors) {
  Dib image({.bits = 8, .clrUsed = 3});
  SetIndexColor(image.Data(), 2, 1);
  SetIndexColor(image.Data(), 3, 1);
  EXPECT_EQ(GetIndexColor(image.Data(), 2), 1u);
  EXPECT_EQ(GetIndexColor(image.Data(), 3), 0xFF000000u);
  EXPECT_EQ(image.Get32(40 + 12), 0u);
}

TEST(DibTable, TheReservedByteIsKeptAndNotReported) {
  Dib image({.bits = 1});
  image.Bytes()[43] = 0x77;
  SetIndexColor(image.Data(), 0, 0xFF030201);
  EXPECT_EQ(image.Bytes()[43], 0x77);
  EXPECT_EQ(GetIndexColor(image.Data(), 0), 0x030201u);
  EXPECT_EQ(GetColorIndex(image.Data(), 0x030201), 0);
}

TEST(DibTable, ColorIndexIsTheLowestThatMatches) {
  for (const bool core : {false, true}) {
    Dib image({.bits = 4, .core = core});
    image.SetColor(5, {1, 2, 3});
    image.SetColor(9, {1, 2, 3});
    EXPECT_EQ(GetColorIndex(image.Data(), 0x030201), 5);
    EXPECT_EQ(GetColorIndex(image.Data(), 0), 0);
    EXPECT_EQ(GetColorIndex(image.Data(), 0x010203), -1);
  }
}

TEST(DibTable, ColorIndexComparesTheTopByteToo) {
  Dib image({.bits = 4});
  image.SetColor(5, {1, 2, 3});
  EXPECT_EQ(GetColorIndex(image.Data(), 0x01030201), -1);
  EXPECT_EQ(GetColorIndex(image.Data(), 0xFF000000), -1);
}

#if ULONG_MAX > 0xFFFFFFFF
TEST(DibTable, OnlyTheLow32BitsOfAColorCount) {
  Dib image({.bits = 4});
  image.SetColor(5, {1, 2, 3});
  EXPECT_EQ(GetColorIndex(image.Data(), 0x7700030201ul), 5);
}
#endif

TEST(DibTable, CopyTakesTheSmallerNumberOfEntries) {
  Dib source({.bits = 1});
  source.SetColor(0, {1, 2, 3});
  source.SetColor(1, {4, 5, 6});
  source.Bytes()[43] = 9;
  Dib destination({.bits = 8});
  Random random(1);
  destination.SetRandomTable(random);
  const Dib before = destination;
  CopyColorTable(source.Data(), destination.Data());
  EXPECT_EQ(destination.Color(0), (Rgb{1, 2, 3}));
  EXPECT_EQ(destination.Color(1), (Rgb{4, 5, 6}));
  EXPECT_EQ(destination.Bytes()[43], 9) << "whole entries are copied";
  EXPECT_TRUE(std::equal(destination.Bytes().begin() + 48, destination.Bytes().end(),
                         before.Bytes().begin() + 48));

  Dib small({.bits = 1, .tableEntries = 2});
  CopyColorTable(destination.Data(), small.Data());
  EXPECT_EQ(small.Color(1), (Rgb{4, 5, 6}));
  EXPECT_EQ(small.Get32(48), 0u) << "the row behind the table is untouched";
}

TEST(DibTable, CopyBetweenCoreHeaders) {
  Dib source({.bits = 4, .core = true});
  Random random(2);
  source.SetRandomTable(random);
  Dib destination({.bits = 4, .core = true});
  CopyColorTable(source.Data(), destination.Data());
  EXPECT_EQ(destination.Bytes(), source.Bytes());
}

TEST(DibTable, CopyFromInfoToCoreDropsTheReservedByte) {
  Dib source({.bits = 4});
  Random random(3);
  source.SetRandomTable(random);
  for (size_t i = 0; i != 16; ++i) source.Bytes()[43 + 4 * i] = 0xEE;
  Dib destination({.bits = 4, .core = true});
  CopyColorTable(source.Data(), destination.Data());
  for (size_t i = 0; i != 16; ++i) EXPECT_EQ(destination.Color(i), source.Color(i)) << i;
  EXPECT_EQ(destination.Get32(12 + 48), 0u);
}

TEST(DibTable, CopyFromCoreToInfoDoesNotWriteTheReservedByte) {
  Dib source({.bits = 4, .core = true});
  Random random(4);
  source.SetRandomTable(random);
  Dib destination({.bits = 4});
  for (size_t i = 0; i != 16; ++i) destination.Bytes()[43 + 4 * i] = 0xEE;
  CopyColorTable(source.Data(), destination.Data());
  for (size_t i = 0; i != 16; ++i) {
    EXPECT_EQ(destination.Color(i), source.Color(i)) << i;
    EXPECT_EQ(destination.Bytes()[43 + 4 * i], 0xEE) << i;
  }
}

TEST(DibTable, CopyToOrFromNoTableCopiesNothing) {
  Dib source({.bits = 8});
  source.SetGrayRamp();
  Dib destination({.width = 3, .bits = 24});
  const Bytes before = destination.Bytes();
  CopyColorTable(source.Data(), destination.Data());
  EXPECT_EQ(destination.Bytes(), before);
  CopyColorTable(destination.Data(), source.Data());
  EXPECT_EQ(source.Color(255), (Rgb{255, 255, 255}));
}

void ExpectHeader(const Dib& dib, uint32_t width, uint32_t height, uint16_t bits) {
  EXPECT_EQ(dib.Get32(0), 40u);
  EXPECT_EQ(dib.Get32(4), width);
  EXPECT_EQ(dib.Get32(8), height);
  EXPECT_EQ(dib.Get16(12), 1);
  EXPECT_EQ(dib.Get16(14), bits);
  for (size_t offset = 16; offset != 40; offset += 4) EXPECT_EQ(dib.Get32(offset), 0u) << offset;
}

TEST(SetDib, WritesAWholeHeaderWithItsOwnDepthRule) {
  const struct {
    unsigned short asked;
    uint16_t depth;
  } rows[] = {{0, 1},   {1, 1},   {2, 4},   {3, 4},   {4, 4},  {5, 8},  {8, 8},  {9, 24},
              {15, 24}, {16, 24}, {17, 24}, {24, 24}, {25, 4}, {32, 4}, {33, 4}, {65535, 4}};
  for (const auto& row : rows) {
    GuardedBytes header(Bytes(40, 0xEE));
    SetDIB(header.data(), 0x12345678, 0xFFFFFFF6, row.asked);
    ExpectHeader(Dib::FromBytes(header.Copy()), 0x12345678, 0xFFFFFFF6, row.depth);
  }
}

TEST(DibMasks, OfBitFieldsAreTheThreeWordsBehindTheHeader) {
  for (const uint16_t bits : {uint16_t{16}, uint16_t{32}}) {
    Dib image({.width = 2, .bits = bits, .compression = 3, .masks = {0xF800, 0x07E0, 0x8000001F}});
    unsigned long red = 9, green = 9, blue = 9;
    EXPECT_EQ(DIBMask(image.Data(), red, green, blue), 1);
    EXPECT_EQ(red, 0xF800u);
    EXPECT_EQ(green, 0x07E0u);
    EXPECT_EQ(blue, 0x8000001Fu);
    EXPECT_EQ(DIBBits(image.Data()), image.Data() + 40) << "the masks are not skipped";
  }
}

TEST(DibMasks, OfEveryOtherImageAreZero) {
  const struct {
    uint16_t bits;
    uint32_t compression;
  } rows[] = {{16, 0}, {32, 0}, {24, 3}, {8, 3}, {1, 3}, {16, 1}, {32, 2}, {16, 0x10003}};
  for (const auto& row : rows) {
    LoneHeader dib({.bits = row.bits, .compression = row.compression});
    unsigned long red = 9, green = 9, blue = 9;
    EXPECT_EQ(DIBMask(dib, red, green, blue), 0);
    EXPECT_EQ(red | green | blue, 0u);
  }
}

TEST(DibMasks, TheHeaderSizeIsNotLookedAt) {
  Dib image({.bits = 16, .compression = 3, .masks = {1, 2, 4}});
  image.Set32(0, 124);
  unsigned long red, green, blue;
  EXPECT_EQ(DIBMask(image.Data(), red, green, blue), 1);
  EXPECT_EQ(blue, 4u);
}

struct Shifts {
  unsigned short left;
  unsigned short right;
  bool operator==(const Shifts&) const = default;
};

Shifts ShiftsOf(unsigned long mask) {
  Shifts shifts{99, 99};
  GetShifts(mask, shifts.left, shifts.right);
  return shifts;
}

TEST(ChannelShifts, OfKnownMasks) {
  const struct {
    unsigned long mask;
    Shifts shifts;
  } rows[] = {
      {0x7C00, {3, 10}},     {0x03E0, {3, 5}},      {0x001F, {3, 0}},      {0x07E0, {2, 5}},
      {0xF800, {3, 11}},     {0x00FF0000, {0, 16}}, {0xFF000000, {0, 24}}, {0x3FF00000, {0, 22}},
      {0, {8, 32}},          {0x000000FF, {0, 0}},  {1, {7, 0}},           {0x80000000, {7, 31}},
      {0x80000001, {7, 0}},  {0xFFFFFFFE, {0, 24}}, {0x7FFFFFFF, {0, 23}}, {0x1FF, {0, 1}},
      {0xC0000000, {6, 30}}, {0x50, {7, 4}},
  };
  for (const auto& row : rows) EXPECT_EQ(ShiftsOf(row.mask), row.shifts) << std::hex << row.mask;
}

TEST(ChannelShifts, AMaskOfAllOnesIsBoundedAt32Bits) {
  EXPECT_EQ(ShiftsOf(0xFFFFFFFF), (Shifts{0, 24}));
}

TEST(ChannelShifts, EveryRunOfBits) {
  for (unsigned low = 0; low != 32; ++low) {
    for (unsigned run = 1; low + run <= 32; ++run) {
      const unsigned long mask = static_cast<unsigned long>(((uint64_t{1} << run) - 1) << low);
      const Shifts expected =
          run > 8 ? Shifts{0, static_cast<unsigned short>(low + run - 8)}
                  : Shifts{static_cast<unsigned short>(8 - run), static_cast<unsigned short>(low)};
      EXPECT_EQ(ShiftsOf(mask), expected) << std::hex << mask;
    }
  }
}

// An image whose rows end at inaccessible memory.
struct GuardedDib {
  explicit GuardedDib(const DibShape& shape) : image(shape), bytes(image.Bytes()) {}
  Dib image;
  GuardedBytes bytes;
};

TEST(BitIndex, ReadsEveryPixelOfEveryDepth) {
  Random random(5);
  for (const uint16_t bits : {uint16_t{1}, uint16_t{4}, uint16_t{8}}) {
    for (const int32_t width : {1, 7, 8, 9, 31, 33, 64}) {
      for (const bool core : {false, true}) {
        Dib image({.width = width, .height = 3, .bits = bits, .core = core});
        image.FillRandom(random);
        GuardedBytes bytes(image.Bytes());
        for (int y = 0; y != 3; ++y) {
          for (int x = 0; x != width; ++x) {
            EXPECT_EQ(
                GetBitIndex(bytes.data(), x, y),
                static_cast<int32_t>(image.Pixel(static_cast<size_t>(x), static_cast<size_t>(y))));
          }
        }
      }
    }
  }
}

TEST(BitIndex, CountsStorageRowsWhateverTheSignOfTheHeight) {
  Dib image({.width = 4, .height = -2, .bits = 8});
  image.SetPixel(0, 0, 1);
  image.SetPixel(0, 1, 2);
  EXPECT_EQ(GetBitIndex(image.Data(), 0, 0), 1);
  EXPECT_EQ(GetBitIndex(image.Data(), 0, 1), 2);
}

TEST(BitIndex, OtherDepthsHaveNone) {
  for (const uint16_t bits : std::initializer_list<uint16_t>{0, 2, 3, 5, 7, 9, 16, 24, 32, 30000}) {
    LoneHeader dib({.bits = bits});
    EXPECT_EQ(GetBitIndex(dib, 0, 0), -1) << bits;
    SetBitIndex(dib, 0, 0, 1);
  }
}

TEST(BitIndex, TwoBitImage) {
  LoneHeader dib({.bits = 2});
  EXPECT_EQ(DIBNumColors(dib), 0);
  EXPECT_EQ(GetBitIndex(dib, 0, 0), -1);
}

TEST(BitIndex, WritesTheLowByteAtEightBits) {
  Dib image({.width = 3, .height = 2, .bits = 8});
  SetBitIndex(image.Data(), 2, 1, 0x1FE);
  EXPECT_EQ(image.Pixel(2, 1), 0xFEu);
  SetBitIndex(image.Data(), 2, 1, 1);
  EXPECT_EQ(image.Pixel(2, 1), 1u);
}

TEST(BitIndex, NibblesAreOredIn) {
  Dib image({.width = 4, .bits = 4});
  SetBitIndex(image.Data(), 2, 0, 3);
  SetBitIndex(image.Data(), 2, 0, 5);
  EXPECT_EQ(image.Row(0)[1], 0x70);
  SetBitIndex(image.Data(), 3, 0, 0xFF2);
  EXPECT_EQ(image.Row(0)[1], 0x72);
  EXPECT_EQ(image.Row(0)[0], 0);
}

TEST(BitIndex, ABitSpillsOverThreePixelsToItsRight) {
  Dib image({.width = 16, .bits = 1});
  SetBitIndex(image.Data(), 0, 0, 1);
  EXPECT_EQ(image.Row(0)[0], 0xF0);
  SetBitIndex(image.Data(), 1, 0, 0);
  EXPECT_EQ(image.Row(0)[0], 0x80);
  for (int x = 0; x != 8; ++x) {
    Dib fresh({.width = 16, .bits = 1});
    SetBitIndex(fresh.Data(), x, 0, 0xFFFF);
    EXPECT_EQ(fresh.Row(0)[0], 0xF0 >> x);
    EXPECT_EQ(fresh.Row(0)[1], 0) << "never into the next byte";
  }
}

TEST(BitIndex, OnlyBitZeroOfTheValueCountsAtOneBit) {
  Dib image({.width = 8, .bits = 1});
  SetBitIndex(image.Data(), 0, 0, 2);
  EXPECT_EQ(image.Row(0)[0], 0);
}

TEST(BitIndex, ARowWrittenFromLeftToRightIsRight) {
  Dib image({.width = 8, .bits = 1});
  for (int x = 0; x != 8; ++x) SetBitIndex(image.Data(), x, 0, x % 2 == 0 ? 1 : 0);
  EXPECT_EQ(image.Row(0)[0], 0xAA);
  Random random(6);
  for (const uint16_t bits : {uint16_t{1}, uint16_t{4}, uint16_t{8}}) {
    Dib wanted({.width = 37, .height = 4, .bits = bits});
    wanted.FillRandom(random, false);
    Dib made({.width = 37, .height = 4, .bits = bits});
    for (int y = 0; y != 4; ++y) {
      for (int x = 0; x != 37; ++x) {
        SetBitIndex(made.Data(), x, y,
                    static_cast<unsigned short>(
                        wanted.Pixel(static_cast<size_t>(x), static_cast<size_t>(y))));
      }
    }
    for (size_t y = 0; y != 4; ++y) {
      for (size_t x = 0; x != 37; ++x) EXPECT_EQ(made.Pixel(x, y), wanted.Pixel(x, y));
    }
  }
}

TEST(ColorRecords, CompareAndCopyIgnoreTheFourthByte) {
  const tagRGBQUAD quad{3, 2, 1, 0xEE};
  const tagRGBTRIPLE triple{3, 2, 1};
  EXPECT_EQ(CompareRGBQUAD(quad, 1, 2, 3), 1);
  EXPECT_EQ(CompareRGBQUAD(quad, 3, 2, 1), 0);
  EXPECT_EQ(CompareRGBTRIPLE(triple, 1, 2, 3), 1);
  EXPECT_EQ(CompareRGB(quad, 0x99030201), 1);
  EXPECT_EQ(CompareRGBT(triple, 0x99030201), 1);
  for (unsigned bit = 0; bit != 24; ++bit) {
    EXPECT_EQ(CompareRGB(quad, 0x030201u ^ 1u << bit), 0) << bit;
    EXPECT_EQ(CompareRGBT(triple, 0x030201u ^ 1u << bit), 0) << bit;
  }

  tagRGBQUAD quadOut{0, 0, 0, 0xEE};
  CopyRGB(&quadOut, 0x99030201);
  EXPECT_EQ(quadOut.rgbRed, 1);
  EXPECT_EQ(quadOut.rgbGreen, 2);
  EXPECT_EQ(quadOut.rgbBlue, 3);
  EXPECT_EQ(quadOut.rgbReserved, 0xEE);
  tagRGBTRIPLE tripleOut{};
  CopyRGBT(&tripleOut, 0x99030201);
  EXPECT_EQ(tripleOut.rgbtRed, 1);
  EXPECT_EQ(tripleOut.rgbtGreen, 2);
  EXPECT_EQ(tripleOut.rgbtBlue, 3);
}

class CreateDib : public HostTest {};

TEST_F(CreateDib, DepthsAreRoundedUp) {
  for (unsigned asked = 0; asked != 70; ++asked) {
    const unsigned depth = asked <= 1    ? 1
                           : asked <= 4  ? 4
                           : asked <= 8  ? 8
                           : asked <= 16 ? 16
                           : asked <= 24 ? 24
                           : asked <= 32 ? asked
                                         : 24;
    tagHANDLE* handle = CreateDIB(9, 3, static_cast<unsigned short>(asked));
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(LockCount(handle), 0u);
    const Bytes bytes = BytesOf(handle);
    ExpectHeader(Dib::FromBytes(bytes), 9, 3, static_cast<uint16_t>(depth));
    const size_t table = depth <= 8 ? size_t{4} << depth : 0;
    EXPECT_EQ(bytes.size(), 40 + table + (depth * 9 + 31) / 32 * 4 * 3);
    EXPECT_EQ(Bytes(bytes.begin() + 40, bytes.end()), Bytes(bytes.size() - 40, 0));
    GlobalFree(handle);
  }
}

TEST_F(CreateDib, ThreeBitsGiveAFourBitImageOf184Bytes) {
  tagHANDLE* handle = CreateDIB(10, 10, 3);
  EXPECT_EQ(GlobalSize(handle), 184u);
  EXPECT_EQ(Dib::FromHandle(handle).Bits(), 4);
  GlobalFree(handle);
}

TEST_F(CreateDib, AnEmptyImageIsNone) {
  EXPECT_EQ(CreateDIB(0, 5, 8), nullptr);
  EXPECT_EQ(CreateDIB(5, 0, 8), nullptr);
  EXPECT_EQ(CreateDIB(0, 0, 8), nullptr);
  EXPECT_EQ(ReadHost().allocCalls, 0u);
}

TEST_F(CreateDib, AnImageThatDoesNotFitIn32BitsIsNone) {
  const auto negative = [](long value) { return static_cast<unsigned long>(value); };
  EXPECT_EQ(CreateDIB(10, negative(-10), 8), nullptr);
  EXPECT_EQ(CreateDIB(10, negative(-1), 1), nullptr);
  EXPECT_EQ(CreateDIB(0x80000000, 2, 32), nullptr);
  EXPECT_EQ(CreateDIB(0x10000, 0x10000, 8), nullptr);
  EXPECT_EQ(CreateDIB(0x08000000, 1, 32), nullptr) << "stride x 32 bits wraps to a small number";
  EXPECT_EQ(CreateDIB(0xFFFFFFFF, 0xFFFFFFFF, 24), nullptr);
  EXPECT_EQ(ReadHost().liveBlocks, 0u);
}

TEST_F(CreateDib, TheSizeAskedForIsTheSizeOfTheHeadersImage) {
  SetLargestBlock(1000);
  EXPECT_EQ(CreateDIB(0xFFFFFFFF, 1, 1), nullptr);
  EXPECT_EQ(ReadHost().lastAllocBytes, 48u + 0x20000000u);
  // The largest that fits: 40 + 4 x 0x3FFFFFF5 = 2^32 - 4.
  EXPECT_EQ(CreateDIB(1, 0x3FFFFFF5, 32), nullptr);
  EXPECT_EQ(ReadHost().lastAllocBytes, 0xFFFFFFFCu);
  const size_t calls = ReadHost().allocCalls;
  EXPECT_EQ(CreateDIB(1, 0x3FFFFFF6, 32), nullptr);
  EXPECT_EQ(ReadHost().allocCalls, calls) << "no block could be that large";
}

TEST_F(CreateDib, EveryFailureIsNullAndLeavesNothing) {
  for (const Fault fault : {Fault::kGlobalAlloc, Fault::kGlobalLock}) {
    const unsigned faults = FailEach(fault, [](FaultRun& run) {
      tagHANDLE* handle = run.Call([] { return CreateDIB(4, 4, 24); });
      EXPECT_EQ(handle == nullptr, run.Met());
      GlobalFree(handle);
      EXPECT_EQ(ReadHost().liveBlocks, 0u);
    });
    EXPECT_EQ(faults, 1u);
  }
}

TEST_F(CreateDib, SizesAreReadBack) {
  for (const uint16_t bits : std::initializer_list<uint16_t>{1, 4, 8, 16, 24, 32}) {
    tagHANDLE* handle = CreateDIB(13, 5, bits);
    unsigned char* dib = static_cast<unsigned char*>(GlobalLock(handle));
    EXPECT_EQ(DIBSize(dib), GlobalSize(handle));
    GlobalUnlock(handle);
    GlobalFree(handle);
  }
}

}  // namespace
}  // namespace dibtest
