// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <random>

#include "bitmap_builder.h"
#include "formats/exif.h"
#include "formats/page_texts.h"

namespace dibkit::host {
namespace {

using test::Bytes;

struct Field {
  uint16_t tag;
  uint16_t type;
  uint32_t count;
  Bytes value;  // in the order of the block, of any length
};

void Put(Bytes& bytes, uint64_t value, int count, bool bigEndian) {
  for (int i = 0; i < count; ++i) {
    const int shift = 8 * (bigEndian ? count - 1 - i : i);
    bytes.push_back(static_cast<unsigned char>(value >> shift));
  }
}

Bytes Value(uint64_t value, int count, bool bigEndian) {
  Bytes bytes;
  Put(bytes, value, count, bigEndian);
  return bytes;
}

// A block with its directory behind the header, then the values that do not fit.
Bytes Block(bool bigEndian, const std::vector<Field>& fields) {
  Bytes block(2, bigEndian ? 'M' : 'I');
  Put(block, 42, 2, bigEndian);
  Put(block, 8, 4, bigEndian);
  Put(block, fields.size(), 2, bigEndian);
  Bytes values;
  const size_t valuesBegin = 8 + 2 + fields.size() * 12 + 4;
  for (const Field& field : fields) {
    Put(block, field.tag, 2, bigEndian);
    Put(block, field.type, 2, bigEndian);
    Put(block, field.count, 4, bigEndian);
    if (field.value.size() <= 4) {
      block.insert(block.end(), field.value.begin(), field.value.end());
      block.resize(block.size() + 4 - field.value.size());
    } else {
      Put(block, valuesBegin + values.size(), 4, bigEndian);
      values.insert(values.end(), field.value.begin(), field.value.end());
    }
  }
  Put(block, 0, 4, bigEndian);
  block.insert(block.end(), values.begin(), values.end());
  return block;
}

Field Ascii(uint16_t tag, const std::string& text) {
  Bytes value(text.begin(), text.end());
  value.push_back(0);
  return {tag, 2, static_cast<uint32_t>(value.size()), value};
}

Field Short(uint16_t tag, uint16_t value, bool bigEndian) {
  return {tag, 3, 1, Value(value, 2, bigEndian)};
}

Field Fraction(uint16_t tag, uint32_t numerator, uint32_t denominator, bool bigEndian) {
  Bytes value = Value(numerator, 4, bigEndian);
  Put(value, denominator, 4, bigEndian);
  return {tag, 5, 1, value};
}

TEST(Exif, IsReadInBothByteOrders) {
  for (const bool bigEndian : {false, true}) {
    const ExifBlock exif = ReadExif(Block(
        bigEndian,
        {Ascii(270, "A page"), Ascii(271, "Us"), Short(274, 6, bigEndian),
         Fraction(282, 1181102, 10000, bigEndian), Fraction(283, 4294967295U, 3, bigEndian),
         Short(296, 3, bigEndian), Ascii(305, "Scanner 1.0"), Ascii(306, "2024:01:02 03:04:05"),
         Ascii(315, "Somebody"), Ascii(316, "pc"), Ascii(33432, "Nobody")}));
    EXPECT_EQ(exif.orientation, 6U);
    EXPECT_EQ(exif.resolution,
              (Resolution{ResolutionUnit::kCentimetre, {1181102, 10000}, {4294967295U, 3}}));
    EXPECT_EQ(exif.texts, (std::vector<PageText>{{TextKind::kDescription, "A page"},
                                                 {TextKind::kMake, "Us"},
                                                 {TextKind::kSoftware, "Scanner 1.0"},
                                                 {TextKind::kDateTime, "2024:01:02 03:04:05"},
                                                 {TextKind::kArtist, "Somebody"},
                                                 {TextKind::kHostComputer, "pc"},
                                                 {TextKind::kCopyright, "Nobody"}}));
  }
}

TEST(Exif, ReadsLongOrientations) {
  EXPECT_EQ(ReadExif(Block(false, {{274, 4, 1, Value(3, 4, false)}})).orientation, 3U);
  EXPECT_EQ(ReadExif(Block(true, {{274, 4, 1, Value(3, 4, true)}})).orientation, 3U);
}

TEST(Exif, AnOrientationThatThereIsNotIsUpright) {
  for (const uint16_t value : std::initializer_list<uint16_t>{0, 9, 65535}) {
    EXPECT_EQ(ReadExif(Block(false, {Short(274, value, false)})).orientation, 1U);
  }
  EXPECT_EQ(ReadExif(Block(false, {{274, 2, 2, {6, 0}}})).orientation, 1U);
}

TEST(Exif, AResolutionWithoutAUnitIsInInches) {
  const ExifBlock exif =
      ReadExif(Block(false, {Fraction(282, 300, 1, false), Fraction(283, 150, 1, false)}));
  EXPECT_EQ(exif.resolution, (Resolution{ResolutionUnit::kInch, {300, 1}, {150, 1}}));
}

TEST(Exif, AResolutionThatIsNoneIsNone) {
  const auto unitOf = [](const std::vector<Field>& fields) {
    return ReadExif(Block(false, fields)).resolution.unit;
  };
  const Field x = Fraction(282, 300, 1, false);
  const Field y = Fraction(283, 300, 1, false);
  EXPECT_EQ(unitOf({x, y, Short(296, 1, false)}), ResolutionUnit::kNone);
  EXPECT_EQ(unitOf({x}), ResolutionUnit::kNone);
  EXPECT_EQ(unitOf({x, Fraction(283, 0, 1, false)}), ResolutionUnit::kNone);
  EXPECT_EQ(unitOf({x, Fraction(283, 300, 0, false)}), ResolutionUnit::kNone);
  EXPECT_EQ(unitOf({x, Short(283, 300, false)}), ResolutionUnit::kNone);
}

TEST(Exif, TextsEndAtTheirFirstZeroByteAndBlankOnesAreNone) {
  const ExifBlock exif = ReadExif(
      Block(false, {Ascii(270, "    "), Ascii(271, std::string("one\0two", 7)), Ascii(272, "")}));
  EXPECT_EQ(exif.texts, (std::vector<PageText>{{TextKind::kMake, "one"}}));
}

TEST(Exif, TheFirstOfTwoTextsCounts) {
  const ExifBlock exif = ReadExif(Block(false, {Ascii(270, "first"), Ascii(270, "second")}));
  EXPECT_EQ(exif.texts, (std::vector<PageText>{{TextKind::kDescription, "first"}}));
}

TEST(Exif, OtherBytesSayNothing) {
  for (const Bytes& block :
       {Bytes{}, Bytes(7), Bytes(100), Bytes{'I', 'I', 42, 0},
        Bytes{'I', 'M', 42, 0, 8, 0, 0, 0, 1, 0}, Bytes{'I', 'I', 43, 0, 8, 0, 0, 0, 1, 0},
        Bytes{'I', 'I', 42, 0, 8, 0, 0, 0, 255},
        Bytes{'I', 'I', 42, 0, 255, 255, 255, 255, 255, 255}}) {
    const ExifBlock exif = ReadExif(block);
    EXPECT_EQ(exif.orientation, 1U);
    EXPECT_TRUE(exif.texts.empty());
  }
}

TEST(Exif, ValuesOutsideTheBlockArePassedOver) {
  Field far = Ascii(270, "text");
  for (const uint32_t count : {100U, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
    far.count = count;
    EXPECT_TRUE(ReadExif(Block(false, {far})).texts.empty());
  }
  Field fraction = Fraction(282, 1, 1, false);
  fraction.count = 0x20000001;  // times 8 it wraps in 32 bits
  const ExifBlock exif = ReadExif(Block(false, {fraction, Fraction(283, 1, 1, false)}));
  EXPECT_EQ(exif.resolution.unit, ResolutionUnit::kNone);
}

TEST(Exif, ADirectoryThatClaimsTooManyEntriesHasThoseThatAreThere) {
  Bytes block = Block(false, {Short(274, 8, false)});
  block[8] = block[9] = 0xFF;
  EXPECT_EQ(ReadExif(block).orientation, 8U);
}

TEST(Exif, AnyBytesAreRead) {
  const Bytes sound = Block(true, {Ascii(270, "A page"), Short(274, 6, true),
                                   Fraction(282, 300, 1, true), Fraction(283, 300, 1, true)});
  std::mt19937 random(1);
  for (int round = 0; round < 20'000; ++round) {
    Bytes block = sound;
    for (unsigned i = 0; i < 1 + random() % 4; ++i) {
      block[random() % block.size()] = static_cast<unsigned char>(random());
    }
    block.resize(random() % (block.size() + 1));
    const ExifBlock exif = ReadExif(block);
    EXPECT_GE(exif.orientation, 1U);
    EXPECT_LE(exif.orientation, 8U);
  }
}

const std::vector<PageText> kTexts{{TextKind::kDocumentName, "Name"},
                                   {TextKind::kMake, "M"},
                                   {TextKind::kModel, "abc"},
                                   {TextKind::kSoftware, "longer than four"},
                                   {TextKind::kCopyright, "odd"}};

TEST(Exif, WritesTextsThatItReads) {
  const Bytes block = ExifOfTexts(kTexts, 65533);
  EXPECT_EQ(ReadExif(block).texts, kTexts);
  EXPECT_EQ(ReadExif(block).resolution.unit, ResolutionUnit::kNone);
  EXPECT_EQ(ExifOfTexts(kTexts, 65533), block);
}

TEST(Exif, WritesNothingWhereThereIsNothingToSay) {
  EXPECT_TRUE(ExifOfTexts({}, 65533).empty());
  EXPECT_TRUE(ExifOfTexts({{TextKind::kMake, ""}}, 65533).empty());
}

TEST(Exif, LeavesOutTextsThatDoNotFit) {
  std::vector<PageText> texts = kTexts;
  texts[0].text = std::string(70'000, 'x');
  const Bytes block = ExifOfTexts(texts, 65533);
  EXPECT_EQ(ReadExif(block).texts, std::vector<PageText>(kTexts.begin() + 1, kTexts.end()));
  for (size_t most = 0; most < 200; ++most) {
    EXPECT_LE(ExifOfTexts(kTexts, most).size(), most);
  }
}

TEST(PageTexts, AreKeptInTheOrderOfTheirKinds) {
  std::vector<PageText> texts;
  AddText(texts, TextKind::kCopyright, "c");
  AddText(texts, TextKind::kDocumentName, "d");
  AddText(texts, TextKind::kModel, "m");
  AddText(texts, TextKind::kModel, "another");
  AddText(texts, TextKind::kMake, " \r\n\t");
  EXPECT_EQ(texts, (std::vector<PageText>{{TextKind::kDocumentName, "d"},
                                          {TextKind::kModel, "m"},
                                          {TextKind::kCopyright, "c"}}));
}

TEST(PageTexts, HaveTagsBothWays) {
  for (const uint16_t tag : kTextTags) {
    EXPECT_EQ(TagOf(*TextKindOfTag(tag)), tag);
  }
  EXPECT_EQ(TextKindOfTag(270), TextKind::kDescription);
  EXPECT_EQ(TextKindOfTag(33432), TextKind::kCopyright);
  EXPECT_EQ(TextKindOfTag(274), std::nullopt);
}

}  // namespace
}  // namespace dibkit::host
