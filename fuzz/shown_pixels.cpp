// SPDX-License-Identifier: Apache-2.0
#include "shown_pixels.h"

namespace dibfuzz {

namespace {

using dibkit::host::BitmapCompression;
using dibkit::host::BitmapDescription;
using File = std::span<const uint8_t>;

Shown TableColor(const BitmapDescription& bitmap, File file, uint32_t index) {
  if (index >= bitmap.tableEntries) return {0, 0, 0};
  const uint8_t* entry = file.data() + bitmap.tableOffset + index * bitmap.tableEntryBytes;
  return {entry[2], entry[1], entry[0]};
}

// The lowest run of bits in `mask`, over the full range, rounded.
uint8_t Field(uint32_t pixel, uint32_t mask) {
  if (mask == 0) return 0;
  unsigned low = 0;
  while ((mask >> low & 1) == 0) ++low;
  uint64_t most = 0;
  uint64_t value = 0;
  for (unsigned bit = low; bit < 32 && (mask >> bit & 1) == 1; ++bit) {
    most = most << 1 | 1;
    value |= uint64_t{pixel >> bit & 1} << (bit - low);
  }
  return static_cast<uint8_t>((2 * 255 * value + most) / (2 * most));
}

Shown WholePixel(const BitmapDescription& bitmap, uint32_t pixel) {
  if (bitmap.compression != BitmapCompression::kNone) {
    return {Field(pixel, bitmap.masks[0]), Field(pixel, bitmap.masks[1]),
            Field(pixel, bitmap.masks[2])};
  }
  if (bitmap.bitCount == 16) {
    return {Field(pixel, 0x7C00), Field(pixel, 0x03E0), Field(pixel, 0x001F)};
  }
  return {static_cast<uint8_t>(pixel >> 16), static_cast<uint8_t>(pixel >> 8),
          static_cast<uint8_t>(pixel)};
}

Shown RowPixel(const BitmapDescription& bitmap, File file, File row, uint32_t x) {
  const unsigned bits = bitmap.bitCount;
  if (bits <= 8) {
    const unsigned place = 8 - bits - x * bits % 8;
    return TableColor(bitmap, file, row[x * bits / 8] >> place & ((1U << bits) - 1));
  }
  uint32_t pixel = 0;
  for (unsigned i = bits / 8; i > 0; --i) pixel = pixel << 8 | row[x * bits / 8 + i - 1];
  return WholePixel(bitmap, pixel);
}

std::vector<Shown> RowPixels(const BitmapDescription& bitmap, File file) {
  const uint64_t stride = bitmap.pixelBytes / bitmap.height;
  std::vector<Shown> pixels;
  for (uint32_t y = 0; y < bitmap.height; ++y) {
    const uint32_t stored = bitmap.topDown ? bitmap.height - 1 - y : y;
    const File row = file.subspan(bitmap.pixelOffset + stored * stride, stride);
    for (uint32_t x = 0; x < bitmap.width; ++x) pixels.push_back(RowPixel(bitmap, file, row, x));
  }
  return pixels;
}

// The pixels of a run-length image; one at a time, and none outside of its row.
template <typename Pixel>
class Canvas {
 public:
  Canvas(uint32_t width, uint32_t height) : width_(width), pixels_(uint64_t{width} * height) {}

  bool Full() const { return y_ * width_ >= pixels_.size(); }
  const std::vector<Pixel>& Pixels() const { return pixels_; }

  void Place(Pixel pixel) {
    if (x_ < width_) pixels_[y_ * width_ + x_++] = pixel;
  }

  void EndLine() {
    x_ = 0;
    ++y_;
  }

  void Move(uint8_t dx, uint8_t dy) {
    x_ = x_ + dx < width_ ? x_ + dx : width_;
    y_ += dy;
  }

 private:
  uint64_t width_;
  uint64_t x_ = 0;
  uint64_t y_ = 0;
  std::vector<Pixel> pixels_;
};

// How a record of each depth holds its pixels. Pixel `i` of those that begin at `bytes`.
struct Nibbles {
  using Pixel = uint8_t;
  static constexpr size_t kRunBytes = 1;
  static size_t Bytes(size_t pixels) { return (pixels + 1) / 2; }
  static Pixel At(const uint8_t* bytes, size_t i) {
    return i % 2 == 0 ? bytes[i / 2] >> 4 : bytes[i / 2] & 15;
  }
  static Pixel OfRun(const uint8_t* bytes, size_t i) { return At(bytes, i % 2); }
};

struct Indices {
  using Pixel = uint8_t;
  static constexpr size_t kRunBytes = 1;
  static size_t Bytes(size_t pixels) { return pixels; }
  static Pixel At(const uint8_t* bytes, size_t i) { return bytes[i]; }
  static Pixel OfRun(const uint8_t* bytes, size_t) { return bytes[0]; }
};

struct Triples {
  using Pixel = Shown;
  static constexpr size_t kRunBytes = 3;
  static size_t Bytes(size_t pixels) { return 3 * pixels; }
  static Pixel At(const uint8_t* bytes, size_t i) {
    return {bytes[3 * i + 2], bytes[3 * i + 1], bytes[3 * i]};
  }
  static Pixel OfRun(const uint8_t* bytes, size_t) { return At(bytes, 0); }
};

template <typename Kind>
Canvas<typename Kind::Pixel> Draw(const BitmapDescription& bitmap, File stream) {
  Canvas<typename Kind::Pixel> canvas(bitmap.width, bitmap.height);
  size_t at = 0;
  while (at + 2 <= stream.size() && !canvas.Full()) {
    const uint8_t count = stream[at];
    const uint8_t value = stream[at + 1];
    if (count > 0) {
      if (at + 1 + Kind::kRunBytes > stream.size()) break;
      for (size_t i = 0; i < count; ++i) canvas.Place(Kind::OfRun(stream.data() + at + 1, i));
      at += 1 + Kind::kRunBytes;
      continue;
    }
    at += 2;
    if (value == 0) {
      canvas.EndLine();
    } else if (value == 1) {
      break;
    } else if (value == 2) {
      if (at + 2 > stream.size()) break;
      canvas.Move(stream[at], stream[at + 1]);
      at += 2;
    } else {
      const size_t bytes = Kind::Bytes(value);
      for (size_t i = 0; i < value && at + Kind::Bytes(i + 1) <= stream.size(); ++i) {
        canvas.Place(Kind::At(stream.data() + at, i));
      }
      at += bytes + bytes % 2;
    }
  }
  return canvas;
}

}  // namespace

std::vector<Shown> ShownPixels(const BitmapDescription& bitmap, File file) {
  if (HasRows(bitmap)) {
    std::vector<uint8_t> whole(file.begin(), file.end());
    whole.resize(whole.size() + bitmap.missingBytes);
    return RowPixels(bitmap, whole);
  }
  const File stream = file.subspan(bitmap.pixelOffset, bitmap.pixelBytes);
  if (bitmap.compression == BitmapCompression::kRle24) {
    return Draw<Triples>(bitmap, stream).Pixels();
  }
  const auto canvas =
      bitmap.bitCount == 4 ? Draw<Nibbles>(bitmap, stream) : Draw<Indices>(bitmap, stream);
  std::vector<Shown> pixels;
  for (const uint8_t index : canvas.Pixels()) pixels.push_back(TableColor(bitmap, file, index));
  return pixels;
}

}  // namespace dibfuzz
