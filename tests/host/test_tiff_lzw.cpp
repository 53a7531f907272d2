// SPDX-License-Identifier: Apache-2.0
//
// LZW strips by our own hands, checked against each other and against libtiff.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "formats/tiff/read/lzw_decoder.h"
#include "formats/tiff/write/lzw_encoder.h"
#include "image_pages.h"
#include "loaded_dib.h"
#include "tiff_builder.h"

namespace dibkit::host {
namespace {

using test::Bytes;
using tiff::LzwDecoder;
using tiff::LzwEncoder;

// Bytes of few values, so that strings become long, or of all.
Bytes SomeBytes(size_t size, unsigned values) {
  std::mt19937 random(static_cast<unsigned>(size) + values);
  Bytes bytes(size);
  for (unsigned char& byte : bytes) {
    byte = static_cast<unsigned char>(random() % values);
  }
  return bytes;
}

Bytes Encoded(const Bytes& bytes) {
  LzwEncoder encoder;
  const auto codes = encoder.Encode(bytes);
  return Bytes(codes.begin(), codes.end());
}

TEST(TiffLzw, ThereAndBack) {
  LzwEncoder encoder;
  LzwDecoder decoder;
  for (const unsigned values : {1U, 2U, 5U, 40U, 256U}) {
    for (size_t size = 1; size < 200'000; size = size < 50 ? size + 1 : size * 3 / 2) {
      const Bytes bytes = SomeBytes(size, values);
      Bytes back(size);
      EXPECT_TRUE(decoder.Decode(encoder.Encode(bytes), back));
      EXPECT_EQ(back, bytes) << size << " bytes of " << values << " values";
    }
  }
}

TEST(TiffLzw, WritesNothingBehindTheEnd) {
  LzwDecoder decoder;
  const Bytes codes = Encoded(SomeBytes(500, 3));
  for (size_t size = 1; size <= 500; ++size) {
    // Of its own size, so that a sanitizer sees more.
    Bytes back(size);
    EXPECT_TRUE(decoder.Decode(codes, back));
  }
  Bytes more(501);
  EXPECT_FALSE(decoder.Decode(codes, more));
}

TEST(TiffLzw, CodesThatEndEarlyAreToldOf) {
  LzwDecoder decoder;
  const Bytes codes = Encoded(SomeBytes(3000, 50));
  Bytes back(3000);
  for (size_t size = 0; size + 4 < codes.size(); ++size) {
    EXPECT_FALSE(decoder.Decode(std::span(codes).first(size), back));
  }
}

TEST(TiffLzw, AnyCodesAreBorne) {
  std::mt19937 random(5);
  LzwDecoder decoder;
  for (int turn = 0; turn < 20'000; ++turn) {
    Bytes codes = turn % 2 == 0 ? Encoded(SomeBytes(300, 4)) : SomeBytes(200, 256);
    codes[0] = 0x80;
    for (unsigned i = 0; i < 3; ++i) {
      codes[random() % codes.size()] = static_cast<unsigned char>(random());
    }
    Bytes back(random() % 600 + 1);
    decoder.Decode(codes, back);
  }
}

// As a page of one row, its codes in the strip.
Bytes PageOf(const Bytes& codes, uint32_t width, uint16_t fillOrder) {
  test::TiffPage page = test::PlainPage({width, 1, 8, 1, 1, std::vector<uint32_t>(width)});
  page.Set(259, test::kTiffShort, {5}).Set(266, test::kTiffShort, {fillOrder});
  page.segments[0] = codes;
  return test::TiffBuilder{false, false, {page}, {}}.Build();
}

Bytes RowOf(const Bytes& file) {
  Bytes row;
  for (const uint32_t colour : test::Colours(test::ReadPage(file).dib)) {
    row.push_back(static_cast<unsigned char>(colour));
  }
  return row;
}

Bytes WithBitsReversed(Bytes bytes) {
  for (unsigned char& byte : bytes) {
    unsigned reversed = 0;
    for (unsigned bit = 0; bit < 8; ++bit) {
      reversed |= (unsigned{byte} >> bit & 1U) << (7 - bit);
    }
    byte = static_cast<unsigned char>(reversed);
  }
  return bytes;
}

TEST(TiffLzw, LibtiffReadsTheCodesAsWeDo) {
  for (const unsigned values : {1U, 3U, 256U}) {
    for (const uint32_t size : {1U, 254U, 255U, 256U, 3837U, 3838U, 3839U, 60'000U}) {
      const Bytes bytes = SomeBytes(size, values);
      const Bytes codes = Encoded(bytes);
      EXPECT_EQ(RowOf(PageOf(codes, size, 1)), bytes);
      // The other order of bits is left to libtiff.
      EXPECT_EQ(RowOf(PageOf(WithBitsReversed(codes), size, 2)), bytes) << size;
    }
  }
}

TEST(TiffLzw, TheCodesOfTheFirstWritersAreReadThroughLibtiff) {
  // 9 bits each, the lowest first; the table is cleared before they would grow.
  Bytes codes;
  unsigned bits = 0;
  unsigned count = 0;
  const auto put = [&](unsigned code) {
    bits |= code << count;
    for (count += 9; count >= 8; count -= 8, bits >>= 8) {
      codes.push_back(static_cast<unsigned char>(bits));
    }
  };
  const Bytes bytes = SomeBytes(700, 256);
  for (size_t i = 0; i < bytes.size(); ++i) {
    if (i % 200 == 0) {
      put(256);
    }
    put(bytes[i]);
  }
  put(257);
  put(0);
  EXPECT_EQ(RowOf(PageOf(codes, 700, 1)), bytes);
}

TEST(TiffLzw, DamagedStripsAreToldOf) {
  Bytes codes = Encoded(SomeBytes(900, 256));
  codes.resize(codes.size() / 2);
  EXPECT_EQ(test::FaultOf([&] { test::ReadPage(PageOf(codes, 900, 1)); }), ImageFault::kDamaged);
  EXPECT_EQ(test::FaultOf([&] { test::ReadPage(PageOf(WithBitsReversed(codes), 900, 2)); }),
            ImageFault::kDamaged);
}

}  // namespace
}  // namespace dibkit::host
