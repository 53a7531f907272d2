// SPDX-License-Identifier: Apache-2.0
//
// A page as it is handed to a recogniser: where it lies when its layout allows that.
#include <gtest/gtest.h>

#include "bitmap_builder.h"
#include "dibkit/host/page_error.h"
#include "handed_rows.h"

namespace ocr {
namespace {

using dibkit::host::Page;
using dibkit::host::PageError;
using dibkit::host::PageRows;
using dibkit::test::BitmapBuilder;
using dibkit::test::Bytes;

// The first `count` bytes of row `y` from the top as a recogniser finds them.
Bytes Handed(const HandedRows& rows, int y, int count) {
  const unsigned char* row = rows.TopRow() + static_cast<ptrdiff_t>(y) * rows.BytesPerLine();
  return {row, row + count};
}

Page Bilevel(const Bytes& table) {
  BitmapBuilder file;
  file.bitCount = 1;
  file.width = 8;
  file.height = 2;
  file.table = table;
  file.pixels = Bytes{0x0F, 0, 0, 0, 0xA0, 0, 0, 0};
  return Page::FromBytes(file.Build());
}

TEST(HandedRows, GreyPagesAreNotCopied) {
  const Page page = Page::FromBytes(BitmapBuilder{}.Build());
  const PageRows rows = page.Rows();
  const HandedRows handed(rows);
  EXPECT_FALSE(handed.IsCopy());
  EXPECT_EQ(handed.TopRow(), rows.Row(0).data());
  EXPECT_EQ(handed.BytesPerPixel(), 1);
  EXPECT_EQ(handed.BytesPerLine(), -4);
  for (int y = 0; y < 3; ++y) {
    const auto row = rows.Row(static_cast<uint32_t>(y));
    EXPECT_EQ(Handed(handed, y, 4), Bytes(row.begin(), row.end()));
  }
}

TEST(HandedRows, WhiteAsOneIsNotCopied) {
  const Page page = Bilevel({0, 0, 0, 0, 255, 255, 255, 0});
  const PageRows rows = page.Rows();
  const HandedRows handed(rows);
  EXPECT_FALSE(handed.IsCopy());
  EXPECT_EQ(handed.BytesPerPixel(), 0);
  EXPECT_EQ(Handed(handed, 0, 1), Bytes{0xA0});
  EXPECT_EQ(Handed(handed, 1, 1), Bytes{0x0F});
}

TEST(HandedRows, BlackAsOneIsTurned) {
  const Page page = Bilevel({255, 255, 255, 0, 0, 0, 0, 0});
  const PageRows rows = page.Rows();
  const HandedRows handed(rows);
  EXPECT_TRUE(handed.IsCopy());
  EXPECT_EQ(handed.BytesPerPixel(), 0);
  EXPECT_EQ(Handed(handed, 0, 1), Bytes{0x5F});
  EXPECT_EQ(Handed(handed, 1, 1), Bytes{0xF0});
}

TEST(HandedRows, ColoursComeInTheOrderOfTheRecogniser) {
  BitmapBuilder file;
  file.bitCount = 24;
  file.width = 2;
  file.height = 2;
  file.pixels = Bytes{1, 2, 3, 4, 5, 6, 0, 0, 11, 12, 13, 14, 15, 16, 0, 0};
  const Page page = Page::FromBytes(file.Build());
  const PageRows rows = page.Rows();
  const HandedRows handed(rows);
  EXPECT_EQ(handed.BytesPerPixel(), 3);
  EXPECT_EQ(Handed(handed, 0, 6), (Bytes{13, 12, 11, 16, 15, 14}));
  EXPECT_EQ(Handed(handed, 1, 6), (Bytes{3, 2, 1, 6, 5, 4}));
}

TEST(HandedRows, OtherDepthsAreRefused) {
  BitmapBuilder file;
  file.bitCount = 16;
  const Page page = Page::FromBytes(file.Build());
  const PageRows rows = page.Rows();
  EXPECT_THROW(HandedRows{rows}, PageError);
}

}  // namespace
}  // namespace ocr
