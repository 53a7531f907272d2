// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>

#include "bitmap_builder.h"
#include "dibkit/host/bitmap_file.h"
#include "dibkit/host/bitmap_writer.h"
#include "dibkit/host/conversion.h"
#include "dibkit/host/locked_block.h"
#include "dibkit/host/output_file.h"
#include "loaded_dib.h"
#include "temporary_directory.h"

namespace dibkit::host {
namespace {

using test::Append32;
using test::BitmapBuilder;
using test::Bytes;

OwnedBlock ReadDib(const Bytes& file) {
  return BitmapFile(std::make_unique<MemorySource>(file)).ReadDib();
}

Bytes DibBytes(const Bytes& file) {
  const OwnedBlock dib = ReadDib(file);
  const LockedBlock lock(dib.get());
  return Bytes(lock.Bytes().begin(), lock.Bytes().end());
}

Bytes Joined(std::initializer_list<Bytes> parts) {
  Bytes whole;
  for (const Bytes& part : parts) {
    whole.insert(whole.end(), part.begin(), part.end());
  }
  return whole;
}

// The header that the library should see.
Bytes InfoHeader(const BitmapBuilder& file) {
  BitmapBuilder plain = file;
  plain.colorsUsed = 0;
  plain.sizeImage = 0;
  const Bytes bytes = plain.Build();
  return Bytes(bytes.begin() + 14, bytes.begin() + 54);
}

TEST(BitmapFile, MakesADibOfEveryPlainDepth) {
  for (const uint16_t bits : std::initializer_list<uint16_t>{1, 4, 8, 24}) {
    for (const int32_t width : {1, 7, 8, 9, 33}) {
      BitmapBuilder file;
      file.bitCount = bits;
      file.width = width;
      const uint64_t before = ReadMemoryCounters().liveBlocks;
      EXPECT_EQ(DibBytes(file.Build()), Joined({InfoHeader(file), file.Table(), file.Pixels()}))
          << bits << " " << width;
      EXPECT_EQ(ReadMemoryCounters().liveBlocks, before);
    }
  }
}

TEST(BitmapFile, TheDibIsUnlocked) {
  const OwnedBlock dib = ReadDib(BitmapBuilder().Build());
  EXPECT_EQ(GlobalFlags(dib.get()), 0U);
}

TEST(BitmapFile, FillsShortTablesUpWithBlack) {
  BitmapBuilder file;
  file.bitCount = 4;
  file.colorsUsed = 2;
  file.table = Bytes{1, 2, 3, 0, 4, 5, 6, 0};
  EXPECT_EQ(DibBytes(file.Build()),
            Joined({InfoHeader(file), *file.table, Bytes(14 * 4), file.Pixels()}));
}

TEST(BitmapFile, CutsLongTables) {
  BitmapBuilder file;
  file.bitCount = 1;
  file.colorsUsed = 5;
  file.table = Bytes(20);
  (*file.table)[4] = 0x55;
  (*file.table)[8] = 0x66;
  const Bytes kept(file.table->begin(), file.table->begin() + 8);
  EXPECT_EQ(DibBytes(file.Build()), Joined({InfoHeader(file), kept, file.Pixels()}));
}

TEST(BitmapFile, DropsTheTableOfATrueColourImage) {
  BitmapBuilder file;
  file.bitCount = 24;
  file.colorsUsed = 256;
  file.table = Bytes(1024, 0x99);
  EXPECT_EQ(DibBytes(file.Build()), Joined({InfoHeader(file), file.Pixels()}));
}

TEST(BitmapFile, ClearsTheReservedBytesOfTheTable) {
  BitmapBuilder file;
  file.bitCount = 1;
  file.table = Bytes{1, 2, 3, 0xFF, 4, 5, 6, 0x80};
  EXPECT_EQ(DibBytes(file.Build()),
            Joined({InfoHeader(file), Bytes{1, 2, 3, 0, 4, 5, 6, 0}, file.Pixels()}));
}

TEST(BitmapFile, FindsTheRowsByTheOffsetInTheHeader) {
  BitmapBuilder file;
  file.gap = 33;
  file.colorsUsed = 256;
  EXPECT_EQ(DibBytes(file.Build()), Joined({InfoHeader(file), file.Table(), file.Pixels()}));
}

TEST(BitmapFile, KeepsTheResolution) {
  BitmapBuilder file;
  file.xPelsPerMeter = 2835;
  file.yPelsPerMeter = 1417;
  const OwnedBlock dib = ReadDib(file.Build());
  const LockedBlock lock(dib.get());
  const DibView view(lock.Bytes());
  EXPECT_EQ(view.XPelsPerMeter(), 2835);
  EXPECT_EQ(view.YPelsPerMeter(), 1417);
}

// Claims to hold whatever is asked for.
class EndlessSource : public ByteSource {
 public:
  explicit EndlessSource(Bytes start) : start_(std::move(start)) {}
  uint64_t SizeUpTo(uint64_t limit) override { return limit; }
  void Read(uint64_t offset, std::span<unsigned char> into) override {
    for (unsigned char& byte : into) {
      byte = offset < start_.size() ? start_[static_cast<size_t>(offset)] : 0;
      ++offset;
    }
  }

 private:
  Bytes start_;
};

TEST(BitmapFile, RefusesImagesThatNoBlockCanHold) {
  BitmapBuilder file;
  file.bitCount = 24;
  file.width = 40'000;
  file.height = 40'000;
  file.pixels = Bytes(1);
  BitmapFile bitmap(std::make_unique<EndlessSource>(file.Build()));
  try {
    bitmap.ReadDib();
    FAIL() << "4.8 gigabytes in one block";
  } catch (const ImageError& error) {
    EXPECT_EQ(error.Fault(), ImageFault::kTooLarge);
  }
}

TEST(BitmapFile, TakesNoMoreMemoryThanTheDibNeeds) {
  BitmapBuilder file;
  file.width = 1000;
  file.height = 1000;
  const Bytes bytes = file.Build();
  ResetPeakBytes();
  const uint64_t before = ReadMemoryCounters().peakBytes;
  const OwnedBlock dib = ReadDib(bytes);
  EXPECT_EQ(ReadMemoryCounters().peakBytes - before, 40U + 1024 + 1'000'000);
}

// The bytes of a file as they come through a pipe: nothing of them can be read twice.
class GoneBySource : public ByteSource {
 public:
  explicit GoneBySource(Bytes bytes) : bytes_(std::move(bytes)), memory_(bytes_) {}
  uint64_t SizeUpTo(uint64_t limit) override {
    const uint64_t size = memory_.SizeUpTo(limit);
    mostKept_ = std::max(mostKept_, size - std::min(size, forgotten_));
    return size;
  }
  void Read(uint64_t offset, std::span<unsigned char> into) override {
    EXPECT_GE(offset, forgotten_);
    static_cast<void>(SizeUpTo(offset + into.size()));
    memory_.Read(offset, into);
  }
  bool IsInPlace() const override { return false; }
  void ForgetBefore(uint64_t offset) override { forgotten_ = std::max(forgotten_, offset); }
  uint64_t MostKept() const { return mostKept_; }

 private:
  Bytes bytes_;
  MemorySource memory_;
  uint64_t forgotten_ = 0;
  uint64_t mostKept_ = 0;
};

TEST(BitmapFile, TheRowsOfAPipeAreKeptPieceByPiece) {
  for (const int32_t height : {1500, -1500}) {
    BitmapBuilder file;
    file.bitCount = 24;
    file.width = 1000;
    file.height = height;
    auto source = std::make_unique<GoneBySource>(file.Build());
    const GoneBySource& watched = *source;
    BitmapFile bitmap(std::move(source));
    EXPECT_LT(watched.MostKept(), 1000U);
    const OwnedBlock dib = bitmap.ReadBottomUpDib();
    EXPECT_LE(watched.MostKept(), 1U << 20);
    EXPECT_EQ(test::BlockBytes(dib), test::BlockBytes(Normalized(ReadDib(file.Build()))));
  }
}

TEST(BitmapFile, RunLengthFilesComeThroughPipesToo) {
  BitmapBuilder file;
  file.compression = 1;
  file.pixels = Bytes{4, 7, 0, 0, 4, 8, 0, 0, 4, 9, 0, 1};
  BitmapFile bitmap(std::make_unique<GoneBySource>(file.Build()));
  EXPECT_EQ(test::BlockBytes(bitmap.ReadDib()), DibBytes(file.Build()));
}

TEST(BitmapFile, APipeThatEndsInsideItsRowsIsTold) {
  BitmapBuilder file;
  file.pixels = Bytes(11);
  BitmapFile bitmap(std::make_unique<GoneBySource>(file.Build()));
  EXPECT_EQ(bitmap.Description().pixelBytes, 12U);
  try {
    bitmap.ReadDib();
    FAIL();
  } catch (const ImageError& error) {
    EXPECT_EQ(error.Fault(), ImageFault::kRowsTruncated);
    EXPECT_STREQ(error.what(), "the rows need 12 bytes, but the file holds 11 of them");
  }
}

TEST(BitmapFile, TheGapBeforeTheStreamOfAPipeIsBounded) {
  BitmapBuilder file;
  file.compression = 1;
  file.pixelOffset = 17U << 20;
  EXPECT_EQ(test::FaultOf([&] { BitmapFile bitmap(std::make_unique<GoneBySource>(file.Build())); }),
            ImageFault::kPixelOffset);
}

TEST(BitmapFile, PaddingThatTheFileLacksIsZeroAndTold) {
  for (const int32_t height : {3, -3}) {
    for (const uint16_t bits : std::initializer_list<uint16_t>{2, 8, 24}) {
      BitmapBuilder file;
      file.bitCount = bits;
      file.width = 5;
      file.height = height;
      Bytes whole = file.Build();
      const size_t padding = bits == 24 ? 1 : bits == 8 ? 3 : 2;
      std::fill(whole.end() - static_cast<std::ptrdiff_t>(padding), whole.end(), 0);
      const Bytes cut(whole.begin(), whole.end() - static_cast<std::ptrdiff_t>(padding));
      BitmapFile inPlace(std::make_unique<MemorySource>(cut));
      EXPECT_EQ(inPlace.Remarks().size(), 1U);
      BitmapFile pipe(std::make_unique<GoneBySource>(cut));
      EXPECT_TRUE(pipe.Remarks().empty());
      EXPECT_EQ(test::BlockBytes(pipe.ReadDib()), DibBytes(whole));
      EXPECT_EQ(pipe.Remarks(), std::vector<std::string>{"the file lacks padding at its end"});
      EXPECT_EQ(test::BlockBytes(inPlace.ReadDib()), DibBytes(whole));
      EXPECT_EQ(
          test::BlockBytes(inPlace.ReadBottomUpDib()),
          test::BlockBytes(BitmapFile(std::make_unique<MemorySource>(whole)).ReadBottomUpDib()));
      EXPECT_EQ(inPlace.Remarks(), pipe.Remarks());
    }
  }
}

TEST(BitmapFile, AnOffsetOf0IsReadAndTold) {
  BitmapBuilder file;
  const Bytes whole = file.Build();
  file.pixelOffset = 0;
  const Bytes bytes = file.Build();
  for (const bool pipe : {false, true}) {
    std::unique_ptr<ByteSource> source = std::make_unique<MemorySource>(bytes);
    if (pipe) {
      source = std::make_unique<GoneBySource>(bytes);
    }
    BitmapFile bitmap(std::move(source));
    EXPECT_EQ(bitmap.Remarks().size(), 1U);
    EXPECT_EQ(test::BlockBytes(bitmap.ReadDib()), DibBytes(whole));
  }
}

TEST(BitmapFile, LargeClaimsOfStreamsTakeNoMemoryBeyondTheRows) {
  for (const auto& [compression, bits] : {std::pair{3U, uint16_t{1}}, {4U, uint16_t{24}}}) {
    BitmapBuilder file;
    file.headerBytes = 64;
    file.compression = compression;
    file.bitCount = bits;
    file.width = file.height = 65536;
    file.table = Bytes(bits == 1 ? 8 : 0);
    file.pixels = Bytes(30);
    const Bytes bytes = file.Build();
    const auto fault = test::FaultOf(
        [&] { BitmapFile(std::make_unique<MemorySource>(bytes), 1'000'000).ReadDib(); });
    EXPECT_EQ(fault, ImageFault::kTooManyPixels);
    if (bits == 24) {
      EXPECT_EQ(test::FaultOf([&] { ReadDib(bytes); }), ImageFault::kTooLarge);
    }
  }
}

TEST(BitmapFile, TurnsTopDownRowsAsItReadsThem) {
  for (const uint16_t bits : std::initializer_list<uint16_t>{1, 2, 4, 8, 16, 24, 32}) {
    BitmapBuilder file;
    file.bitCount = bits;
    file.width = 7;
    file.height = -5;
    const Bytes bytes = file.Build();
    ResetPeakBytes();
    const uint64_t before = ReadMemoryCounters().peakBytes;
    const OwnedBlock turned = BitmapFile(std::make_unique<MemorySource>(bytes)).ReadBottomUpDib();
    EXPECT_EQ(ReadMemoryCounters().peakBytes - before, GlobalSize(turned.get())) << bits;
    EXPECT_EQ(test::BlockBytes(turned), test::BlockBytes(Normalized(ReadDib(bytes)))) << bits;
  }
}

TEST(BitmapFile, OpensPaths) {
  const test::TemporaryDirectory directory;
  const std::string path = directory.Write("a.bmp", BitmapBuilder().Build());
  EXPECT_EQ(BitmapFile::Open(path).Description().width, 4U);
  EXPECT_THROW(BitmapFile::Open(directory.Path("none.bmp")), FileError);
}

Bytes RoundTrip(const Bytes& file) {
  const test::TemporaryDirectory directory;
  const std::string path = directory.Path("out.bmp");
  const OwnedBlock dib = ReadDib(file);
  const LockedBlock lock(dib.get());
  OutputFile output(path);
  WriteBitmap(output, DibView(lock.Bytes()));
  output.Commit();
  return test::ReadFile(path);
}

TEST(BitmapWriter, WritesBackTheSameFile) {
  for (const uint16_t bits : std::initializer_list<uint16_t>{1, 4, 8, 24}) {
    for (int32_t width = 1; width < 40; ++width) {
      BitmapBuilder file;
      file.bitCount = bits;
      file.width = width;
      const Bytes bytes = file.Build();
      EXPECT_EQ(RoundTrip(bytes), bytes) << bits << " " << width;
    }
  }
}

TEST(BitmapWriter, PutsUnusualFilesInOrder) {
  BitmapBuilder unusual;
  unusual.bitCount = 4;
  unusual.colorsUsed = 2;
  unusual.table = Bytes{1, 2, 3, 0, 4, 5, 6, 0};
  unusual.gap = 7;
  BitmapBuilder usual;
  usual.bitCount = 4;
  usual.table = Joined({*unusual.table, Bytes(14 * 4)});
  EXPECT_EQ(RoundTrip(unusual.Build()), usual.Build());
}

TEST(BitmapWriter, LeavesOutWhatABlockHoldsBeyondItsImage) {
  BitmapBuilder file;
  const Bytes bytes = file.Build();
  const Bytes dib(bytes.begin() + 14, bytes.end());
  const OwnedBlock block(GlobalAlloc(GHND, static_cast<unsigned>(dib.size()) + 500));
  const LockedBlock lock(block.get());
  std::copy(dib.begin(), dib.end(), lock.Bytes().begin());
  const test::TemporaryDirectory directory;
  OutputFile output(directory.Path("out.bmp"));
  WriteBitmap(output, DibView(lock.Bytes()));
  output.Commit();
  EXPECT_EQ(test::ReadFile(directory.Path("out.bmp")), bytes);
}

}  // namespace
}  // namespace dibkit::host
