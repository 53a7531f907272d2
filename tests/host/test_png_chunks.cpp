// SPDX-License-Identifier: Apache-2.0
//
// What the chunks of PNG files by other hands say besides the pixels.
#include <gtest/gtest.h>

#include "image_pages.h"
#include "loaded_dib.h"
#include "png_builder.h"

namespace dibkit::host {
namespace {

using test::BigEndian32;
using test::Bytes;
using test::BytesOf;
using test::Joined;
using test::OpenBytes;
using test::PngBuilder;
using test::ReadPage;

Bytes Text(const std::string& keyword, const std::string& text) {
  return Joined({BytesOf(keyword), {0}, BytesOf(text)});
}

// A block that says the orientation only.
Bytes Exif(unsigned orientation) {
  return {'M', 'M', 0, 42, 0, 0, 0, 8, 0, 1,
          1,   18,  0, 3,  0, 0, 0, 1, 0, static_cast<unsigned char>(orientation),
          0,   0,   0, 0,  0, 0};
}

Bytes Phys(uint32_t x, uint32_t y, unsigned char unit) {
  return Joined({BigEndian32(x), BigEndian32(y), {unit}});
}

std::vector<PageText> TextsOf(const PngBuilder& file) {
  return ReadPage(file.Build()).metadata.texts;
}

TEST(PngChunks, TextsOfAllThreeKindsAreRead) {
  PngBuilder file;
  file.before = {
      {"tEXt", Text("Title", "plain")},
      {"zTXt", Joined({BytesOf("Author"), {0, 0}, test::Deflated(BytesOf("packed"))})},
      {"iTXt", Joined({BytesOf("Description"),
                       {0, 0, 0},
                       BytesOf("en"),
                       {0},
                       BytesOf("Text"),
                       {0},
                       BytesOf("\xCE\xA9")})},
      {"iTXt", Joined({BytesOf("Copyright"), {0, 1, 0, 0, 0}, test::Deflated(BytesOf("both"))})},
      {"tEXt", Text("Unheard-of", "nothing")}};
  const std::vector<PageText> expected{{TextKind::kDocumentName, "plain"},
                                       {TextKind::kDescription, "\xCE\xA9"},
                                       {TextKind::kArtist, "packed"},
                                       {TextKind::kCopyright, "both"}};
  EXPECT_EQ(TextsOf(file), expected);
  std::swap(file.before, file.behind);
  EXPECT_EQ(TextsOf(file), expected) << "behind the image";
}

TEST(PngChunks, KeywordsAreTakenInSmallLettersToo) {
  PngBuilder file;
  file.before = {{"tEXt", Text("software", "Something")},
                 {"tEXt", Text("CREATION TIME", "yesterday")}};
  EXPECT_EQ(TextsOf(file), (std::vector<PageText>{{TextKind::kSoftware, "Something"},
                                                  {TextKind::kDateTime, "yesterday"}}));
}

TEST(PngChunks, ACommentDescribesWhereNothingElseDoes) {
  PngBuilder file;
  file.before = {{"tEXt", Text("Comment", "a remark")}};
  EXPECT_EQ(TextsOf(file), (std::vector<PageText>{{TextKind::kDescription, "a remark"}}));
  file.before.push_back({"tEXt", Text("Description", "a page")});
  EXPECT_EQ(TextsOf(file), (std::vector<PageText>{{TextKind::kDescription, "a page"}}));
}

TEST(PngChunks, Latin1BecomesUtf8) {
  PngBuilder file;
  file.before = {{"tEXt", Text("Title", "Gr\xFC\xDF")}, {"tEXt", Text("Author", "M\xC3\xBCller")}};
  EXPECT_EQ(TextsOf(file), (std::vector<PageText>{{TextKind::kDocumentName, "Gr\xC3\xBC\xC3\x9F"},
                                                  {TextKind::kArtist, "M\xC3\xBCller"}}));
}

TEST(PngChunks, EmptyTextsAreNone) {
  PngBuilder file;
  file.before = {{"tEXt", Text("Title", "")}, {"tEXt", Text("Author", "   ")}};
  EXPECT_TRUE(TextsOf(file).empty());
}

TEST(PngChunks, AResolutionWithoutAUnitIsNone) {
  PngBuilder file;
  for (const Bytes& phys : {Phys(300, 300, 0), Phys(0, 300, 1), Phys(300, 0, 1)}) {
    file.before = {{"pHYs", phys}};
    EXPECT_EQ(ReadPage(file.Build()).metadata.resolution.unit, ResolutionUnit::kNone);
  }
}

TEST(PngChunks, ResolutionsAreThoseOfTheUprightPage) {
  PngBuilder file;
  file.before = {{"pHYs", Phys(11811, 5906, 1)}, {"eXIf", Exif(6)}};
  const Bytes bytes = file.Build();
  const auto reader = OpenBytes(bytes);
  const Resolution expected{ResolutionUnit::kMetre, {5906, 1}, {11811, 1}};
  EXPECT_EQ(reader->Describe(0).resolution, expected);
  const PageImage page = reader->Read(0);
  EXPECT_EQ(page.metadata.resolution, expected);
  const LockedBlock lock(page.dib.get());
  EXPECT_EQ(DibView(lock.Bytes()).XPelsPerMeter(), 5906);
}

// The upright colours of an image whose stored ones these are.
std::vector<uint32_t> Turned(const std::vector<uint32_t>& stored, uint32_t width, uint32_t height,
                             unsigned orientation) {
  const bool across = orientation >= 5;
  const uint32_t uprightWidth = across ? height : width;
  const uint32_t uprightHeight = across ? width : height;
  std::vector<uint32_t> upright;
  for (uint32_t y = 0; y < uprightHeight; ++y) {
    for (uint32_t x = 0; x < uprightWidth; ++x) {
      uint32_t column = across ? y : x;
      uint32_t row = across ? x : y;
      // Where the stored row 0 and the stored column 0 are, by the numbers.
      const bool columnsFromEnd =
          orientation == 2 || orientation == 3 || orientation == 7 || orientation == 8;
      const bool rowsFromEnd =
          orientation == 3 || orientation == 4 || orientation == 6 || orientation == 7;
      column = columnsFromEnd ? width - 1 - column : column;
      row = rowsFromEnd ? height - 1 - row : row;
      upright.push_back(stored[row * width + column]);
    }
  }
  return upright;
}

TEST(PngChunks, PagesComeOutUpright) {
  for (const uint8_t depth : std::initializer_list<uint8_t>{1, 2, 8, 16}) {
    for (unsigned orientation = 1; orientation <= 8; ++orientation) {
      for (const bool interlaced : {false, true}) {
        for (const bool late : {false, true}) {
          SCOPED_TRACE(testing::Message()
                       << int{depth} << " bits, " << orientation
                       << (interlaced ? ", interlaced" : "") << (late ? ", behind the image" : ""));
          PngBuilder file;
          file.depth = depth;
          file.colourType = depth < 8 ? 0 : 2;
          file.interlaced = interlaced;
          (late ? file.behind : file.before).push_back({"eXIf", Exif(orientation)});
          const Bytes bytes = file.Build();
          const auto reader = OpenBytes(bytes);
          if (!late) {
            const PageDescription told = reader->Describe(0);
            EXPECT_EQ(told.orientation, orientation);
            EXPECT_EQ(told.width, orientation < 5 ? file.width : file.height);
          }
          EXPECT_EQ(test::Colours(reader->Read(0).dib),
                    Turned(file.Colours(), file.width, file.height, orientation));
        }
      }
    }
  }
}

TEST(PngChunks, UnsoundOptionalChunksArePassedOver) {
  PngBuilder file;
  for (const test::PngChunkSpec& chunk :
       {test::PngChunkSpec{"gAMA", {0, 0, 0, 0}},
        {"pHYs", {1, 2, 3}},
        {"eXIf", BytesOf("nothing")},
        {"iCCP", BytesOf("no end of the name")},
        {"zTXt", Joined({BytesOf("Title"), {0, 0}, BytesOf("not packed")})},
        {"tEXt", BytesOf(std::string(200, 'k'))},
        {"tIME", {0, 0, 0, 0, 0, 0, 0}},
        {"hIST", {0, 1}},
        {"xXxX", Bytes(100'000)}}) {
    file.before = {chunk};
    EXPECT_EQ(test::Colours(ReadPage(file.Build()).dib), file.Colours()) << chunk.type;
  }
}

TEST(PngChunks, UnknownChunksThatMatterAreRefused) {
  PngBuilder file;
  file.before = {{"ABCD", {1, 2, 3}}};
  EXPECT_EQ(test::FaultOf([&] { ReadPage(file.Build()); }), ImageFault::kDamaged);
}

}  // namespace
}  // namespace dibkit::host
