// SPDX-License-Identifier: Apache-2.0
//
// TIFF files that are cut, changed or made to hurt: an error or a picture, in bounded memory.
#include <gtest/gtest.h>

#include <random>

#include "address_space.h"
#include "dibkit/host/dib_view.h"
#include "dibkit/host/locked_block.h"
#include "image_pages.h"
#include "loaded_dib.h"
#include "tiff_builder.h"

namespace dibkit::host {
namespace {

using test::Bytes;
using test::FaultOf;
using test::OpenBytes;
using test::PlainPage;
using test::SomeSamples;
using test::TiffBuilder;
using test::TiffPage;
using test::TiffSamples;
using test::WithinAddressSpace;

constexpr uint64_t kMegabyte = 1'000'000;

// Reads all pages; every failure must be one of those that readers promise, and every picture must
// be one. Returns how many pages came out well.
uint32_t ReadAll(const Bytes& file, uint64_t maxPixels) {
  ReadOptions options;
  options.maxPixels = maxPixels;
  uint32_t good = 0;
  try {
    const auto reader = OpenBytes(file, options);
    const uint32_t pages = std::min(reader->PageCount(), 20U);
    for (uint32_t i = 0; i < pages; ++i) {
      try {
        reader->Describe(i);
        const PageImage page = reader->Read(i);
        const LockedBlock lock(page.dib.get());
        const DibView view(lock.Bytes());
        EXPECT_LE(uint64_t{view.Width()} * view.Height(), maxPixels);
        ++good;
      } catch (const ImageError& error) {
        EXPECT_EQ(std::string(error.what()).find('\n'), std::string::npos);
      }
    }
  } catch (const ImageError&) {
    // Not even the header.
  }
  return good;
}

PageMetadata SomeMetadata() {
  PageMetadata metadata;
  metadata.resolution = ResolutionOfDpi(300);
  metadata.texts.push_back({TextKind::kSoftware, "a text that is longer than four bytes"});
  return metadata;
}

// Small files of every way of packing.
std::vector<Bytes> SmallFiles(const PageMetadata& metadata) {
  std::vector<Bytes> files;
  const auto add = [&](const OwnedBlock& dib, std::initializer_list<Compression> ways) {
    for (const Compression way : ways) {
      files.push_back(test::WritePage(ImageFormat::kTiff, dib, metadata, {way, 75}));
    }
  };
  add(test::SomeDib(61, 33, 1), {Compression::kNone, Compression::kLzw, Compression::kG3,
                                 Compression::kG4, Compression::kPackBits});
  add(test::SomeDib(40, 30, 8),
      {Compression::kNone, Compression::kLzw, Compression::kDeflate, Compression::kPackBits});
  add(test::SmoothDib(40, 40, 24),
      {Compression::kLzw, Compression::kDeflate, Compression::kJpeg, Compression::kNone});
  const TiffSamples rgb{40, 40, 16, 3, 2, SomeSamples(4800, 16)};
  files.push_back(TiffBuilder{true, false, {TiledPage(rgb, 16, true, true)}, {}}.Build());
  files.push_back(
      TiffBuilder{false, true, {SeparatePage(rgb, 8), TiledPage(rgb, 32, false)}, {}}.Build());
  const TiffSamples ycbcr{16, 16, 8, 3, 6, SomeSamples(768, 8)};
  TiffPage page = PlainPage(ycbcr);
  page.Set(530, test::kTiffShort, {1, 1});
  files.push_back(TiffBuilder{false, false, {page}, {}}.Build());
  return files;
}

TEST(TiffHostile, CutAnywhereIsToldOrAPicture) {
  const uint64_t blocks = ReadMemoryCounters().liveBlocks;
  for (const Bytes& file : SmallFiles({})) {
    const uint32_t whole = ReadAll(file, 100'000);
    EXPECT_GE(whole, 1U);
    // Directories stand behind the pixels of their page and end with the file, up to a few bytes
    // that fill it up.
    for (size_t size = 0; size + 8 < file.size(); ++size) {
      const Bytes cut(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(size));
      ASSERT_LT(ReadAll(cut, 100'000), whole) << size << " of " << file.size();
    }
  }
  EXPECT_EQ(ReadMemoryCounters().liveBlocks, blocks);
}

// A file whose rows end early, its directory first.
Bytes CutRows(const Bytes& file, size_t kept) {
  const auto offset = static_cast<size_t>(file[4] | file[5] << 8 | file[6] << 16 | file[7] << 24);
  const uint16_t entries = static_cast<uint16_t>(file[offset] | file[offset + 1] << 8);
  Bytes cut = file;
  for (size_t entry = offset + 2; entry < offset + 2 + entries * 12U; entry += 12) {
    // StripByteCounts of one strip.
    if (cut[entry] == (279 & 0xFF) && cut[entry + 1] == 279 >> 8) {
      for (size_t i = 0; i < 4; ++i) {
        cut[entry + 8 + i] = static_cast<unsigned char>(kept >> (8 * i));
      }
    }
  }
  return cut;
}

TEST(TiffHostile, RowsThatEndEarlyAreAnErrorNeverHalfAPicture) {
  struct Case {
    OwnedBlock dib;
    Compression compression;
  };
  std::vector<Case> cases;
  for (const Compression way : {Compression::kG3, Compression::kG4, Compression::kLzw,
                                Compression::kDeflate, Compression::kPackBits}) {
    cases.push_back({test::SomeDib(300, 200, 1), way});
  }
  cases.push_back({test::SomeDib(64, 16, 24), Compression::kJpeg});
  cases.push_back({test::SmoothDib(64, 60, 24), Compression::kLzw});
  for (const Case& c : cases) {
    const Bytes file = test::WritePage(ImageFormat::kTiff, c.dib, {}, {c.compression, 90});
    for (const size_t kept : {20U, 200U, 400U}) {
      EXPECT_EQ(FaultOf([&] { test::ReadPage(CutRows(file, kept)); }), ImageFault::kDamaged)
          << CompressionName(c.compression) << " " << kept;
    }
  }
}

TEST(TiffHostile, ThousandsOfChangedFiles) {
  const uint64_t blocks = ReadMemoryCounters().liveBlocks;
  std::mt19937 random(8);
  ResetPeakBytes();
  const uint64_t before = ReadMemoryCounters().liveBytes;
  for (const Bytes& file : SmallFiles(SomeMetadata())) {
    for (int turn = 0; turn < 300; ++turn) {
      Bytes changed = file;
      for (unsigned i = 0; i <= random() % 4; ++i) {
        // Half of the changes hit the directory, which is at the end.
        const size_t span = random() % 2 == 0 ? std::min<size_t>(file.size(), 400) : file.size();
        changed[file.size() - 1 - random() % span] = static_cast<unsigned char>(random());
      }
      ReadAll(changed, 100'000);
    }
  }
  EXPECT_EQ(ReadMemoryCounters().liveBlocks, blocks);
  // 100,000 pixels, one to a row, take 400,000 bytes and their header.
  EXPECT_LE(ReadMemoryCounters().peakBytes - before, 3 * kMegabyte);
}

TiffPage Claiming(uint32_t width, uint32_t height, unsigned compression) {
  TiffPage page = PlainPage({1, 1, 8, 3, 2, {1, 2, 3}});
  page.Set(256, test::kTiffLong, {width})
      .Set(257, test::kTiffLong, {height})
      .Set(278, test::kTiffLong, {height})
      .Set(259, test::kTiffShort, {compression});
  page.segments[0].resize(500, 0x55);
  return page;
}

Bytes FileOf(const TiffPage& page) { return TiffBuilder{false, false, {page}, {}}.Build(); }

TEST(TiffHostile, BombsAreRefusedBeforeAnythingIsAllocated) {
  for (const unsigned compression : {1U, 2U, 3U, 4U, 5U, 7U, 8U, 32773U, 32946U}) {
    const Bytes file = FileOf(Claiming(100'000, 100'000, compression));
    WithinAddressSpace(100 * kMegabyte, [&] {
      EXPECT_EQ(FaultOf([&] { test::ReadPage(file); }), ImageFault::kTooManyPixels) << compression;
      EXPECT_EQ(OpenBytes(file)->Describe(0).width, 100'000U);
    });
  }
}

TEST(TiffHostile, PlainRowsThatAreNotThereTakeNoMemory) {
  const Bytes file = FileOf(Claiming(15'000, 15'000, 1));
  WithinAddressSpace(100 * kMegabyte, [&] {
    EXPECT_EQ(FaultOf([&] { test::ReadPage(file); }), ImageFault::kDamaged);
  });
}

TEST(TiffHostile, AbsurdTilesAreRefused) {
  for (const uint32_t size : {65'520U, 1U << 31, 0xFFFFFFF0U, 8'192U, 0U}) {
    for (const unsigned compression : {1U, 5U, 7U, 8U}) {
      TiffPage page = Claiming(100, 100, compression);
      page.Remove(278).Set(322, test::kTiffLong, {size}).Set(323, test::kTiffLong, {size});
      const Bytes file = FileOf(page);
      WithinAddressSpace(300 * kMegabyte, [&] {
        const auto fault = FaultOf([&] { test::ReadPage(file); });
        EXPECT_TRUE(fault == ImageFault::kDamaged || fault == ImageFault::kUnsupported)
            << size << " " << compression;
        if (fault == ImageFault::kUnsupported) {
          EXPECT_NE(OpenBytes(file)->Describe(0).obstacle, "") << size << " " << compression;
        }
      });
    }
  }
}

TEST(TiffHostile, ByteCountsBeyondTheFileTakeNoMemory) {
  for (const unsigned compression : {4U, 5U, 7U, 8U, 32773U}) {
    TiffPage page = Claiming(3'000, 3'000, compression);
    page.byteCounts = {4'294'967'295};
    if (compression == 4) {
      page = PlainPage({8, 1, 1, 1, 0, SomeSamples(8, 1)});
      page.Set(259, test::kTiffShort, {4})
          .Set(256, test::kTiffLong, {3'000})
          .Set(257, test::kTiffLong, {3'000});
      page.byteCounts = {4'294'967'295};
    }
    const Bytes file = FileOf(page);
    WithinAddressSpace(300 * kMegabyte, [&] {
      EXPECT_EQ(FaultOf([&] { test::ReadPage(file); }), ImageFault::kDamaged) << compression;
      EXPECT_LT(OpenBytes(file)->Describe(0).workBytes, kMegabyte) << compression;
    });
  }
}

TEST(TiffHostile, ManyStripsThatAreNotThere) {
  TiffPage page = Claiming(1, 240'000'000, 5);
  page.Set(278, test::kTiffLong, {1});
  const Bytes file = FileOf(page);
  WithinAddressSpace(300 * kMegabyte, [&] {
    EXPECT_EQ(FaultOf([&] { test::ReadPage(file); }), ImageFault::kDamaged);
  });
}

TEST(TiffHostile, PixelsOfThousandsOfSamples) {
  TiffPage page = Claiming(1'000, 1'000, 5);
  page.Set(277, test::kTiffShort, {65'535}).Set(258, test::kTiffShort, {16});
  const Bytes file = FileOf(page);
  WithinAddressSpace(100 * kMegabyte, [&] {
    const auto fault = FaultOf([&] { test::ReadPage(file); });
    EXPECT_TRUE(fault == ImageFault::kDamaged || fault == ImageFault::kUnsupported);
  });
}

TEST(TiffHostile, AFlatPageOfTheLargestSizeIsReadInTheMemoryOfItsDib) {
  // All white: each row is one bit of G4.
  TiffPage page = PlainPage({8, 1, 1, 1, 0, std::vector<uint32_t>(8)});
  page.Set(259, test::kTiffShort, {4})
      .Set(256, test::kTiffLong, {15'000})
      .Set(257, test::kTiffLong, {15'000})
      .Set(278, test::kTiffLong, {15'000});
  page.segments[0] = Bytes(15'000 / 8 + 1, 0xFF);
  const Bytes file = FileOf(page);
  WithinAddressSpace(50 * kMegabyte,
                     [&] { EXPECT_EQ(test::BitCountOf(test::ReadPage(file).dib), 1U); });
}

}  // namespace
}  // namespace dibkit::host
