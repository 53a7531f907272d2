// SPDX-License-Identifier: Apache-2.0
//
// Every file of the suite comes out with the right pixels, or with a clear error.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <set>
#include <string>

#include "bitmap_suite.h"
#include "dibkit/host/bitmap_file.h"
#include "dibkit/host/conversion.h"
#include "dibkit/host/dib_view.h"
#include "dibkit/host/locked_block.h"

namespace dibkit::test {
namespace {

namespace fs = std::filesystem;

using host::DibView;
using host::LockedBlock;
using host::OwnedBlock;

class BitmapSuiteTest : public testing::Test {
 protected:
  void SetUp() override {
    if (!fs::is_directory(SuiteDirectory())) {
      GTEST_SKIP() << "no bitmap suite at " << SuiteDirectory()
                   << ": set DIBKIT_SAMPLES_DIR to run this test";
    }
  }
};

OwnedBlock Read(const SuiteFile& file) {
  return host::BitmapFile::Open(SuitePath(file).string()).ReadDib();
}

// Of the pixels, top row first, without padding, as red, green, blue; `mask` is what counts of each
// level.
uint64_t PixelChecksum(const DibView& view, int mask = 0xFF) {
  Checksum checksum;
  for (uint32_t y = view.Height(); y-- > 0;) {
    const auto row = view.Row(y);
    for (size_t x = 0; x < size_t{view.Width()} * 3; ++x) {
      const size_t channel = x % 3;
      checksum.Add(static_cast<unsigned char>(row[x - channel + 2 - channel] & mask));
    }
  }
  return checksum.Value();
}

void ExpectImage(const SuiteFile& file, OwnedBlock dib) {
  const LockedBlock lock(dib.get());
  const DibView view(lock.Bytes());
  EXPECT_EQ(view.BitCount(), 24);
  EXPECT_EQ(view.Width(), file.width);
  EXPECT_EQ(view.Height(), file.height);
  EXPECT_EQ(PixelChecksum(view), file.checksum);
}

// The codecs of embedded files are beyond this layer.
bool IsRefused(const SuiteFile& file) { return file.fault || file.embedded; }

void ExpectFault(const SuiteFile& file) {
  try {
    Read(file);
    FAIL() << "this file should be refused";
  } catch (const host::ImageError& error) {
    EXPECT_EQ(error.Fault(), file.fault.value_or(host::ImageFault::kCompressionNotConvertible));
    EXPECT_STRNE(error.what(), "");
  }
}

TEST_F(BitmapSuiteTest, TheTableNamesEveryFileOnce) {
  std::set<std::string> listed;
  for (const SuiteFile& file : BitmapSuite()) {
    EXPECT_TRUE(listed.insert(file.name).second) << file.name;
    EXPECT_STRNE(file.reason, "") << file.name;
  }
  std::set<std::string> present;
  for (const char* part : {"g", "q", "b"}) {
    for (const auto& entry : fs::directory_iterator(SuiteDirectory() / part)) {
      if (entry.path().extension() == ".bmp") {
        present.insert((fs::path(part) / entry.path().stem()).string());
      }
    }
  }
  EXPECT_EQ(listed, present);
  EXPECT_EQ(listed.size(), 60U);
}

TEST_F(BitmapSuiteTest, EveryFileConvertsToTheRightPixelsOrIsRefused) {
  constexpr uint64_t kMostBytes = 200'000;
  for (const SuiteFile& file : BitmapSuite()) {
    SCOPED_TRACE(file.name);
    host::ResetPeakBytes();
    const auto start = std::chrono::steady_clock::now();
    if (IsRefused(file)) {
      ExpectFault(file);
    } else {
      ExpectImage(file, host::To24Bits(Read(file)));
    }
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
    EXPECT_LT(host::ReadMemoryCounters().peakBytes, kMostBytes);
    EXPECT_EQ(host::ReadMemoryCounters().liveBlocks, 0U);
  }
}

TEST_F(BitmapSuiteTest, NormalizedImagesHaveTheSamePixels) {
  for (const SuiteFile& file : BitmapSuite()) {
    if (!IsRefused(file)) {
      SCOPED_TRACE(file.name);
      ExpectImage(file, host::To24Bits(host::Normalized(Read(file))));
    }
  }
}

// Five bits of each channel go through 16 bits unharmed.
TEST_F(BitmapSuiteTest, SixteenBitImagesHaveTheTopBitsOfEveryPixel) {
  constexpr int kTopFive = 0xF8;
  for (const SuiteFile& file : BitmapSuite()) {
    if (!IsRefused(file)) {
      SCOPED_TRACE(file.name);
      const OwnedBlock whole = host::To24Bits(Read(file));
      const OwnedBlock cut = host::To24Bits(host::To16Bits(Read(file)));
      const LockedBlock wholeLock(whole.get());
      const LockedBlock cutLock(cut.get());
      EXPECT_EQ(PixelChecksum(DibView(cutLock.Bytes()), kTopFive),
                PixelChecksum(DibView(wholeLock.Bytes()), kTopFive));
    }
  }
}

}  // namespace
}  // namespace dibkit::test
