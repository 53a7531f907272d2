// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <limits>
#include <optional>
#include <tuple>

#include "bitmap_builder.h"
#include "dibkit/host/bitmap_description.h"

namespace dibkit::host {
namespace {

using test::Append32;
using test::BitmapBuilder;
using test::Bytes;

BitmapDescription Describe(const Bytes& file) {
  MemorySource source(file);
  return DescribeBitmap(source);
}

std::optional<ImageFault> FaultOf(const Bytes& file) {
  try {
    Describe(file);
    return std::nullopt;
  } catch (const ImageError& error) {
    EXPECT_STRNE(error.what(), "");
    return error.Fault();
  }
}

Bytes CutTo(Bytes file, size_t size) {
  file.resize(size);
  return file;
}

TEST(BitmapDescription, ReadsAPlainFile) {
  BitmapBuilder file;
  file.xPelsPerMeter = 2835;
  file.yPelsPerMeter = -1;
  const BitmapDescription bitmap = Describe(file.Build());
  EXPECT_EQ(bitmap.headerBytes, 40U);
  EXPECT_EQ(bitmap.width, 4U);
  EXPECT_EQ(bitmap.height, 3U);
  EXPECT_FALSE(bitmap.topDown);
  EXPECT_EQ(bitmap.bitCount, 8);
  EXPECT_EQ(bitmap.compression, BitmapCompression::kNone);
  EXPECT_EQ(bitmap.xPelsPerMeter, 2835);
  EXPECT_EQ(bitmap.yPelsPerMeter, -1);
  EXPECT_EQ(bitmap.tableOffset, 54U);
  EXPECT_EQ(bitmap.tableEntries, 256U);
  EXPECT_EQ(bitmap.tableEntryBytes, 4U);
  EXPECT_EQ(bitmap.pixelOffset, 1078U);
  EXPECT_EQ(bitmap.pixelBytes, 12U);
}

TEST(BitmapDescription, ReadsACoreHeaderWithAShortTable) {
  BitmapBuilder file;
  file.headerBytes = 12;
  file.table = Bytes(252 * 3);
  const BitmapDescription bitmap = Describe(file.Build());
  EXPECT_EQ(bitmap.headerBytes, 12U);
  EXPECT_EQ(bitmap.width, 4U);
  EXPECT_EQ(bitmap.height, 3U);
  EXPECT_EQ(bitmap.tableOffset, 26U);
  EXPECT_EQ(bitmap.tableEntryBytes, 3U);
  EXPECT_EQ(bitmap.tableEntries, 252U);
  EXPECT_EQ(bitmap.xPelsPerMeter, 0);
}

TEST(BitmapDescription, ReadsEveryHeaderSize) {
  for (const uint32_t size : {12U, 16U, 40U, 52U, 56U, 64U, 108U, 124U}) {
    BitmapBuilder file;
    file.headerBytes = size;
    const BitmapDescription bitmap = Describe(file.Build());
    EXPECT_EQ(bitmap.headerBytes, size);
    EXPECT_EQ(bitmap.width, 4U);
    EXPECT_EQ(bitmap.tableOffset, 14 + size);
    EXPECT_EQ(bitmap.tableEntries, 256U);
  }
}

TEST(BitmapDescription, AHeaderOf16BytesHasNothingButSizeAndDepth) {
  BitmapBuilder file;
  file.headerBytes = 16;
  file.table = Bytes(1024, 0x77);
  const BitmapDescription bitmap = Describe(file.Build());
  EXPECT_EQ(bitmap.compression, BitmapCompression::kNone);
  EXPECT_EQ(bitmap.xPelsPerMeter, 0);
  EXPECT_EQ(bitmap.tableEntries, 256U);
}

TEST(BitmapDescription, ReadsTopDownImages) {
  BitmapBuilder file;
  file.height = -3;
  const BitmapDescription bitmap = Describe(file.Build());
  EXPECT_TRUE(bitmap.topDown);
  EXPECT_EQ(bitmap.height, 3U);
}

TEST(BitmapDescription, ReadsMasksBehindAndInsideTheHeader) {
  BitmapBuilder behind;
  behind.bitCount = 16;
  behind.compression = 3;
  for (const uint32_t mask : {0xF800U, 0x07E0U, 0x001FU}) {
    Append32(behind.masks, mask);
  }
  BitmapDescription bitmap = Describe(behind.Build());
  EXPECT_EQ(bitmap.compression, BitmapCompression::kBitFields);
  EXPECT_EQ(bitmap.masks, (std::array<uint32_t, 4>{0xF800, 0x07E0, 0x001F, 0}));
  EXPECT_EQ(bitmap.tableOffset, 66U);

  Bytes inside = [] {
    BitmapBuilder file;
    file.headerBytes = 56;
    file.bitCount = 32;
    file.compression = 3;
    return file.Build();
  }();
  for (size_t i = 0; i < 4; ++i) {
    inside[14 + 40 + 4 * i + i] = 0xFF;
  }
  bitmap = Describe(inside);
  EXPECT_EQ(bitmap.masks, (std::array<uint32_t, 4>{0xFF, 0xFF00, 0xFF0000, 0xFF000000}));
  EXPECT_EQ(bitmap.tableOffset, 70U);
}

TEST(BitmapDescription, ReadsFourMasksBehindTheHeader) {
  BitmapBuilder file;
  file.bitCount = 32;
  file.compression = 6;
  for (const uint32_t mask : {1U, 2U, 4U, 8U}) {
    Append32(file.masks, mask);
  }
  const BitmapDescription bitmap = Describe(file.Build());
  EXPECT_EQ(bitmap.compression, BitmapCompression::kAlphaBitFields);
  EXPECT_EQ(bitmap.masks, (std::array<uint32_t, 4>{1, 2, 4, 8}));
  EXPECT_EQ(bitmap.tableOffset, 70U);
}

TEST(BitmapDescription, ReadsStreamsByTheirSizeOrToTheEnd) {
  BitmapBuilder file;
  file.compression = 1;
  file.pixels = Bytes{4, 1, 0, 1, 0, 0};
  BitmapDescription bitmap = Describe(file.Build());
  EXPECT_EQ(bitmap.compression, BitmapCompression::kRle8);
  EXPECT_EQ(bitmap.pixelBytes, 6U);
  file.sizeImage = 4;
  bitmap = Describe(file.Build());
  EXPECT_EQ(bitmap.pixelBytes, 4U);
}

TEST(BitmapDescription, KnowsTheOtherMeaningsOfCompressionNumbers) {
  BitmapBuilder file;
  file.headerBytes = 64;
  file.compression = 3;
  file.bitCount = 1;
  EXPECT_EQ(Describe(file.Build()).compression, BitmapCompression::kHuffman);
  file.compression = 4;
  file.bitCount = 24;
  EXPECT_EQ(Describe(file.Build()).compression, BitmapCompression::kRle24);
  file.headerBytes = 124;
  file.bitCount = 0;
  file.table = Bytes();
  file.pixels = Bytes(10);
  EXPECT_EQ(Describe(file.Build()).compression, BitmapCompression::kJpeg);
  file.compression = 5;
  EXPECT_EQ(Describe(file.Build()).compression, BitmapCompression::kPng);
}

TEST(BitmapDescription, ToleratesWhatViewersAgreeOn) {
  BitmapBuilder file;
  file.sizeImage = 0x7EEF1234;  // means nothing in front of rows
  file.gap = 101;
  Bytes bytes = file.Build();
  bytes[2] = bytes[3] = bytes[6] = 0xFF;  // file size and reserved words
  bytes.insert(bytes.end(), 50, 0);
  EXPECT_EQ(FaultOf(bytes), std::nullopt);
  EXPECT_EQ(Describe(bytes).pixelOffset, 1078U + 101);
}

TEST(BitmapDescription, CountsTheTableEntriesThatAreThere) {
  BitmapBuilder few;
  few.colorsUsed = 3;
  few.table = Bytes(12);
  EXPECT_EQ(Describe(few.Build()).tableEntries, 3U);
  BitmapBuilder many;
  many.colorsUsed = 300;
  many.table = Bytes(1200);
  EXPECT_EQ(Describe(many.Build()).tableEntries, 300U);
  BitmapBuilder trueColor;
  trueColor.bitCount = 24;
  trueColor.colorsUsed = 5;
  trueColor.table = Bytes(20);
  EXPECT_EQ(Describe(trueColor.Build()).tableEntries, 5U);
  BitmapBuilder early;
  early.table = Bytes(10 * 4 + 3);
  EXPECT_EQ(Describe(early.Build()).tableEntries, 10U);
}

TEST(BitmapDescription, RefusesOtherFiles) {
  EXPECT_EQ(FaultOf({}), ImageFault::kNotABitmap);
  EXPECT_EQ(FaultOf({'B'}), ImageFault::kNotABitmap);
  BitmapBuilder file;
  file.magic = {'B', 'A'};
  EXPECT_EQ(FaultOf(file.Build()), ImageFault::kNotABitmap);
}

TEST(BitmapDescription, RefusesFilesThatEndInsideTheirHeaders) {
  const Bytes whole = BitmapBuilder().Build();
  for (size_t size = 2; size < 54; ++size) {
    EXPECT_EQ(FaultOf(CutTo(whole, size)), ImageFault::kHeaderTruncated) << size;
  }
}

TEST(BitmapDescription, RefusesFilesThatEndInsideTheirMasks) {
  BitmapBuilder file;
  file.bitCount = 16;
  file.compression = 3;
  file.masks = Bytes(12);
  const Bytes whole = file.Build();
  for (size_t size = 54; size < 66; ++size) {
    EXPECT_EQ(FaultOf(CutTo(whole, size)), ImageFault::kHeaderTruncated) << size;
  }
}

TEST(BitmapDescription, RefusesUnknownHeaderSizes) {
  for (const uint32_t size : {0U, 11U, 13U, 39U, 41U, 66U, 125U, 0xFFFFFFFFU}) {
    Bytes file = BitmapBuilder().Build();
    for (size_t i = 0; i < 4; ++i) {
      file[14 + i] = static_cast<unsigned char>(size >> 8 * i);
    }
    EXPECT_EQ(FaultOf(file), ImageFault::kHeaderSize) << size;
  }
}

TEST(BitmapDescription, RefusesPlanesOtherThanOne) {
  for (const uint16_t planes : std::initializer_list<uint16_t>{0, 2, 30000}) {
    BitmapBuilder file;
    file.planes = planes;
    EXPECT_EQ(FaultOf(file.Build()), ImageFault::kPlanes) << planes;
    file.headerBytes = 12;
    EXPECT_EQ(FaultOf(file.Build()), ImageFault::kPlanes) << planes;
  }
}

TEST(BitmapDescription, RefusesUnknownDepths) {
  for (const uint16_t bits : std::initializer_list<uint16_t>{0, 3, 5, 7, 9, 15, 31, 33, 30000}) {
    BitmapBuilder file;
    file.bitCount = bits;
    file.table = Bytes();
    file.pixels = Bytes(4);
    EXPECT_EQ(FaultOf(file.Build()), ImageFault::kDepth) << bits;
  }
}

TEST(BitmapDescription, RefusesImpossibleSides) {
  BitmapBuilder file;
  file.pixels = Bytes(100);
  for (const int32_t width : {0, -1, -127, std::numeric_limits<int32_t>::min()}) {
    file.width = width;
    EXPECT_EQ(FaultOf(file.Build()), ImageFault::kWidth) << width;
  }
  file.width = 4;
  file.height = 0;
  EXPECT_EQ(FaultOf(file.Build()), ImageFault::kHeight);
  file.headerBytes = 12;
  EXPECT_EQ(FaultOf(file.Build()), ImageFault::kHeight);
  file.height = 3;
  file.width = 0;
  EXPECT_EQ(FaultOf(file.Build()), ImageFault::kWidth);
}

TEST(BitmapDescription, RefusesCompressionThatDoesNotExistThere) {
  struct Case {
    uint32_t headerBytes;
    uint32_t compression;
    uint16_t bits;
  };
  for (const Case& item : {Case{40, 7, 8}, Case{40, 0xFFFFFFFF, 8}, Case{40, 1, 4}, Case{40, 2, 8},
                           Case{40, 1, 24}, Case{40, 3, 8}, Case{40, 3, 24}, Case{40, 6, 24},
                           Case{64, 5, 8}, Case{64, 6, 32}, Case{64, 3, 16}, Case{64, 4, 8}}) {
    BitmapBuilder file;
    file.headerBytes = item.headerBytes;
    file.compression = item.compression;
    file.bitCount = item.bits;
    EXPECT_EQ(FaultOf(file.Build()), ImageFault::kCompression)
        << item.headerBytes << " " << item.compression << " " << item.bits;
  }
}

TEST(BitmapDescription, RefusesTopDownStreams) {
  BitmapBuilder file;
  file.compression = 1;
  file.height = -3;
  EXPECT_EQ(FaultOf(file.Build()), ImageFault::kCompressedTopDown);
}

TEST(BitmapDescription, RefusesTablesThatDoNotFit) {
  for (const uint32_t claimed : {257U, 0x12345678U, 0x40000000U, 0x80000000U, 0xFFFFFFFFU}) {
    BitmapBuilder file;
    file.colorsUsed = claimed;
    EXPECT_EQ(FaultOf(file.Build()), ImageFault::kTableSize) << claimed;
  }
}

TEST(BitmapDescription, RefusesPixelsInsideTheHeadersOrBehindTheEnd) {
  BitmapBuilder file;
  for (const uint32_t offset : {1U, 13U, 53U, 1090U, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
    file.pixelOffset = offset;
    EXPECT_EQ(FaultOf(file.Build()), ImageFault::kPixelOffset) << offset;
  }
}

TEST(BitmapDescription, AnOffsetOf0MeansBehindTheTable) {
  for (const uint32_t size : {12U, 40U, 124U}) {
    for (const uint16_t bits : std::initializer_list<uint16_t>{1, 4, 8, 24}) {
      BitmapBuilder file;
      file.headerBytes = size;
      file.bitCount = bits;
      EXPECT_FALSE(Describe(file.Build()).offsetMissing);
      const uint64_t offset = Describe(file.Build()).pixelOffset;
      file.pixelOffset = 0;
      const BitmapDescription bitmap = Describe(file.Build());
      EXPECT_TRUE(bitmap.offsetMissing);
      EXPECT_EQ(bitmap.pixelOffset, offset);
    }
  }
  BitmapBuilder file;
  file.table = Bytes(20);
  file.colorsUsed = 5;
  file.pixelOffset = 0;
  EXPECT_EQ(Describe(file.Build()).pixelOffset, 74U);
  EXPECT_EQ(Describe(file.Build()).tableEntries, 5U);
  file.colorsUsed = 0xFFFFFFFF;
  EXPECT_EQ(FaultOf(file.Build()), ImageFault::kPixelOffset);
}

TEST(BitmapDescription, OnlyThePaddingOfTheLastRowMayBeMissing) {
  for (const auto& [bits, width, padding] : {std::tuple{uint16_t{1}, 9, 2U},
                                             {uint16_t{4}, 3, 2U},
                                             {uint16_t{8}, 5, 3U},
                                             {uint16_t{24}, 3, 3U},
                                             {uint16_t{32}, 3, 0U},
                                             {uint16_t{16}, 3, 2U}}) {
    for (const int32_t height : {3, -3}) {
      BitmapBuilder file;
      file.bitCount = bits;
      file.width = width;
      file.height = height;
      const Bytes whole = file.Build();
      EXPECT_EQ(Describe(whole).missingBytes, 0U);
      for (uint32_t missing = 1; missing <= padding; ++missing) {
        EXPECT_EQ(Describe(CutTo(whole, whole.size() - missing)).missingBytes, missing);
      }
      EXPECT_EQ(FaultOf(CutTo(whole, whole.size() - padding - 1)), ImageFault::kRowsTruncated);
    }
  }
}

// An array of two images, whose offsets count from the start of the file.
Bytes ArrayOf(const BitmapBuilder& first, uint32_t next) {
  Bytes array{'B', 'A'};
  Append32(array, 40);
  Append32(array, next);
  Append32(array, 0);
  BitmapBuilder moved = first;
  if (!moved.pixelOffset) {
    moved.magic = {'B', 'M'};
    moved.pixelOffset = static_cast<uint32_t>(14 + Describe(moved.Build()).pixelOffset);
    moved.magic = first.magic;
  }
  const Bytes file = moved.Build();
  array.insert(array.end(), file.begin(), file.end());
  return array;
}

TEST(BitmapDescription, OfAnArrayTheFirstImageIsDescribed) {
  for (const uint32_t size : {12U, 40U, 64U}) {
    for (const uint32_t next : {0U, 5000U}) {
      BitmapBuilder file;
      file.headerBytes = size;
      const BitmapDescription bitmap = Describe(ArrayOf(file, next));
      EXPECT_EQ(bitmap.width, 4U);
      EXPECT_EQ(bitmap.tableOffset, 28 + size);
      EXPECT_EQ(bitmap.pixelOffset, 14 + Describe(file.Build()).pixelOffset);
      EXPECT_EQ(bitmap.moreImages, next != 0);
      file.pixelOffset = 0;
      EXPECT_EQ(Describe(ArrayOf(file, next)).pixelOffset, bitmap.pixelOffset);
    }
  }
}

TEST(BitmapDescription, ArraysOfOtherThingsAndCutOnesAreRefused) {
  const Bytes whole = ArrayOf(BitmapBuilder(), 0);
  for (size_t size = 0; size < whole.size(); ++size) {
    EXPECT_NE(FaultOf(CutTo(whole, size)), std::nullopt) << size;
  }
  BitmapBuilder icon;
  icon.magic = {'I', 'C'};
  EXPECT_EQ(FaultOf(ArrayOf(icon, 0)), ImageFault::kNotABitmap);
}

TEST(BitmapDescription, RefusesTruncatedRows) {
  const Bytes whole = BitmapBuilder().Build();
  for (size_t size = 1079; size < whole.size(); ++size) {
    EXPECT_EQ(FaultOf(CutTo(whole, size)), ImageFault::kRowsTruncated) << size;
  }
}

TEST(BitmapDescription, RefusesTruncatedStreams) {
  BitmapBuilder file;
  file.compression = 1;
  file.pixels = Bytes(10);
  file.sizeImage = 11;
  EXPECT_EQ(FaultOf(file.Build()), ImageFault::kStreamTruncated);
  file.sizeImage = 0xFFFFFFFF;
  EXPECT_EQ(FaultOf(file.Build()), ImageFault::kStreamTruncated);
}

TEST(BitmapDescription, RefusesEveryLargeClaimOfASmallFile) {
  constexpr int32_t kMost = std::numeric_limits<int32_t>::max();
  constexpr int32_t kLeast = std::numeric_limits<int32_t>::min();
  for (const uint16_t bits : std::initializer_list<uint16_t>{1, 2, 4, 8, 16, 24, 32}) {
    for (const int32_t height : {30000, 65536, kMost, -kMost, kLeast}) {
      for (const int32_t width : {30000, 65536, 0x20000000, 0x40000000, kMost}) {
        BitmapBuilder file;
        file.bitCount = bits;
        file.width = width;
        file.height = height;
        file.pixels = Bytes(100);
        EXPECT_EQ(FaultOf(file.Build()), ImageFault::kRowsTruncated)
            << bits << " " << width << " " << height;
      }
    }
  }
}

}  // namespace
}  // namespace dibkit::host
