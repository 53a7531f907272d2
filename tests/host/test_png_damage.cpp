// SPDX-License-Identifier: Apache-2.0
//
// PNG files that are not sound, or claim too much.
#include <gtest/gtest.h>

#include <algorithm>
#include <istream>
#include <streambuf>

#include "address_space.h"
#include "damage.h"
#include "endless_tail.h"
#include "image_pages.h"
#include "loaded_dib.h"
#include "page/source_of.h"
#include "png_builder.h"

namespace dibkit::host {
namespace {

using test::Bytes;
using test::BytesOf;
using test::Joined;
using test::PngBuilder;
using test::ReadAnyhow;

constexpr size_t kSignatureBytes = 8;
// Of address space, for a file of a million pixels.
constexpr uint64_t kEnough = uint64_t{64} << 20;

std::vector<PngBuilder> SomeKinds() {
  std::vector<PngBuilder> kinds(5);
  kinds[1].interlaced = true;
  kinds[2].colourType = 3;
  kinds[2].depth = 4;
  kinds[2].palette = Bytes(48, 77);
  kinds[2].transparency = {1, 2, 3};
  kinds[3].colourType = 6;
  kinds[3].depth = 16;
  kinds[4].colourType = 0;
  kinds[4].depth = 1;
  for (PngBuilder& kind : kinds) {
    kind.before = {{"pHYs", {0, 0, 46, 35, 0, 0, 46, 35, 1}},
                   {"tEXt", BytesOf(std::string("Title\0A page", 12))},
                   {"iCCP", Joined({BytesOf("p"), {0, 0}, test::Deflated(Bytes(300, 9))})}};
    kind.behind = {{"tEXt", BytesOf(std::string("Author\0Somebody", 15))}};
    kind.pieceBytes = 100;
  }
  // One with chunks that nobody asks for, which are parsed all the same.
  std::vector<test::PngChunkSpec>& more = kinds[0].before;
  more.push_back({"gAMA", {0, 0, 0xB1, 0x8F}});
  more.push_back({"cHRM", Bytes(32, 1)});
  more.push_back({"sBIT", {8, 8, 8}});
  more.push_back({"tIME", {7, 0xE8, 1, 2, 3, 4, 5}});
  more.push_back({"oFFs", Bytes(9)});
  more.push_back({"sPLT", Joined({BytesOf("few"), {0, 8}, Bytes(24, 5)})});
  more.push_back({"sPLT", Joined({BytesOf("more"), {0, 16}, Bytes(30, 5)})});
  more.push_back(
      {"zTXt", Joined({BytesOf("Software"), {0, 0}, test::Deflated(BytesOf("something"))})});
  more.push_back({"iTXt", Joined({BytesOf("Make"),
                                  {0, 1, 0},
                                  BytesOf("en"),
                                  {0, 0},
                                  test::Deflated(BytesOf("somebody"))})});
  return kinds;
}

TEST(PngDamage, EveryFileThatEndsEarlyIsTold) {
  for (const PngBuilder& kind : SomeKinds()) {
    test::ExpectEveryEndTold(kind.Build(), 7);
  }
}

TEST(PngDamage, ChangedBytesAreTold) {
  test::WithinAddressSpace(kEnough, [] {
    for (const PngBuilder& kind : SomeKinds()) {
      test::ReadChangedFiles(kind.Build(), 1000);
    }
  });
}

// The same file with checksums that fit, as far as its chunks can be made out.
Bytes WithRightSums(Bytes file) {
  size_t at = kSignatureBytes;
  while (file.size() - at >= 12) {
    const uint64_t length = uint64_t{file[at]} << 24 | uint64_t{file[at + 1]} << 16 |
                            uint64_t{file[at + 2]} << 8 | file[at + 3];
    if (length > file.size() - at - 12) {
      break;
    }
    const auto content = file.begin() + static_cast<std::ptrdiff_t>(at) + 8;
    const auto size = static_cast<std::ptrdiff_t>(length);
    const Bytes chunk =
        test::PngChunk(std::string(content - 4, content), Bytes(content, content + size));
    std::copy(chunk.begin(), chunk.end(), content - 8);
    at += chunk.size();
  }
  return file;
}

TEST(PngDamage, ChangedBytesWithRightChecksumsAreReadOrTold) {
  test::WithinAddressSpace(kEnough, [] {
    int readable = 0;
    for (const PngBuilder& kind : SomeKinds()) {
      readable += test::ReadChangedFiles(kind.Build(), 2000, WithRightSums);
    }
    EXPECT_GT(readable, 100) << "the changes never reach the pixels";
  });
}

TEST(PngDamage, AWrongChecksumOfAnyChunkIsAnError) {
  const Bytes file = SomeKinds()[2].Build();
  for (const char* type :
       {"IHDR", "pHYs", "tEXtTitle", "iCCP", "PLTE", "tRNS", "IDAT", "tEXtAuthor", "IEND"}) {
    const Bytes name = BytesOf(type);
    const auto found = std::search(file.begin(), file.end(), name.begin(), name.end());
    ASSERT_NE(found, file.end()) << type;
    const auto length = static_cast<size_t>(found[-1]);  // all are shorter than 256 bytes
    Bytes changed = file;
    changed[static_cast<size_t>(found - file.begin()) + 4 + length + 3] ^= 1;
    EXPECT_EQ(ReadAnyhow(changed), "the file is damaged: a checksum does not fit") << type;
  }
}

// The header is changed and has its checksum.
Bytes ClaimingSize(uint32_t width, uint32_t height, const PngBuilder& kind) {
  Bytes file = kind.Build();
  const Bytes size = Joined({test::BigEndian32(width), test::BigEndian32(height)});
  std::copy(size.begin(), size.end(), file.begin() + 16);
  return WithRightSums(file);
}

TEST(PngDamage, ASmallFileThatClaimsALargeImageIsRefused) {
  for (const PngBuilder& kind : SomeKinds()) {
    const Bytes file = ClaimingSize(100'000, 100'000, kind);
    EXPECT_EQ(ReadAnyhow(file, 0),
              "the image has 100000 x 100000 pixels, more than the 1000000 that are allowed");
  }
}

TEST(PngDamage, AnImageOfTheAllowedSizeThatIsNotThereIsTold) {
  EXPECT_NE(ReadAnyhow(ClaimingSize(1000, 1000, PngBuilder())), "");
  EXPECT_NE(ReadAnyhow(ClaimingSize(1'000'000, 1, PngBuilder())), "");
  EXPECT_NE(ReadAnyhow(ClaimingSize(1, 1'000'000, PngBuilder())), "");
}

TEST(PngDamage, NoSideIsLongerThanTheFormatHas) {
  for (const auto& [width, height] : {std::pair{0U, 1U}, {1U, 0U}, {0x80000000U, 1U}}) {
    EXPECT_NE(ReadAnyhow(ClaimingSize(width, height, PngBuilder())), "");
  }
}

TEST(PngDamage, BombsInOptionalChunksAreTold) {
  const Bytes bomb = test::Deflated(Bytes(100'000'000));
  ASSERT_LT(bomb.size(), 200'000U);
  for (const test::PngChunkSpec& chunk :
       {test::PngChunkSpec{"iCCP", Joined({BytesOf("p"), {0, 0}, bomb})},
        {"zTXt", Joined({BytesOf("Title"), {0, 0}, bomb})},
        {"iTXt", Joined({BytesOf("Title"), {0, 1, 0, 0, 0}, bomb})}}) {
    SCOPED_TRACE(chunk.type);
    PngBuilder file;
    file.before = {chunk};
    const Bytes early = file.Build();
    std::swap(file.before, file.behind);
    const Bytes late = file.Build();
    test::WithinAddressSpace(kEnough, [&] {
      EXPECT_NE(ReadAnyhow(early), "");
      // A profile behind the image is passed over.
      EXPECT_EQ(ReadAnyhow(late).empty(), chunk.type == "iCCP");
    });
  }
}

TEST(PngDamage, ThousandsOfTextsAreTold) {
  PngBuilder file;
  for (int i = 0; i < 2000; ++i) {
    file.before.push_back({"tEXt", BytesOf(std::string("Title\0text", 10))});
  }
  EXPECT_NE(ReadAnyhow(file.Build()), "");
}

std::unique_ptr<ImageReader> OpenStream(std::istream& stream) {
  return OpenImage(SourceOfStream(stream, nullptr), {1'000'000, nullptr, nullptr});
}

TEST(PngPipes, AreReadToTheEndOfTheFileAndNoFurther) {
  PngBuilder file;
  file.width = 300;
  file.height = 200;
  const Bytes bytes = file.Build();
  test::EndlessTail tail(bytes, 'x');
  std::istream stream(&tail);
  const auto reader = OpenStream(stream);
  EXPECT_EQ(reader->Describe(0).width, 300U);
  EXPECT_LT(tail.Taken(), 200U) << "more than the header was read";
  EXPECT_EQ(test::Colours(reader->Read(0).dib), file.Colours());
  EXPECT_EQ(tail.Taken(), bytes.size());
  EXPECT_EQ(reader->Describe(0).width, 300U);
  EXPECT_THROW(reader->Read(0), FileError) << "what has gone by";
}

TEST(PngPipes, EndlessChunksAreTold) {
  // A chunk of two gigabytes that nobody asked for, before and behind the pixels.
  const Bytes file = PngBuilder().Build();
  const Bytes claim = Joined({{0x7F, 0xFF, 0xFF, 0xFF}, BytesOf("zzZz")});
  for (const size_t at : {size_t{33}, file.size() - 12}) {
    const Bytes start(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(at));
    test::WithinAddressSpace(kEnough, [&] {
      test::EndlessTail tail(Joined({start, claim}), 0);
      std::istream stream(&tail);
      EXPECT_EQ(test::FaultOf([&] { OpenStream(stream)->Read(0); }), ImageFault::kDamaged);
      EXPECT_LT(tail.Taken(), 70'000'000U);
    });
  }
}

// An IDAT chunk after another in which no pixel ever comes.
class EndlessPixels : public std::streambuf {
 public:
  EndlessPixels(Bytes start, Bytes again) : next_(std::move(start)), again_(std::move(again)) {}

 private:
  int_type underflow() override {
    now_ = next_;
    next_ = again_;
    char* const begin = reinterpret_cast<char*>(now_.data());
    setg(begin, begin, begin + now_.size());
    return traits_type::to_int_type(*gptr());
  }

  Bytes now_;
  Bytes next_;
  Bytes again_;
};

TEST(PngPipes, PixelsThatNeverComeAreTold) {
  const Bytes file = PngBuilder().Build();
  const Bytes name = BytesOf("IDAT");
  const auto idat = std::search(file.begin(), file.end(), name.begin(), name.end()) - 4;
  // A zlib header, then stored blocks of no bytes.
  Bytes blocks;
  for (int i = 0; i < 1000; ++i) {
    blocks = Joined({blocks, {0, 0, 0, 0xFF, 0xFF}});
  }
  EndlessPixels endless(Joined({Bytes(file.begin(), idat), test::PngChunk("IDAT", {0x78, 0x01})}),
                        test::PngChunk("IDAT", blocks));
  std::istream stream(&endless);
  EXPECT_EQ(test::FaultOf([&] { OpenStream(stream)->Read(0); }), ImageFault::kDamaged);
}

}  // namespace
}  // namespace dibkit::host
