// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstring>

#include "dib/layout.h"
#include "picture.h"

namespace dibkit::bench {
namespace {

size_t TableEntries(Pixels pixels) {
  const unsigned bits = BitsOf(pixels);
  return bits <= 8 ? size_t{1} << bits : 0;
}

uint8_t GrayOf(const unsigned char* bgr) {
  return static_cast<uint8_t>((29 * bgr[0] + 150 * bgr[1] + 77 * bgr[2]) >> 8);
}

// Six levels a channel.
uint8_t CubeIndex(const unsigned char* bgr) {
  const auto level = [](unsigned char value) { return (value * 5 + 127) / 255; };
  return static_cast<uint8_t>(level(bgr[2]) * 36 + level(bgr[1]) * 6 + level(bgr[0]));
}

tagRGBQUAD CubeColor(size_t index) {
  const auto value = [](size_t level) { return static_cast<uint8_t>(level * 51); };
  return {value(index % 6), value(index / 6 % 6), value(index / 36 % 6), 0};
}

// One bit a channel and one for bright colours.
uint8_t SixteenIndex(const unsigned char* bgr) {
  return static_cast<uint8_t>((bgr[0] > 127 ? 1 : 0) | (bgr[1] > 127 ? 2 : 0) |
                              (bgr[2] > 127 ? 4 : 0) | (GrayOf(bgr) > 191 ? 8 : 0));
}

tagRGBQUAD SixteenColor(size_t index) {
  const uint8_t full = (index & 8) != 0 ? 255 : 150;
  const auto channel = [&](size_t bit) { return (index & bit) != 0 ? full : uint8_t{0}; };
  return {channel(1), channel(2), channel(4), 0};
}

// White where the grey value passes a threshold that moves by up to 56 levels from pixel to pixel.
bool IsWhite(const unsigned char* bgr, int x, int y) {
  static constexpr int kDither[4][4] = {
      {0, 8, 2, 10}, {12, 4, 14, 6}, {3, 11, 1, 9}, {15, 7, 13, 5}};
  return GrayOf(bgr) > 72 + 7 * kDither[y & 3][x & 3];
}

uint16_t WordOf(const unsigned char* bgr) {
  return static_cast<uint16_t>((bgr[2] >> 3) << 10 | (bgr[1] >> 3) << 5 | bgr[0] >> 3);
}

// Appends runs of equal units; a record's count is `pixelsPerUnit` for each.
void AppendRuns(const unsigned char* row, size_t units, size_t pixelsPerUnit, size_t longest,
                std::vector<unsigned char>& stream) {
  for (size_t at = 0; at < units;) {
    size_t run = 1;
    while (run < longest && at + run < units && row[at + run] == row[at]) {
      ++run;
    }
    stream.push_back(static_cast<unsigned char>(run * pixelsPerUnit));
    stream.push_back(row[at]);
    at += run;
  }
  stream.insert(stream.end(), {0, 0});
}

}  // namespace

unsigned BitsOf(Pixels pixels) {
  switch (pixels) {
    case Pixels::kBilevel:
      return 1;
    case Pixels::kPalette4:
      return 4;
    case Pixels::kGray8:
    case Pixels::kPalette8:
      return 8;
    case Pixels::kWord555:
      return 16;
    case Pixels::kBgr24:
      return 24;
    case Pixels::kBgrx32:
      return 32;
  }
  return 0;
}

size_t StrideOf(Pixels pixels, int width) {
  return RowStride(BitsOf(pixels), static_cast<uint32_t>(width));
}

Dib::Dib(const Page& page, Pixels pixels, unsigned dpi)
    : pixels_(pixels),
      width_(page.width),
      height_(page.height),
      stride_(StrideOf(pixels, page.width)),
      tableBytes_(TableEntries(pixels) * sizeof(tagRGBQUAD)),
      storedBytes_(stride_ * static_cast<size_t>(page.height)),
      file_(kFileHeader + kInfoHeaderSize + tableBytes_ + storedBytes_),
      handle_{.data = Data(), .bytes = static_cast<unsigned>(file_.Size() - kFileHeader)} {
  WriteHeader(dpi);
  WriteTable();
  unsigned char* rows = Data() + kInfoHeaderSize + tableBytes_;
  for (int y = 0; y < height_; ++y) {
    WriteRow(page.Row(y), rows + static_cast<size_t>(y) * stride_, y);
  }
}

void Dib::WriteHeader(unsigned dpi) {
  unsigned char* file = file_.Data();
  file[0] = 'B';
  file[1] = 'M';
  Store32(file + 2, static_cast<uint32_t>(file_.Size()));
  Store32(file + 10, static_cast<uint32_t>(kFileHeader + kInfoHeaderSize + tableBytes_));
  unsigned char* dib = Data();
  Store32(dib + kBiSize, kInfoHeaderSize);
  Store32(dib + kBiWidth, static_cast<uint32_t>(width_));
  Store32(dib + kBiHeight, static_cast<uint32_t>(height_));
  Store16(dib + kBiPlanes, 1);
  Store16(dib + kBiBitCount, static_cast<uint16_t>(BitsOf(pixels_)));
  Store32(dib + kBiXPelsPerMeter, dpi * 10000 / 254);
  Store32(dib + kBiYPelsPerMeter, dpi * 10000 / 254);
}

void Dib::WriteTable() {
  for (size_t i = 0; i < TableEntries(pixels_); ++i) {
    const auto gray = static_cast<uint8_t>(pixels_ == Pixels::kBilevel ? i * 255 : i);
    tagRGBQUAD color{gray, gray, gray, 0};
    if (pixels_ == Pixels::kPalette8) {
      color = CubeColor(i);
    } else if (pixels_ == Pixels::kPalette4) {
      color = SixteenColor(i);
    }
    std::memcpy(Data() + kInfoHeaderSize + i * sizeof color, &color, sizeof color);
  }
}

void Dib::WriteRow(const unsigned char* bgr, unsigned char* to, int y) const {
  for (int x = 0; x < width_; ++x, bgr += 3) {
    const auto at = static_cast<size_t>(x);
    switch (pixels_) {
      case Pixels::kBilevel:
        to[at / 8] =
            static_cast<unsigned char>(to[at / 8] | (IsWhite(bgr, x, y) ? 0x80 >> (at % 8) : 0));
        break;
      case Pixels::kPalette4:
        to[at / 2] =
            static_cast<unsigned char>(to[at / 2] | SixteenIndex(bgr) << (at % 2 == 0 ? 4 : 0));
        break;
      case Pixels::kGray8:
        to[at] = GrayOf(bgr);
        break;
      case Pixels::kPalette8:
        to[at] = CubeIndex(bgr);
        break;
      case Pixels::kWord555:
        Store16(to + 2 * at, WordOf(bgr));
        break;
      case Pixels::kBgr24:
        std::memcpy(to + 3 * at, bgr, 3);
        break;
      case Pixels::kBgrx32:
        std::memcpy(to + 4 * at, bgr, 3);
        break;
    }
  }
}

void Dib::Compress() {
  const bool isBytes = BitsOf(pixels_) == 8;
  const size_t pixelsPerUnit = isBytes ? 1 : 2;
  const size_t units = static_cast<size_t>(width_) / pixelsPerUnit;
  std::vector<unsigned char> stream;
  for (int y = 0; y < height_; ++y) {
    AppendRuns(View().rows + static_cast<size_t>(y) * stride_, units, pixelsPerUnit,
               254 / pixelsPerUnit, stream);
  }
  StoreStream(stream, isBytes ? BI_RLE8 : BI_RLE4);
}

void Dib::CompressToPairs() {
  std::vector<unsigned char> stream;
  for (int y = 0; y < height_; ++y) {
    const unsigned char* row = View().rows + static_cast<size_t>(y) * stride_;
    for (int x = 0; x + 1 < width_; x += 2) {
      stream.insert(stream.end(), {2, row[x]});
    }
    stream.insert(stream.end(), {0, 0});
  }
  StoreStream(stream, BI_RLE8);
}

void Dib::StoreStream(const std::vector<unsigned char>& stream, uint32_t compression) {
  const size_t headBytes = kFileHeader + kInfoHeaderSize + tableBytes_;
  Buffer file(headBytes + stream.size());
  std::memcpy(file.Data(), file_.Data(), headBytes);
  std::memcpy(file.Data() + headBytes, stream.data(), stream.size());
  // The end of the last line is the end of the bitmap: not every decoder takes both.
  file.Data()[file.Size() - 1] = 1;
  file_ = std::move(file);
  storedBytes_ = stream.size();
  handle_.data = Data();
  handle_.bytes = static_cast<unsigned>(file_.Size() - kFileHeader);
  Store32(file_.Data() + 2, static_cast<uint32_t>(file_.Size()));
  Store32(Data() + kBiCompression, compression);
  Store32(Data() + kBiSizeImage, static_cast<uint32_t>(storedBytes_));
}

void Dib::TurnTopDown() { Store32(Data() + kBiHeight, static_cast<uint32_t>(-height_)); }

Picture Dib::View() const {
  const unsigned char* table = Data() + kInfoHeaderSize;
  return {
      pixels_, width_, height_, stride_, table + tableBytes_, tableBytes_ > 0 ? table : nullptr};
}

Bytes Dib::Stored() const { return {Data() + kInfoHeaderSize + tableBytes_, storedBytes_}; }

Bytes Dib::File() const { return file_.View(); }

}  // namespace dibkit::bench
