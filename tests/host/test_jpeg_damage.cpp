// SPDX-License-Identifier: Apache-2.0
//
// JPEG files that are not sound, or claim too much.
#include <gtest/gtest.h>

#include <algorithm>
#include <istream>

#include "address_space.h"
#include "damage.h"
#include "endless_tail.h"
#include "image_pages.h"
#include "jpeg_builder.h"
#include "loaded_dib.h"
#include "page/source_of.h"

namespace dibkit::host {
namespace {

using test::Bytes;
using test::Joined;
using test::JpegBuilder;
using test::ReadAnyhow;

const Bytes kEnd{0xFF, 0xD9};

std::vector<JpegBuilder> SomeKinds() {
  std::vector<JpegBuilder> kinds(5);
  kinds[0].markers = {{JPEG_COM, Bytes(20, 'c')}};
  kinds[1].given = JCS_RGB;
  kinds[1].stored = JCS_YCbCr;
  kinds[1].progressive = true;
  kinds[2].given = JCS_CMYK;
  kinds[2].stored = JCS_YCCK;
  kinds[2].restartRows = 1;
  kinds[3].given = JCS_RGB;
  kinds[3].stored = JCS_YCbCr;
  kinds[3].separate = true;
  kinds[4].arithmetic = true;
  return kinds;
}

TEST(JpegDamage, EveryFileThatEndsEarlyIsTold) {
  for (const JpegBuilder& kind : SomeKinds()) {
    test::ExpectEveryEndTold(kind.Build(), 13);
  }
}

// Where the pixels begin: behind the header of the first scan.
size_t PixelsOf(const Bytes& file) {
  for (size_t i = 2; i + 4 < file.size(); i += 2 + (size_t{file[i + 2]} << 8 | file[i + 3])) {
    if (file[i + 1] == 0xDA) {
      return i + 2 + (size_t{file[i + 2]} << 8 | file[i + 3]);
    }
  }
  throw std::logic_error("no scan");
}

TEST(JpegDamage, NoPictureIsMadeUpForWhatIsMissing) {
  for (size_t i = 0; i < 4; ++i) {
    const Bytes file = SomeKinds()[i].Build();
    const size_t begin = PixelsOf(file);
    // The last bytes of a scan may be nothing but padding, and a scan that only refines can be done
    // without.
    const size_t end = i == 1 ? begin + 100 : file.size() - 12;
    for (size_t cut = begin; cut < end; cut += 11) {
      const Bytes start(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(cut));
      EXPECT_NE(ReadAnyhow(Joined({start, kEnd})), "") << i << ": " << cut;
    }
  }
}

TEST(JpegDamage, AComponentWithoutAScanIsTold) {
  const Bytes file = SomeKinds()[3].Build();
  const Bytes scan{0xFF, 0xDA};
  const auto first = std::search(file.begin(), file.end(), scan.begin(), scan.end());
  const auto second = std::search(first + 2, file.end(), scan.begin(), scan.end());
  EXPECT_EQ(ReadAnyhow(Joined({Bytes(file.begin(), second), kEnd})),
            "the file is damaged: a part of the image is missing");
}

TEST(JpegDamage, ChangedBytesAreReadOrTold) {
  constexpr uint64_t kEnough = uint64_t{64} << 20;
  test::WithinAddressSpace(kEnough, [] {
    int readable = 0;
    for (const JpegBuilder& kind : SomeKinds()) {
      readable += test::ReadChangedFiles(kind.Build(), 2000);
    }
    EXPECT_GT(readable, 100);
  });
}

Bytes ClaimingSize(unsigned width, unsigned height, const JpegBuilder& kind) {
  Bytes file = kind.Build();
  for (size_t i = 0; i + 9 < file.size(); ++i) {
    const bool frame = file[i] == 0xFF && (file[i + 1] & 0xF0) == 0xC0 && file[i + 1] != 0xC4 &&
                       file[i + 1] != 0xCC;
    if (frame) {
      file[i + 5] = static_cast<unsigned char>(height >> 8);
      file[i + 6] = static_cast<unsigned char>(height);
      file[i + 7] = static_cast<unsigned char>(width >> 8);
      file[i + 8] = static_cast<unsigned char>(width);
      return file;
    }
  }
  throw std::logic_error("no frame header");
}

TEST(JpegDamage, ASmallFileThatClaimsALargeImageIsRefused) {
  for (const JpegBuilder& kind : SomeKinds()) {
    EXPECT_EQ(ReadAnyhow(ClaimingSize(65000, 65000, kind), 0),
              "the image has 65000 x 65000 pixels, more than the 1000000 that are allowed");
  }
}

TEST(JpegDamage, AnImageOfTheAllowedSizeThatIsNotThereIsTold) {
  for (const JpegBuilder& kind : SomeKinds()) {
    if (!kind.arithmetic) {
      EXPECT_NE(ReadAnyhow(ClaimingSize(1000, 1000, kind)), "");
    }
    EXPECT_NE(ReadAnyhow(ClaimingSize(0, 100, kind)), "");
    EXPECT_NE(ReadAnyhow(ClaimingSize(100, 0, kind)), "");
    EXPECT_NE(ReadAnyhow(ClaimingSize(65535, 1, kind)), "");
  }
}

TEST(JpegDamage, ThousandsOfScansAreTold) {
  JpegBuilder kind;
  kind.progressive = true;
  const Bytes file = kind.Build();
  // The second scan, which depends on no other, again and again.
  const Bytes scan{0xFF, 0xDA};
  const auto first = std::search(file.begin(), file.end(), scan.begin(), scan.end());
  const auto second = std::search(first + 2, file.end(), scan.begin(), scan.end());
  const auto third = std::search(second + 2, file.end(), scan.begin(), scan.end());
  Bytes bomb(file.begin(), second);
  for (int i = 0; i < 5000; ++i) {
    bomb.insert(bomb.end(), second, third);
  }
  EXPECT_EQ(ReadAnyhow(Joined({bomb, kEnd})), "the file is damaged: it has more than 100 scans");
}

TEST(JpegDamage, RemarksGoToTheHookOncePerKind) {
  const Bytes file = JpegBuilder().Build();
  // Bytes that belong to nothing, behind the first marker and before the pixels' header.
  const Bytes scan{0xFF, 0xDA};
  const auto at = std::search(file.begin(), file.end(), scan.begin(), scan.end());
  const Bytes odd = Joined({Bytes(file.begin(), file.begin() + 20),
                            {1, 2, 3},
                            Bytes(file.begin() + 20, at),
                            {4, 5},
                            Bytes(at, file.end())});
  std::vector<std::string> remarks;
  const auto reader = test::OpenBytes(
      odd, {kUsualMaxPixels, nullptr, [&](const std::string& text) { remarks.push_back(text); }});
  EXPECT_EQ(test::Colours(reader->Read(0).dib), test::Colours(test::ReadPage(file).dib));
  EXPECT_EQ(remarks.size(), 1U);
  EXPECT_EQ(test::Colours(test::ReadPage(odd).dib), test::Colours(test::ReadPage(file).dib));
}

TEST(JpegDamage, WhatTheHookForRemarksThrowsComesThrough) {
  const Bytes file = JpegBuilder().Build();
  const Bytes odd = Joined(
      {Bytes(file.begin(), file.begin() + 20), {1, 2, 3}, Bytes(file.begin() + 20, file.end())});
  EXPECT_THROW(test::OpenBytes(odd, {kUsualMaxPixels, nullptr,
                                     [](const std::string&) { throw std::out_of_range("mine"); }}),
               std::out_of_range);
}

std::unique_ptr<ImageReader> OpenStream(std::istream& stream) {
  return OpenImage(SourceOfStream(stream, nullptr), {1'000'000, nullptr, nullptr});
}

TEST(JpegPipes, AreReadToTheEndOfTheFileAndHardlyFurther) {
  JpegBuilder file;
  file.width = 900;
  file.height = 700;
  const Bytes bytes = file.Build();
  test::EndlessTail tail(bytes, 'x');
  std::istream stream(&tail);
  const auto reader = OpenStream(stream);
  EXPECT_EQ(reader->Describe(0).width, 900U);
  EXPECT_LT(tail.Taken(), 2000U) << "more than the header was read";
  EXPECT_EQ(test::Colours(reader->Read(0).dib), test::Colours(test::ReadPage(bytes).dib));
  EXPECT_LT(tail.Taken(), bytes.size() + 16'384);
  EXPECT_THROW(reader->Read(0), FileError) << "what has gone by";
}

TEST(JpegPipes, EndlessMarkersAreTold) {
  for (const unsigned char marker : std::initializer_list<unsigned char>{0xFE, 0xE1, 0xE2, 0xE5}) {
    // The name of a profile piece, so that the second kind is looked at.
    Bytes content(62, 'm');
    const std::string name("ICC_PROFILE\0\1\1", 14);
    std::copy(name.begin(), name.end(), content.begin());
    const Bytes piece = Joined({{0xFF, marker, 0, 64}, content});
    Bytes start{0xFF, 0xD8};
    while (start.size() < 70'000'000) {
      start.insert(start.end(), piece.begin(), piece.end());
    }
    test::WithinAddressSpace(uint64_t{150} << 20, [&] {
      test::EndlessTail tail(std::move(start), 0);
      std::istream stream(&tail);
      EXPECT_EQ(test::FaultOf([&] { OpenStream(stream); }), ImageFault::kDamaged);
      EXPECT_LT(tail.Taken(), 68'000'000U);
    });
  }
}

}  // namespace
}  // namespace dibkit::host
