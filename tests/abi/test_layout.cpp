// SPDX-License-Identifier: Apache-2.0
//
// Sizes and places of fields. Hosts were compiled against them: on i386 they are fixed to the byte,
// elsewhere the order is.
#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <vector>

#include "AutoClass.h"
#include "Cnv_res_mem.h"
#include "DIBHelp.h"
#include "NiGoRo2.h"

// CHandle has a virtual destructor; where its fields stand is well defined with this compiler.
#pragma GCC diagnostic ignored "-Winvalid-offsetof"

namespace {

struct Field {
  std::string name;
  size_t offset;
  size_t i386Offset;
};

#define FIELD(type, member, i386) \
  Field { #member, offsetof(type, member), i386 }

void ExpectLayout(const std::vector<Field>& fields, [[maybe_unused]] size_t size,
                  [[maybe_unused]] size_t i386Size) {
  for (size_t i = 1; i < fields.size(); ++i) {
    EXPECT_LT(fields[i - 1].offset, fields[i].offset) << fields[i].name;
  }
#if defined(__i386__)
  for (const Field& field : fields) EXPECT_EQ(field.offset, field.i386Offset) << field.name;
  EXPECT_EQ(size, i386Size);
#endif
}

static_assert(sizeof(tagRGBQUAD) == 4);
static_assert(sizeof(tagRGBTRIPLE) == 3);
static_assert(sizeof(BITMAPINFOHEADER) == 40);
static_assert(sizeof(BITMAPCOREHEADER) == 12);
static_assert(sizeof(CColorTrans2) == 12);
static_assert(sizeof(CCube2) == 28);
static_assert(sizeof(CPosition) == 16);

TEST(Layout, PublishedRecords) {
  EXPECT_EQ(offsetof(tagRGBQUAD, rgbBlue), 0u);
  EXPECT_EQ(offsetof(tagRGBQUAD, rgbGreen), 1u);
  EXPECT_EQ(offsetof(tagRGBQUAD, rgbRed), 2u);
  EXPECT_EQ(offsetof(tagRGBQUAD, rgbReserved), 3u);
  EXPECT_EQ(offsetof(tagRGBTRIPLE, rgbtBlue), 0u);
  EXPECT_EQ(offsetof(tagRGBTRIPLE, rgbtRed), 2u);
  EXPECT_EQ(offsetof(BITMAPINFOHEADER, biWidth), 4u);
  EXPECT_EQ(offsetof(BITMAPINFOHEADER, biHeight), 8u);
  EXPECT_EQ(offsetof(BITMAPINFOHEADER, biPlanes), 12u);
  EXPECT_EQ(offsetof(BITMAPINFOHEADER, biBitCount), 14u);
  EXPECT_EQ(offsetof(BITMAPINFOHEADER, biCompression), 16u);
  EXPECT_EQ(offsetof(BITMAPINFOHEADER, biSizeImage), 20u);
  EXPECT_EQ(offsetof(BITMAPINFOHEADER, biXPelsPerMeter), 24u);
  EXPECT_EQ(offsetof(BITMAPINFOHEADER, biYPelsPerMeter), 28u);
  EXPECT_EQ(offsetof(BITMAPINFOHEADER, biClrUsed), 32u);
  EXPECT_EQ(offsetof(BITMAPINFOHEADER, biClrImportant), 36u);
  EXPECT_EQ(offsetof(BITMAPCOREHEADER, bcWidth), 4u);
  EXPECT_EQ(offsetof(BITMAPCOREHEADER, bcHeight), 6u);
  EXPECT_EQ(offsetof(BITMAPCOREHEADER, bcBitCount), 10u);
}

TEST(Layout, Handle) {
  ExpectLayout(
      {FIELD(CHandle, m_hHandle, 4), FIELD(CHandle, m_pData, 8), FIELD(CHandle, m_bLocked, 12)},
      sizeof(CHandle), 16);
  EXPECT_EQ(offsetof(CHandle, m_hHandle), sizeof(void*)) << "behind the virtual table's address";
}

TEST(Layout, ByteSink) {
  ExpectLayout({FIELD(CBufTransfer, m_hHandle, 0), FIELD(CBufTransfer, m_iFile, 4),
                FIELD(CBufTransfer, m_pData, 8), FIELD(CBufTransfer, m_wKind, 12),
                FIELD(CBufTransfer, m_dwPosition, 16)},
               sizeof(CBufTransfer), 20);
}

TEST(Layout, Position) {
  ExpectLayout({FIELD(CPosition, fraction, 0), FIELD(CPosition, leftColumn, 8),
                FIELD(CPosition, rightColumn, 10), FIELD(CPosition, leftByte, 12),
                FIELD(CPosition, rightByte, 14)},
               sizeof(CPosition), 16);
}

TEST(Layout, Engine) {
  using E = CLinearTransformMem;
  ExpectLayout({FIELD(E, m_wMode, 0),
                FIELD(E, m_iThreshold, 4),
                FIELD(E, m_ColorTable, 8),
                FIELD(E, m_Histogram, 1032),
                FIELD(E, m_dScaleX, 2056),
                FIELD(E, m_dScaleY, 2064),
                FIELD(E, m_pProgress, 2072),
                FIELD(E, m_hSourceRows, 2076),
                FIELD(E, m_hOutputRow, 2080),
                FIELD(E, m_pSourceRowA, 2084),
                FIELD(E, m_pSourceRowB, 2088),
                FIELD(E, m_pOutputRow, 2092),
                FIELD(E, m_Columns, 2096),
                FIELD(E, m_pSource, 2108),
                FIELD(E, m_wSourceBitsOffset, 2112),
                FIELD(E, m_wSourceResolutionX, 2114),
                FIELD(E, m_wSourceResolutionY, 2116),
                FIELD(E, m_dwSourceRowBytes, 2120),
                FIELD(E, m_wSourceWidth, 2124),
                FIELD(E, m_wSourceHeight, 2126),
                FIELD(E, m_wSourceBitCount, 2128),
                FIELD(E, m_wKind, 2130),
                FIELD(E, m_pDestination, 2132),
                FIELD(E, m_wOutputBitsOffset, 2136),
                FIELD(E, m_wOutputResolutionX, 2138),
                FIELD(E, m_wOutputResolutionY, 2140),
                FIELD(E, m_dwOutputRowBytes, 2144),
                FIELD(E, m_wOutputWidth, 2148),
                FIELD(E, m_wOutputHeight, 2150),
                FIELD(E, m_wOutputBitCount, 2152),
                FIELD(E, m_wOutputKind, 2154)},
               sizeof(E), 2156);
}

TEST(Layout, OctreeNode) {
  ExpectLayout({FIELD(CCube2, lSumRed, 0), FIELD(CCube2, lSumGreen, 4), FIELD(CCube2, lSumBlue, 8),
                FIELD(CCube2, lColorCount, 12), FIELD(CCube2, lPassCount, 16),
                FIELD(CCube2, byChildren, 20), FIELD(CCube2, iFixed, 24)},
               sizeof(CCube2), 28);
}

TEST(Layout, PaletteEntryAndSearchCell) {
  ExpectLayout(
      {FIELD(CColorTrans2, rgb, 0), FIELD(CColorTrans2, lDenom, 4), FIELD(CColorTrans2, lIndex, 8)},
      sizeof(CColorTrans2), 12);
  ExpectLayout({FIELD(CSearchCell, lCount, 0), FIELD(CSearchCell, pList, 4)}, sizeof(CSearchCell),
               8);
}

TEST(Layout, Quantizer) {
  using Q = CNiGoRo2;
  ExpectLayout({FIELD(Q, m_pTree, 0), FIELD(Q, m_wDepth, 4), FIELD(Q, m_pBits, 8),
                FIELD(Q, m_bih, 12), FIELD(Q, m_wMaxColors, 52), FIELD(Q, m_ColorTrans, 56),
                FIELD(Q, m_SearchCube, 3128), FIELD(Q, m_pDefaultColors, 7224),
                FIELD(Q, m_lColorNum, 7228), FIELD(Q, m_lDefaultColorNum, 7232),
                FIELD(Q, m_iPaletteMode, 7236), FIELD(Q, m_wLinearSearch, 7240)},
               sizeof(Q), 7244);
  // Bit-field sources are read with the three words behind the header copy as masks.
  EXPECT_EQ(offsetof(Q, m_wMaxColors), offsetof(Q, m_bih) + 40);
  EXPECT_EQ(offsetof(Q, m_ColorTrans), offsetof(Q, m_bih) + 44);
}

TEST(Layout, StatusCodesAndModeBits) {
  EXPECT_EQ(CNV_OK, 0);
  EXPECT_EQ(CNV_CANCELLED, 1);
  EXPECT_EQ(CNV_NO_MEMORY, 2);
  EXPECT_EQ(CNV_SOURCE_UNREADABLE, 5);
  EXPECT_EQ(CNV_HEADER_NOT_WRITTEN, 6);
  EXPECT_EQ(CNV_NO_SOURCE, 10);
  EXPECT_EQ(CNV_BAD_SOURCE, 11);
  EXPECT_EQ(TRANSFORM_SRC_FILE, 0x01);
  EXPECT_EQ(TRANSFORM_SRC_MEMORY, 0x02);
  EXPECT_EQ(TRANSFORM_DST_FILE, 0x10);
  EXPECT_EQ(TRANSFORM_DST_MEMORY, 0x20);
  EXPECT_EQ(GHND, 0x42u);
}

}  // namespace
