// SPDX-License-Identifier: Apache-2.0
//
// PNG files of every kind, made by hand, come out with the right pixels.
#include <gtest/gtest.h>

#include <string>

#include "image_pages.h"
#include "loaded_dib.h"
#include "png_builder.h"

namespace dibkit::host {
namespace {

using test::BytesOf;
using test::Colours;
using test::OpenBytes;
using test::PngBuilder;
using test::ReadPage;

test::Bytes SomePalette(size_t entries) {
  test::Bytes palette;
  for (size_t i = 0; i < entries * 3; ++i) {
    palette.push_back(static_cast<unsigned char>(i * 37 + i / 7));
  }
  return palette;
}

// Every colour type and depth.
std::vector<PngBuilder> AllKinds() {
  std::vector<PngBuilder> kinds;
  for (const uint8_t depth : std::initializer_list<uint8_t>{1, 2, 4, 8, 16}) {
    for (const uint8_t type : std::initializer_list<uint8_t>{0, 2, 3, 4, 6}) {
      const bool isPlain = type == 0 || type == 3;
      if ((depth < 8 && !isPlain) || (type == 3 && depth == 16)) {
        continue;
      }
      PngBuilder file;
      file.depth = depth;
      file.colourType = type;
      if (type == 3) {
        file.palette = SomePalette(size_t{1} << depth);
      }
      kinds.push_back(file);
    }
  }
  return kinds;
}

unsigned ExpectedBits(const PngBuilder& file) {
  if ((file.colourType & 2) != 0 && file.colourType != 3) {
    return 24;
  }
  return file.depth == 2 ? 4 : std::min<unsigned>(file.depth, 8);
}

void ExpectRead(const PngBuilder& file) {
  SCOPED_TRACE(testing::Message() << "type " << int{file.colourType} << ", " << int{file.depth}
                                  << " bits, " << file.width << " x " << file.height
                                  << (file.interlaced ? ", interlaced" : ""));
  const test::Bytes bytes = file.Build();
  const auto reader = OpenBytes(bytes);
  const PageDescription told = reader->Describe(0);
  EXPECT_EQ(told.width, file.width);
  EXPECT_EQ(told.height, file.height);
  EXPECT_EQ(told.bitCount, ExpectedBits(file));
  EXPECT_EQ(told.storedBits, file.depth * file.Channels());
  EXPECT_EQ(told.compression, Compression::kDeflate);
  const PageImage page = reader->Read(0);
  EXPECT_EQ(test::BitCountOf(page.dib), ExpectedBits(file));
  EXPECT_EQ(Colours(page.dib), file.Colours());
  EXPECT_EQ(GlobalFlags(page.dib.get()), 0U);
}

TEST(PngReader, ReadsEveryColourTypeAndDepth) {
  for (PngBuilder file : AllKinds()) {
    for (const uint32_t width : {1U, 2U, 3U, 5U, 8U, 13U, 33U}) {
      file.width = width;
      ExpectRead(file);
    }
  }
}

TEST(PngReader, ReadsInterlacedFiles) {
  for (PngBuilder file : AllKinds()) {
    file.interlaced = true;
    for (const uint32_t width : {1U, 2U, 4U, 5U, 8U, 33U}) {
      for (const uint32_t height : {1U, 2U, 4U, 5U, 9U}) {
        file.width = width;
        file.height = height;
        ExpectRead(file);
      }
    }
  }
}

TEST(PngReader, ATransparentColourBecomesWhite) {
  for (PngBuilder file : AllKinds()) {
    if (file.colourType != 0 && file.colourType != 2) {
      continue;
    }
    for (unsigned channel = 0; channel < file.Channels(); ++channel) {
      const uint32_t sample = file.Sample(3, 2, channel);
      file.transparency.push_back(static_cast<unsigned char>(sample >> 8));
      file.transparency.push_back(static_cast<unsigned char>(sample));
    }
    ExpectRead(file);
    file.interlaced = true;
    ExpectRead(file);
  }
}

TEST(PngReader, TransparentEntriesOfAPaletteAreLaidOverWhite) {
  for (PngBuilder file : AllKinds()) {
    if (file.colourType == 3) {
      file.transparency = {0, 128};
      ExpectRead(file);
    }
  }
}

TEST(PngReader, GreyStaysGrey) {
  for (const PngBuilder& file : AllKinds()) {
    const bool isGrey = file.colourType == 0 || file.colourType == 4;
    const PageImage page = ReadPage(file.Build());
    EXPECT_EQ(test::HasGreyTable(page.dib), isGrey) << int{file.colourType};
  }
}

TEST(PngReader, BilevelFilesHaveTheTableBlackAndWhite) {
  PngBuilder file;
  file.colourType = 0;
  file.depth = 1;
  const PageImage page = ReadPage(file.Build());
  const LockedBlock lock(page.dib.get());
  const auto table = DibView(lock.Bytes()).Table();
  EXPECT_EQ(test::Bytes(table.begin(), table.end()), (test::Bytes{0, 0, 0, 0, 255, 255, 255, 0}));
}

TEST(PngReader, IndicesAboveAShortPaletteAreBlack) {
  PngBuilder file;
  file.colourType = 3;
  file.palette = SomePalette(200);
  PngBuilder shorter = file;
  shorter.palette.resize(30);
  test::Bytes bytes = file.Build();
  // Only the palette of the other goes into the file.
  const test::Bytes shown = test::PngChunk("PLTE", shorter.palette);
  const test::Bytes written = test::PngChunk("PLTE", file.palette);
  const auto at = std::search(bytes.begin(), bytes.end(), written.begin(), written.end());
  ASSERT_NE(at, bytes.end());
  const auto begin = at - bytes.begin();
  bytes.erase(at, at + static_cast<std::ptrdiff_t>(written.size()));
  bytes.insert(bytes.begin() + begin, shown.begin(), shown.end());
  std::vector<uint32_t> expected = file.Colours();
  for (uint32_t y = 0; y < file.height; ++y) {
    for (uint32_t x = 0; x < file.width; ++x) {
      if (file.Sample(x, y, 0) >= 10) {
        expected[y * file.width + x] = 0;
      }
    }
  }
  EXPECT_EQ(Colours(ReadPage(bytes).dib), expected);
}

TEST(PngReader, TellsWhatTheHeaderSays) {
  PngBuilder file;
  file.colourType = 4;
  file.depth = 16;
  file.interlaced = true;
  test::Bytes bytes = file.Build();
  auto reader = OpenBytes(bytes);
  EXPECT_EQ(reader->Format(), ImageFormat::kPng);
  EXPECT_EQ(reader->PageCount(), 1U);
  PageDescription told = reader->Describe(0);
  EXPECT_EQ(told.storedBits, 32U);
  EXPECT_EQ(told.colour, "grey + alpha");
  EXPECT_EQ(told.compressionText, "Deflate, interlaced");
  EXPECT_EQ(told.orientation, 1U);
  EXPECT_FALSE(told.hasProfile);
  EXPECT_EQ(told.resolution.unit, ResolutionUnit::kNone);
  EXPECT_GT(told.workBytes, 0U);
  EXPECT_EQ(test::FaultOf([&] { reader->Describe(1); }), ImageFault::kNoSuchPage);
  EXPECT_EQ(test::FaultOf([&] { reader->Read(1); }), ImageFault::kNoSuchPage);

  PngBuilder bilevel;
  bilevel.colourType = 0;
  bilevel.depth = 1;
  bytes = bilevel.Build();
  reader = OpenBytes(bytes);
  EXPECT_EQ(reader->Describe(0).colour, "bilevel");
  EXPECT_EQ(reader->Describe(0).compressionText, "Deflate");
}

TEST(PngReader, APageCanBeReadAgain) {
  const PngBuilder file;
  const test::Bytes bytes = file.Build();
  const auto reader = OpenBytes(bytes);
  EXPECT_EQ(Colours(reader->Read(0).dib), file.Colours());
  EXPECT_EQ(reader->Describe(0).width, file.width);
  EXPECT_EQ(Colours(reader->Read(0).dib), file.Colours());
}

TEST(PngReader, TakesOnlyAFewRowsBesideTheDib) {
  PngBuilder file;
  file.width = 500;
  file.height = 500;
  const test::Bytes bytes = file.Build();
  for (const bool interlaced : {false, true}) {
    file.interlaced = interlaced;
    ResetPeakBytes();
    const uint64_t before = ReadMemoryCounters().peakBytes;
    const PageImage page = ReadPage(file.Build());
    EXPECT_EQ(ReadMemoryCounters().peakBytes - before, GlobalSize(page.dib.get()));
  }
  EXPECT_LT(OpenBytes(bytes)->Describe(0).workBytes, 200'000U);
}

TEST(PngReader, TheCancelHookStopsItBetweenRows) {
  PngBuilder file;
  const test::Bytes bytes = file.Build();
  int asked = 0;
  const auto reader = OpenBytes(bytes, {kUsualMaxPixels, [&] { return ++asked > 3; }, nullptr});
  const uint64_t blocks = ReadMemoryCounters().liveBlocks;
  EXPECT_THROW(reader->Read(0), Cancelled);
  EXPECT_EQ(asked, 4);
  EXPECT_EQ(ReadMemoryCounters().liveBlocks, blocks);
}

}  // namespace
}  // namespace dibkit::host
