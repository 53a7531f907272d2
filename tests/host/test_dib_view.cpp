// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <functional>

#include "bitmap_builder.h"
#include "dibkit/host/dib_view.h"
#include "dibkit/host/errors.h"
#include "dibkit/host/global_memory.h"
#include "dibkit/host/locked_block.h"

namespace dibkit::host {
namespace {

using test::BitmapBuilder;
using test::Bytes;

Bytes Dib(const BitmapBuilder& file) {
  const Bytes bytes = file.Build();
  return Bytes(bytes.begin() + 14, bytes.end());
}

TEST(DibView, ShowsTheImage) {
  BitmapBuilder file;
  file.width = 5;
  Bytes dib = Dib(file);
  const DibView view(dib);
  EXPECT_EQ(view.Width(), 5U);
  EXPECT_EQ(view.Height(), 3U);
  EXPECT_EQ(view.BitCount(), 8);
  EXPECT_EQ(view.Layout().stride, 8U);
  EXPECT_EQ(view.Layout().rowsOffset, 1064U);
  EXPECT_EQ(view.Table().size(), 1024U);
  EXPECT_EQ(view.Row(0)[0], 1);
  EXPECT_EQ(view.Row(2)[0], 17);
  EXPECT_EQ(view.Row(2).size(), 8U);
  EXPECT_EQ(view.Bytes().size(), dib.size());
}

TEST(DibView, StoresTheResolution) {
  Bytes dib = Dib(BitmapBuilder());
  DibView(dib).SetPelsPerMeter(2835, -3);
  EXPECT_EQ(DibView(dib).XPelsPerMeter(), 2835);
  EXPECT_EQ(DibView(dib).YPelsPerMeter(), -3);
}

TEST(DibView, TellsGreyTables) {
  BitmapBuilder file;
  Bytes grey = Dib(file);
  EXPECT_TRUE(DibView(grey).HasGreyTable());
  for (const size_t byte : {0U, 1U, 2U}) {
    Bytes colour = grey;
    colour[40 + 255 * 4 + byte] ^= 1;
    EXPECT_FALSE(DibView(colour).HasGreyTable()) << byte;
  }
  Bytes reserved = grey;
  reserved[43] = 9;
  EXPECT_TRUE(DibView(reserved).HasGreyTable());
  file.bitCount = 24;
  Bytes trueColor = Dib(file);
  EXPECT_FALSE(DibView(trueColor).HasGreyTable());
}

TEST(DibView, TakesAFullTableWithOrWithoutItsCount) {
  BitmapBuilder file;
  file.colorsUsed = 256;
  Bytes dib = Dib(file);
  EXPECT_NO_THROW(DibView{dib});
}

void ExpectUnsound(const std::function<void(BitmapBuilder&)>& spoil) {
  BitmapBuilder file;
  file.pixels = Bytes(1000);
  spoil(file);
  Bytes dib = Dib(file);
  try {
    DibView view(dib);
    ADD_FAILURE() << "accepted";
  } catch (const ImageError& error) {
    EXPECT_EQ(error.Fault(), ImageFault::kUnsoundDib);
  }
}

TEST(DibView, RefusesUnsoundBlocks) {
  ExpectUnsound([](BitmapBuilder& file) { file.headerBytes = 12; });
  ExpectUnsound([](BitmapBuilder& file) { file.headerBytes = 108; });
  ExpectUnsound([](BitmapBuilder& file) { file.width = 0; });
  ExpectUnsound([](BitmapBuilder& file) { file.width = -4; });
  ExpectUnsound([](BitmapBuilder& file) { file.height = 0; });
  ExpectUnsound([](BitmapBuilder& file) { file.height = -3; });
  ExpectUnsound([](BitmapBuilder& file) {
    file.bitCount = 2;
    file.table = Bytes();
  });
  ExpectUnsound([](BitmapBuilder& file) { file.compression = 1; });
  ExpectUnsound([](BitmapBuilder& file) { file.colorsUsed = 8; });
  ExpectUnsound([](BitmapBuilder& file) { file.height = 10'000; });
}

TEST(DibView, RefusesBlocksWithoutRoomForAHeader) {
  Bytes dib = Dib(BitmapBuilder());
  dib.resize(39);
  EXPECT_THROW(DibView{dib}, ImageError);
}

TEST(LockedBlock, HoldsOneLockForItsScope) {
  const OwnedBlock block(GlobalAlloc(GHND, 9));
  {
    const LockedBlock lock(block.get());
    EXPECT_EQ(GlobalFlags(block.get()), 1U);
    EXPECT_EQ(lock.Bytes().size(), 9U);
  }
  EXPECT_EQ(GlobalFlags(block.get()), 0U);
}

TEST(LockedBlock, RefusesHandlesWithoutABlock) {
  for (tagHANDLE* handle : {static_cast<tagHANDLE*>(nullptr), [] {
                              tagHANDLE* freed = GlobalAlloc(GHND, 1);
                              GlobalFree(freed);
                              return freed;
                            }()}) {
    try {
      const LockedBlock lock(handle);
      ADD_FAILURE() << "accepted";
    } catch (const ImageError& error) {
      EXPECT_EQ(error.Fault(), ImageFault::kNoBlock);
    }
  }
}

TEST(DibLayout, DoesNotWrap) {
  EXPECT_EQ(RowStride(0x7FFFFFFF, 32), 0x1FFFFFFFCULL);
  EXPECT_EQ(RowStride(1, 1), 4U);
  EXPECT_EQ(RowStride(33, 1), 8U);
  const DibLayout layout = LayoutOf(0x7FFFFFFF, 0x80000000, 32);
  EXPECT_EQ(layout.rowsBytes, 0x1FFFFFFFCULL * 0x80000000ULL);
  EXPECT_EQ(layout.blockBytes, layout.rowsBytes + 40);
}

}  // namespace
}  // namespace dibkit::host
