// SPDX-License-Identifier: Apache-2.0
#include <climits>

#include "ImgConverter.h"
#include "support/dib.h"
#include "support/guarded_bytes.h"
#include "support/host_test.h"

namespace dibtest {
namespace {

using Bytes = std::vector<uint8_t>;

// A converter over a header and a table that each stand against an inaccessible page.
class Source {
 public:
  Source(int32_t width, int32_t height, uint16_t bits, size_t entries = 0)
      : m_header(HeaderOf(width, height, bits)), m_table(entries * 4) {
    m_header.MakeReadOnly();
    converter = CImgConverter(nullptr, reinterpret_cast<BITMAPINFOHEADER*>(m_header.data()),
                              reinterpret_cast<tagRGBQUAD*>(m_table.data()), nullptr);
  }

  unsigned char& TableByte(size_t index) { return m_table[index]; }

  CImgConverter converter;

 private:
  static Bytes HeaderOf(int32_t width, int32_t height, uint16_t bits) {
    DibShape shape{.bits = bits, .tableEntries = 0, .rowBytes = 0};
    Dib dib(shape);
    dib.Set32(4, static_cast<uint32_t>(width));
    dib.Set32(8, static_cast<uint32_t>(height));
    return dib.Bytes();
  }

  GuardedBytes m_header;
  GuardedBytes m_table;
};

class ImageConverter : public HostTest {};

TEST_F(ImageConverter, ConstructorsFillTheFields) {
  CImgConverter empty;
  EXPECT_EQ(empty.m_hSource, nullptr);
  EXPECT_EQ(empty.m_pHeader, nullptr);
  EXPECT_EQ(empty.m_pColors, nullptr);
  EXPECT_EQ(empty.m_pBits, nullptr);
  int handle = 0;
  BITMAPINFOHEADER header{};
  tagRGBQUAD table{};
  unsigned char bits = 0;
  CImgConverter full(reinterpret_cast<tagHANDLE*>(&handle), &header, &table, &bits);
  EXPECT_EQ(full.m_hSource, reinterpret_cast<tagHANDLE*>(&handle));
  EXPECT_EQ(full.m_pHeader, &header);
  EXPECT_EQ(full.m_pColors, &table);
  EXPECT_EQ(full.m_pBits, &bits);
}

TEST_F(ImageConverter, Sizes) {
  struct Case {
    int32_t width;
    int32_t height;
    uint32_t gray;
    uint32_t color;
  };
  for (const Case& c :
       {Case{100, 10, 2064, 3040}, Case{1, 1, 1068, 44}, Case{0, 5, 1064, 40},
        Case{5, 2, 8 * 2 + 1064, 16 * 2 + 40}, Case{3, -1, 1060, 28},
        // Row lengths of 65,536 and of 70,000: cut to 16 bits.
        Case{65536, 3, 1064, 40}, Case{70000, 1, 4464 + 1064, 13392 + 40},
        // A row of -5 bytes: -4 after rounding, 65,532 in 16 bits.
        Case{-5, 1, 65532 + 1064, 65524 + 40},
        // 8 x width does not fit 32 bits.
        Case{INT_MAX, 1, 1064, 40}, Case{0x10000000, 1, 4 + 1064, 4 + 40},
        Case{4, INT_MIN, 1064, 40}, Case{100, INT_MAX, 0xFFFFFF9C + 1064, 0xFFFFFED4 + 40}}) {
    Source source(c.width, c.height, 8);
    EXPECT_EQ(source.converter.GetGray256ImageSize(), c.gray) << c.width << " x " << c.height;
    EXPECT_EQ(source.converter.GetFullColorImageSize(), c.color) << c.width << " x " << c.height;
  }
}

TEST_F(ImageConverter, HeaderAtAnOddAddress) {
  Dib dib({.width = 100, .height = 10, .bits = 8});
  Bytes shifted(1, 0);
  shifted.insert(shifted.end(), dib.Bytes().begin(), dib.Bytes().end());
  CImgConverter converter(nullptr, nullptr, nullptr, nullptr);
  void* header = shifted.data() + 1;
  converter.m_pHeader = static_cast<BITMAPINFOHEADER*>(header);
  EXPECT_EQ(converter.GetGray256ImageSize(), 2064u);
}

TEST_F(ImageConverter, ColorMapOfOtherDepthsIsNotAsked) {
  for (const uint16_t bits : std::initializer_list<uint16_t>{0, 1, 2, 16, 24, 32}) {
    Source source(1, 1, bits);
    int gray = 55;
    EXPECT_EQ(source.converter.CheckColorMap(gray), 0);
    EXPECT_EQ(gray, 55);
  }
}

TEST_F(ImageConverter, ColorMapIsGrayOnlyWithoutAnyColor) {
  for (const uint16_t bits : std::initializer_list<uint16_t>{4, 8}) {
    const size_t entries = size_t{1} << bits;
    Source source(1, 1, bits, entries);
    for (size_t i = 0; i < entries * 4; ++i) {
      // The reserved byte may be anything.
      source.TableByte(i) = static_cast<uint8_t>(i % 4 == 3 ? 255 - i : i / 4);
    }
    int gray = 55;
    EXPECT_EQ(source.converter.CheckColorMap(gray), 1);
    EXPECT_EQ(gray, 1);
    for (const size_t entry : {size_t{0}, entries - 1}) {
      for (size_t channel = 0; channel < 3; ++channel) {
        unsigned char& byte = source.TableByte(4 * entry + channel);
        byte ^= 1;
        gray = 55;
        EXPECT_EQ(source.converter.CheckColorMap(gray), 1);
        EXPECT_EQ(gray, 0);
        byte ^= 1;
      }
    }
  }
}

TEST_F(ImageConverter, ColorMapStopsAtTheFirstColor) {
  // Only one entry can be read; it has a colour.
  Source source(1, 1, 8, 1);
  source.TableByte(2) = 1;
  int gray = 55;
  EXPECT_EQ(source.converter.CheckColorMap(gray), 1);
  EXPECT_EQ(gray, 0);
}

TEST_F(ImageConverter, MakesEmptyBlocksOfTheRightSize) {
  tagHANDLE* image = GlobalAlloc(GHND, 12);
  for (const uint16_t bits : std::initializer_list<uint16_t>{1, 2, 4, 8, 16, 24, 32}) {
    for (const bool colored : {false, true}) {
      Source source(100, 10, bits, bits == 4 || bits == 8 ? size_t{1} << bits : 0);
      if (colored && (bits == 4 || bits == 8)) source.TableByte(0) = 1;
      source.converter.m_hSource = image;
      const size_t before = ReadHost().sizeCalls;

      tagHANDLE* gray = image;
      EXPECT_EQ(source.converter.MakeGray256Image(gray), 0);
      tagHANDLE* color = image;
      EXPECT_EQ(source.converter.MakeFullColorImage(color), 0);
      const bool asked = bits == 4 || bits == 8 || bits == 24;
      EXPECT_EQ(ReadHost().sizeCalls - before, asked ? 1u : 0u) << bits;

      for (tagHANDLE* block : {gray, color}) EXPECT_EQ(LockCount(block), 0u);
      EXPECT_EQ(BytesOf(gray), Bytes(2064, 0));
      EXPECT_EQ(BytesOf(color), Bytes(3040, 0));
      GlobalFree(gray);
      GlobalFree(color);
    }
  }
  GlobalFree(image);
}

TEST_F(ImageConverter, WithoutMemoryTheBlockIsNull) {
  Source source(100, 10, 24);
  for (auto make : {&CImgConverter::MakeGray256Image, &CImgConverter::MakeFullColorImage}) {
    ArmFault(Fault::kGlobalAlloc, 1);
    tagHANDLE* out = reinterpret_cast<tagHANDLE*>(&source);
    EXPECT_EQ((source.converter.*make)(out), 0);
    EXPECT_EQ(out, nullptr);
    EXPECT_TRUE(DisarmFault(Fault::kGlobalAlloc));
  }
  EXPECT_EQ(ReadHost().sizeCalls, 0u);
}

TEST_F(ImageConverter, WithoutMemoryForTheObjectTheBlockIsThere) {
  tagHANDLE* image = GlobalAlloc(GHND, 12);
  Source source(100, 10, 24);
  source.converter.m_hSource = image;
  FailEach(Fault::kNew, [&](FaultRun& run) {
    tagHANDLE* out = nullptr;
    EXPECT_EQ(run.Call([&] { return source.converter.MakeGray256Image(out); }), 0);
    // The host's own records may be what had no memory.
    if (out != nullptr) {
      EXPECT_EQ(BytesOf(out), Bytes(2064, 0));
    }
    GlobalFree(out);
  });
  GlobalFree(image);
}

}  // namespace
}  // namespace dibtest
