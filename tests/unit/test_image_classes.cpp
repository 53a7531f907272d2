// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <type_traits>
#include <vector>

#include "ImgConverter.h"
#include "support/guarded_bytes.h"

namespace dibtest {
namespace {

using Bytes = std::vector<uint8_t>;

constexpr tagRGBQUAD kColor = {1, 2, 3, 4};

Bytes Counting(size_t count) {
  Bytes bytes(count);
  for (size_t i = 0; i < count; ++i) bytes[i] = static_cast<uint8_t>(i);
  return bytes;
}

Bytes Parts(tagRGBQUAD color) {
  return {color.rgbBlue, color.rgbGreen, color.rgbRed, color.rgbReserved};
}

static_assert(!std::has_virtual_destructor_v<CGrayImage>);
static_assert(!std::has_virtual_destructor_v<CColorImage>);
static_assert(std::is_abstract_v<CGrayImage> && std::is_abstract_v<CColorImage>);
static_assert(std::is_trivially_copyable_v<CImgRect>);
static_assert(!std::is_polymorphic_v<CImgParameter> && !std::is_polymorphic_v<CImgBuffer>);

template <typename Image>
class AnyImage : public ::testing::Test {};
using AllImages =
    ::testing::Types<CGray16Image, CGray256Image, CColor16Image, CColor256Image, CFullColorImage>;
TYPED_TEST_SUITE(AnyImage, AllImages);

TYPED_TEST(AnyImage, StartsWithItsBufferAndZeros) {
  unsigned char pixels[4] = {};
  const TypeParam image(pixels, 77);
  EXPECT_EQ(image.m_pBuffer, pixels);
  EXPECT_EQ(image.m_dwSize, 77u);
  for (const uint16_t field :
       {image.m_wTop, image.m_wBottom, image.m_wLeft, image.m_wRight, image.m_wParameter0,
        image.m_wParameter1, image.m_wParameter2, image.m_wParameter3, image.m_wLineBytes}) {
    EXPECT_EQ(field, 0);
  }
}

TYPED_TEST(AnyImage, SettersSetTheirFields) {
  TypeParam image(nullptr, 0);
  image.SetRect(CImgRect(1, 2, 3, 4));
  image.SetLineBytes(65535);
  EXPECT_EQ(image.m_wTop, 1);
  EXPECT_EQ(image.m_wBottom, 2);
  EXPECT_EQ(image.m_wLeft, 3);
  EXPECT_EQ(image.m_wRight, 4);
  EXPECT_EQ(image.m_wLineBytes, 65535);
  EXPECT_EQ(image.m_wParameter3, 0);
}

TEST(ImageRect, StartsAtTheOrigin) {
  const CImgRect rect;
  EXPECT_EQ(rect.m_wTop, 0);
  EXPECT_EQ(rect.m_wBottom, 0);
  EXPECT_EQ(rect.m_wLeft, 0);
  EXPECT_EQ(rect.m_wRight, 0);
}

template <typename Image>
class TripleImage : public ::testing::Test {};
using TripleImages = ::testing::Types<CColor16Image, CColor256Image, CFullColorImage>;
TYPED_TEST_SUITE(TripleImage, TripleImages);

TYPED_TEST(TripleImage, ReadsAPixelOfARow) {
  Bytes row = Counting(9);
  TypeParam image(nullptr, 0);
  EXPECT_EQ(Parts(image.GetRGBQUAD(row.data(), 2)), (Bytes{6, 7, 8, 0}));
}

TYPED_TEST(TripleImage, ReadsByColumnAndByteOffset) {
  GuardedBytes pixels(Counting(24));
  TypeParam image(pixels.data(), 24);
  image.SetLineBytes(12);
  EXPECT_EQ(Parts(image.GetRGBQUAD(1, 1)), (Bytes{4, 5, 6, 0}));
  EXPECT_EQ(Parts(image.GetRGBQUAD(7, 0)), (Bytes{21, 22, 23, 0}));
}

TYPED_TEST(TripleImage, DrawsByColumnAndRow) {
  GuardedBytes pixels(24);
  TypeParam image(pixels.data(), 24);
  image.SetLineBytes(12);
  image.Draw(1, 1, kColor);
  Bytes expected(24, 0);
  expected[15] = 1;
  expected[16] = 2;
  expected[17] = 3;
  EXPECT_EQ(pixels.Copy(), expected);
}

TYPED_TEST(TripleImage, DrawsInTheFirstRowWithoutARowLength) {
  GuardedBytes pixels(6);
  TypeParam image(pixels.data(), 6);
  image.Draw(1, 60000, kColor);
  EXPECT_EQ(pixels.Copy(), (Bytes{0, 0, 0, 1, 2, 3}));
}

TYPED_TEST(TripleImage, FillsARectangle) {
  GuardedBytes pixels(48);
  TypeParam image(pixels.data(), 48);
  image.SetLineBytes(16);
  image.Draw(CImgRect(2, 2, 1, 3), kColor);
  Bytes expected(48, 0);
  for (size_t x = 1; x <= 3; ++x) {
    for (size_t i = 0; i < 3; ++i) expected[32 + 3 * x + i] = static_cast<uint8_t>(i + 1);
  }
  EXPECT_EQ(pixels.Copy(), expected);
}

TYPED_TEST(TripleImage, FarPixels) {
  const size_t bytes = 65535 * 3 + 65535 * 3 + 3;
  GuardedBytes pixels(bytes);
  TypeParam image(pixels.data(), static_cast<uint32_t>(bytes));
  image.SetLineBytes(3);
  image.Draw(65535, 65535, kColor);
  EXPECT_EQ(pixels[bytes - 3], 1);
  EXPECT_EQ(pixels[bytes - 1], 3);
}

TEST(Gray256Image, ReadsAndDrawsByRow) {
  GuardedBytes pixels(Counting(24));
  CGray256Image image(pixels.data(), 24);
  EXPECT_EQ(image.GetGrayScale(2, 1), 2);
  image.SetLineBytes(12);
  EXPECT_EQ(image.GetGrayScale(2, 1), 14);
  EXPECT_EQ(image.GetGrayScale(pixels.data() + 5, 3), 8);
  image.Draw(11, 1, 200);
  EXPECT_EQ(pixels[23], 200);
  Bytes expected = Counting(24);
  expected[23] = 200;
  EXPECT_EQ(pixels.Copy(), expected);
}

TEST(Gray256Image, FillsARectangle) {
  GuardedBytes pixels(12);
  CGray256Image image(pixels.data(), 12);
  image.SetLineBytes(4);
  image.Draw(CImgRect(1, 2, 2, 3), 9);
  EXPECT_EQ(pixels.Copy(), (Bytes{0, 0, 0, 0, 0, 0, 9, 9, 0, 0, 9, 9}));
}

TEST(Gray16Image, TouchesNothing) {
  GuardedBytes pixels(Counting(8));
  pixels.MakeReadOnly();
  CGray16Image image(pixels.data(), 8);
  image.SetLineBytes(4);
  EXPECT_EQ(image.GetGrayScale(3, 1), 0);
  EXPECT_EQ(image.GetGrayScale(pixels.data(), 3), 0);
  EXPECT_EQ(image.GetGrayScale(static_cast<unsigned char*>(nullptr), 3), 0);
  image.Draw(1, 1, 99);
  image.Draw(CImgRect(0, 1, 0, 3), 99);
  EXPECT_EQ(pixels.Copy(), Counting(8));
}

// The base classes have no virtual destructor by design.
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

// What a host may derive: its rule for one pixel governs the fill.
template <typename Base, typename Value>
class Recorder : public Base {
 public:
  Recorder() : Base(nullptr, 0) {}
  using Base::Draw;
  void Draw(unsigned short x, unsigned short y, Value) override { m_drawn.push_back({x, y}); }
  std::vector<std::pair<unsigned, unsigned>> m_drawn;
};

using Points = std::vector<std::pair<unsigned, unsigned>>;

template <typename Base, typename Value>
void ExpectWalks(Value value) {
  Recorder<Base, Value> image;
  image.Draw(CImgRect(1, 2, 5, 7), value);
  EXPECT_EQ(image.m_drawn, (Points{{5, 1}, {6, 1}, {7, 1}, {5, 2}, {6, 2}, {7, 2}}));
  image.m_drawn.clear();
  image.Draw(CImgRect(3, 3, 9, 9), value);
  EXPECT_EQ(image.m_drawn, (Points{{9, 3}}));
  image.m_drawn.clear();
  image.Draw(CImgRect(2, 1, 0, 9), value);
  image.Draw(CImgRect(1, 2, 9, 8), value);
  EXPECT_EQ(image.m_drawn, Points{});
}

TEST(ImageRectangles, GoThroughTheDrawOperationOfTheObject) {
  ExpectWalks<CGray16Image>(static_cast<unsigned char>(1));
  ExpectWalks<CGray256Image>(static_cast<unsigned char>(1));
  ExpectWalks<CColor16Image>(kColor);
  ExpectWalks<CColor256Image>(kColor);
  ExpectWalks<CFullColorImage>(kColor);
}

// Stops the walk that would not end.
class Stopping : public CGray256Image {
 public:
  Stopping() : CGray256Image(nullptr, 0) {}
  using CGray256Image::Draw;
  void Draw(unsigned short x, unsigned short y, unsigned char) override {
    m_drawn.push_back({x, y});
    if (m_drawn.size() == 4) throw 0;
  }
  Points m_drawn;
};

TEST(ImageRectangles, ABoundOf65535WrapsAround) {
  Stopping columns;
  EXPECT_THROW(columns.Draw(CImgRect(0, 0, 65534, 65535), 1), int);
  EXPECT_EQ(columns.m_drawn, (Points{{65534, 0}, {65535, 0}, {0, 0}, {1, 0}}));
  Stopping rows;
  EXPECT_THROW(rows.Draw(CImgRect(65534, 65535, 7, 7), 1), int);
  EXPECT_EQ(rows.m_drawn, (Points{{7, 65534}, {7, 65535}, {7, 0}, {7, 1}}));
}

// Reading by column and row goes through the read of a row, which a host may replace too.
class Inverted : public CFullColorImage {
 public:
  using CFullColorImage::CFullColorImage;
  using CFullColorImage::GetRGBQUAD;
  tagRGBQUAD GetRGBQUAD(unsigned char* row, unsigned short x) override {
    return {static_cast<uint8_t>(255 - row[3 * x]), 0, 0, 0};
  }
};

TEST(ImageReads, GoThroughTheReadOfARow) {
  Bytes pixels = Counting(9);
  Inverted image(pixels.data(), 9);
  EXPECT_EQ(static_cast<CColorImage&>(image).GetRGBQUAD(1, 2).rgbBlue, 250);
}

// The table of virtual operations, by place, as a host built elsewhere calls it.
template <typename Object>
void* Slot(Object& object, size_t place) {
  void** table = *reinterpret_cast<void***>(&object);
  return table[place];
}

TEST(ImageSlots, FollowTheDeclaredOrder) {
  Bytes pixels = Counting(12);
  CGray256Image gray(pixels.data(), 12);
  gray.SetLineBytes(4);
  using ReadRow = unsigned char (*)(CGray256Image*, unsigned char*, unsigned short);
  using Read = unsigned char (*)(CGray256Image*, unsigned short, unsigned short);
  using Write = void (*)(CGray256Image*, unsigned short, unsigned short, unsigned char);
  using Fill = void (*)(CGray256Image*, CImgRect, unsigned char);
  EXPECT_EQ(reinterpret_cast<ReadRow>(Slot(gray, 0))(&gray, pixels.data(), 3), 3);
  EXPECT_EQ(reinterpret_cast<Read>(Slot(gray, 1))(&gray, 3, 1), 7);
  reinterpret_cast<Write>(Slot(gray, 2))(&gray, 0, 1, 99);
  reinterpret_cast<Fill>(Slot(gray, 3))(&gray, CImgRect(2, 2, 0, 1), 98);
  EXPECT_EQ(pixels, (Bytes{0, 1, 2, 3, 99, 5, 6, 7, 98, 98, 10, 11}));
}

}  // namespace
}  // namespace dibtest
