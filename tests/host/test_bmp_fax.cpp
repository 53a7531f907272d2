// SPDX-License-Identifier: Apache-2.0
//
// Fax pixels of bitmap files, made by libtiff's encoder.
#include <gtest/gtest.h>
#include <tiffio.h>

#include <memory>
#include <random>
#include <string>

#include "damage.h"
#include "dibkit/host/image_reader.h"
#include "image_pages.h"
#include "loaded_dib.h"
#include "temporary_directory.h"

namespace dibkit::host {
namespace {

using test::BitmapBuilder;
using test::Bytes;

struct CloseTiff {
  void operator()(TIFF* tiff) const { TIFFClose(tiff); }
};
using OwnedTiff = std::unique_ptr<TIFF, CloseTiff>;

// The rows of a file that is all one strip, from the top, in one-dimensional codes.
Bytes Encoded(const Bytes& rows, uint32_t width, uint32_t height, uint32_t options) {
  const test::TemporaryDirectory directory;
  const std::string path = directory.Path("fax.tif");
  {
    const OwnedTiff tiff(TIFFOpen(path.c_str(), "w"));
    TIFFSetField(tiff.get(), TIFFTAG_IMAGEWIDTH, width);
    TIFFSetField(tiff.get(), TIFFTAG_IMAGELENGTH, height);
    TIFFSetField(tiff.get(), TIFFTAG_BITSPERSAMPLE, 1);
    TIFFSetField(tiff.get(), TIFFTAG_SAMPLESPERPIXEL, 1);
    TIFFSetField(tiff.get(), TIFFTAG_ROWSPERSTRIP, height);
    TIFFSetField(tiff.get(), TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISWHITE);
    TIFFSetField(tiff.get(), TIFFTAG_FILLORDER, FILLORDER_MSB2LSB);
    TIFFSetField(tiff.get(), TIFFTAG_COMPRESSION, COMPRESSION_CCITTFAX3);
    TIFFSetField(tiff.get(), TIFFTAG_GROUP3OPTIONS, options);
    const size_t stride = (width + 7) / 8;
    for (uint32_t y = 0; y < height; ++y) {
      Bytes row(rows.begin() + static_cast<std::ptrdiff_t>(y * stride),
                rows.begin() + static_cast<std::ptrdiff_t>((y + 1) * stride));
      TIFFWriteScanline(tiff.get(), row.data(), y);
    }
  }
  const OwnedTiff tiff(TIFFOpen(path.c_str(), "r"));
  Bytes strip(static_cast<size_t>(TIFFRawStripSize(tiff.get(), 0)));
  TIFFReadRawStrip(tiff.get(), 0, strip.data(), static_cast<tmsize_t>(strip.size()));
  return strip;
}

// Runs of all lengths; the bits behind the last pixel are 0.
Bytes SomeRows(uint32_t width, uint32_t height, uint32_t longest) {
  std::mt19937 random(width + longest);
  const size_t stride = (width + 7) / 8;
  Bytes rows(stride * height);
  for (uint32_t y = 0; y < height; ++y) {
    bool black = random() % 2 == 0;
    for (uint32_t x = 0; x < width; black = !black) {
      for (uint32_t run = static_cast<uint32_t>(random()) % longest + 1; run != 0 && x < width;
           --run, ++x) {
        if (black) {
          unsigned char& byte = rows[y * stride + x / 8];
          byte = static_cast<unsigned char>(byte | 0x80 >> x % 8);
        }
      }
    }
  }
  return rows;
}

BitmapBuilder FaxFile(uint32_t width, uint32_t height, const Bytes& stream) {
  BitmapBuilder file;
  file.headerBytes = 64;
  file.compression = 3;
  file.bitCount = 1;
  file.width = static_cast<int32_t>(width);
  file.height = static_cast<int32_t>(height);
  file.table = Bytes{255, 255, 255, 0, 0, 0, 0, 0};
  file.pixels = stream;
  file.sizeImage = static_cast<uint32_t>(stream.size());
  return file;
}

Bytes Padded(const Bytes& rows, uint32_t width, uint32_t height) {
  const size_t from = (width + 7) / 8;
  const size_t to = static_cast<size_t>(test::Stride(width, 1));
  Bytes padded(to * height);
  for (uint32_t y = 0; y < height; ++y) {
    std::copy_n(rows.begin() + static_cast<std::ptrdiff_t>(y * from), from,
                padded.begin() + static_cast<std::ptrdiff_t>(y * to));
  }
  return padded;
}

TEST(BmpFax, RowsOfLibtiffsEncoderComeBack) {
  for (const uint32_t options : std::initializer_list<uint32_t>{0, GROUP3OPT_FILLBITS}) {
    for (const auto& [width, longest] : {std::pair{1U, 1U},
                                         {7U, 3U},
                                         {8U, 8U},
                                         {127U, 20U},
                                         {1728U, 70U},
                                         {2550U, 300U},
                                         {6000U, 6000U},
                                         {9001U, 3000U}}) {
      constexpr uint32_t kHeight = 60;
      const Bytes rows = SomeRows(width, kHeight, longest);
      const Bytes stream = Encoded(rows, width, kHeight, options);
      const auto file = FaxFile(width, kHeight, stream);
      EXPECT_EQ(test::RowBytes(test::Load(file)), Padded(rows, width, kHeight)) << width;
      const Bytes bytes = file.Build();
      BitmapFile again(std::make_unique<MemorySource>(bytes));
      again.ReadDib();
      EXPECT_TRUE(again.Remarks().empty());
    }
  }
}

TEST(BmpFax, PagesSayWhatTheyAre) {
  const Bytes bytes = FaxFile(127, 60, Encoded(SomeRows(127, 60, 9), 127, 60, 0)).Build();
  const auto reader = test::OpenBytes(bytes);
  const PageDescription page = reader->Describe(0);
  EXPECT_EQ(page.compressionText, "fax");
  EXPECT_EQ(page.bitCount, 1U);
  EXPECT_EQ(page.obstacle, "");
  EXPECT_EQ(test::BitCountOf(reader->Read(0).dib), 1U);
}

TEST(BmpFax, FilesThatEndEarlyAreToldWhereTheirLengthIsKnown) {
  test::ExpectEveryEndTold(FaxFile(127, 20, Encoded(SomeRows(127, 20, 9), 127, 20, 0)).Build(), 3);
}

TEST(BmpFax, WhatAStreamOfUnknownLengthLacksStaysWhiteAndIsTold) {
  const Bytes rows = SomeRows(127, 20, 9);
  Bytes stream = Encoded(rows, 127, 20, 0);
  stream.resize(stream.size() / 2);
  BitmapBuilder file = FaxFile(127, 20, stream);
  file.sizeImage = 0;
  const Bytes bytes = file.Build();
  std::vector<std::string> told;
  const auto reader =
      test::OpenBytes(bytes, {.warning = [&](const std::string& text) { told.push_back(text); }});
  EXPECT_TRUE(told.empty());
  const Bytes read = test::RowBytes(reader->Read(0).dib);
  ASSERT_EQ(told.size(), 2U);
  EXPECT_EQ(told[0].substr(0, 37), "the fax pixels have damaged rows: 1 o");
  EXPECT_EQ(told[1].substr(0, 26), "the fax pixels end after 1");
  const Bytes expected = Padded(rows, 127, 20);
  EXPECT_EQ(Bytes(read.begin(), read.begin() + 8 * 16),
            Bytes(expected.begin(), expected.begin() + 8 * 16));
  EXPECT_EQ(Bytes(read.end() - 5 * 16, read.end()), Bytes(5 * 16));
}

TEST(BmpFax, ChangedFilesAreReadOrTold) {
  const Bytes file = FaxFile(127, 60, Encoded(SomeRows(127, 60, 9), 127, 60, 0)).Build();
  EXPECT_GT(test::ReadChangedFiles(file, 3000), 500);
}

TEST(BmpFax, StreamsOfNothingAreTold) {
  BitmapBuilder file = FaxFile(1000, 1000, Bytes(100));
  EXPECT_EQ(test::FaultOf([&] { test::Load(file); }), ImageFault::kDamaged);
}

}  // namespace
}  // namespace dibkit::host
