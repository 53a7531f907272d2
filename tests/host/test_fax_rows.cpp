// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <random>
#include <string>

#include "bitmap/fax_codes.h"
#include "bitmap/fax_rows.h"
#include "bitmap_builder.h"

namespace dibkit::host {
namespace {

using test::Bytes;

const std::string kEndOfLine = "000000000001";

// Digits as the bits of a stream, filled up with zeros.
Bytes Packed(const std::string& digits) {
  Bytes bytes((digits.size() + 7) / 8);
  for (size_t i = 0; i < digits.size(); ++i) {
    if (digits[i] == '1') {
      bytes[i / 8] = static_cast<unsigned char>(bytes[i / 8] | 0x80 >> i % 8);
    }
  }
  return bytes;
}

struct Decoded {
  FaxOutcome outcome;
  Bytes rows;
};

Decoded Decode(const Bytes& stream, uint32_t width, uint32_t height) {
  Decoded decoded;
  decoded.rows.resize(static_cast<size_t>(test::Stride(width, 1) * height));
  decoded.outcome = DecodeFax(stream, width, height, decoded.rows);
  return decoded;
}

// 16 pixels: 4 white, 3 black, 9 white.
const std::string kRow =
    "1011"
    "10"
    "10100";
const Bytes kRowBytes{0x0E, 0x00, 0, 0};

TEST(FaxCodes, AreFreeOfPrefixesAndLeaveRoomForTheEndOfLine) {
  for (const FaxCodes* codes : {&WhiteFaxCodes(), &BlackFaxCodes()}) {
    size_t free = 0;
    for (const FaxCode code : *codes) {
      EXPECT_LE(code.bits, kMostFaxCodeBits);
      EXPECT_LE(code.run, 2560);
      free += code.bits == 0 ? 1U : 0U;
    }
    EXPECT_GT(free, 0U);
    for (size_t i = 0; i < 4; ++i) {
      EXPECT_EQ((*codes)[i].bits, 0);  // eleven zeros
    }
  }
}

// Each run's code, as many table entries as its length leaves, and no run twice.
TEST(FaxCodes, GiveEveryRunThatThereIsACode) {
  for (const FaxCodes* codes : {&WhiteFaxCodes(), &BlackFaxCodes()}) {
    std::vector<size_t> entries(2561);
    for (const FaxCode code : *codes) {
      if (code.bits != 0) {
        entries[code.run] += size_t{1} << code.bits;
      }
    }
    for (size_t run = 0; run <= 2560; ++run) {
      EXPECT_EQ(entries[run], run < 64 || run % 64 == 0 ? codes->size() : 0U) << run;
    }
  }
}

TEST(FaxRows, AreDecodedWithAndWithoutEndsOfLines) {
  for (const std::string& between : {std::string(), kEndOfLine, "00000" + kEndOfLine}) {
    const auto decoded = Decode(Packed(between + kRow + between + kRow), 16, 2);
    EXPECT_EQ(decoded.outcome.rows, 2U);
    EXPECT_EQ(decoded.outcome.damaged, 0U);
    EXPECT_EQ(Bytes(decoded.rows.begin(), decoded.rows.begin() + 4), kRowBytes);
    EXPECT_EQ(Bytes(decoded.rows.begin() + 4, decoded.rows.end()), kRowBytes);
  }
}

TEST(FaxRows, MayBeginBlackAndBeLongerThanAnyCode) {
  // No white, then 2560 + 2560 + 64 + 7 black.
  const std::string row =
      "00110101"
      "000000011111"
      "000000011111"
      "0000001111"
      "00011";
  const auto decoded = Decode(Packed(row), 5191, 1);
  EXPECT_EQ(decoded.outcome.rows, 1U);
  EXPECT_EQ(decoded.outcome.damaged, 0U);
  for (size_t x = 0; x < 5192; ++x) {
    EXPECT_EQ(decoded.rows[x / 8] >> (7 - x % 8) & 1, x < 5191 ? 1 : 0) << x;
  }
}

TEST(FaxRows, EndWithThePage) {
  std::string stream = kEndOfLine + kRow;
  for (int i = 0; i < 6; ++i) {
    stream += kEndOfLine;
  }
  const auto decoded = Decode(Packed(stream + kRow), 16, 5);
  EXPECT_EQ(decoded.outcome.rows, 1U);
  EXPECT_EQ(decoded.outcome.damaged, 0U);
}

TEST(FaxRows, ThatAreDamagedKeepTheirBeginningAndLoseNoOther) {
  const std::string good = kEndOfLine + kRow;
  for (const std::string& bad : {kEndOfLine + "101110", kEndOfLine + "1011100000000011111111",
                                 kEndOfLine + "101110"
                                              "010100"}) {
    const auto decoded = Decode(Packed(good + bad + good), 16, 3);
    EXPECT_EQ(decoded.outcome.rows, 3U);
    EXPECT_EQ(decoded.outcome.damaged, 1U);
    EXPECT_EQ(decoded.rows[4], 0x0E);
    EXPECT_EQ(Bytes(decoded.rows.begin() + 8, decoded.rows.end()), kRowBytes);
  }
}

TEST(FaxRows, ThatAreLongerThanTheImageAreCut) {
  const auto decoded = Decode(Packed(kEndOfLine + kRow + kEndOfLine + kRow), 6, 2);
  EXPECT_EQ(decoded.outcome.damaged, 2U);
  EXPECT_EQ(decoded.rows, (Bytes{0x0C, 0, 0, 0, 0x0C, 0, 0, 0}));
}

TEST(FaxRows, OfAnyBytesAtAllEnd) {
  std::mt19937 random(3);
  for (int turn = 0; turn < 20000; ++turn) {
    Bytes stream(random() % 60);
    for (unsigned char& byte : stream) {
      // Long runs of zeros too.
      byte = static_cast<unsigned char>(turn % 2 == 0 ? random() : random() & random() & random());
    }
    const uint32_t width = 1 + static_cast<uint32_t>(random() % 70);
    const uint32_t height = 1 + static_cast<uint32_t>(random() % 20);
    const auto decoded = Decode(stream, width, height);
    EXPECT_LE(decoded.outcome.rows, height);
    EXPECT_LE(decoded.outcome.damaged, decoded.outcome.rows);
    const size_t stride = static_cast<size_t>(test::Stride(width, 1));
    for (size_t y = 0; y < height; ++y) {
      for (size_t x = width; x < stride * 8; ++x) {
        ASSERT_EQ(decoded.rows[y * stride + x / 8] >> (7 - x % 8) & 1, 0);
      }
    }
  }
}

}  // namespace
}  // namespace dibkit::host
