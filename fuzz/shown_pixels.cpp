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

// The indices of a run-length image; one pixel at a time, and none outside of its row.
class Canvas {
 public:
  Canvas(uint32_t width, uint32_t height) : width_(width), indices_(uint64_t{width} * height) {}

  bool Full() const { return y_ * width_ >= indices_.size(); }
  const std::vector<uint8_t>& Indices() const { return indices_; }

  void Place(uint8_t index) {
    if (x_ < width_) indices_[y_ * width_ + x_++] = index;
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
  std::vector<uint8_t> indices_;
};

// Pixel `i` of a record whose bytes begin at `bytes`.
uint8_t Index(const uint8_t* bytes, size_t i, bool nibbles) {
  if (!nibbles) return bytes[i];
  return i % 2 == 0 ? bytes[i / 2] >> 4 : bytes[i / 2] & 15;
}

Canvas Draw(const BitmapDescription& bitmap, File stream) {
  const bool nibbles = bitmap.bitCount == 4;
  Canvas canvas(bitmap.width, bitmap.height);
  size_t at = 0;
  while (at + 2 <= stream.size() && !canvas.Full()) {
    const uint8_t count = stream[at];
    const uint8_t value = stream[at + 1];
    at += 2;
    if (count > 0) {
      for (size_t i = 0; i < count; ++i) canvas.Place(Index(&value, nibbles ? i % 2 : 0, nibbles));
    } else if (value == 0) {
      canvas.EndLine();
    } else if (value == 1) {
      break;
    } else if (value == 2) {
      if (at + 2 > stream.size()) break;
      canvas.Move(stream[at], stream[at + 1]);
      at += 2;
    } else {
      const size_t bytes = nibbles ? (value + 1) / 2 : value;
      for (size_t i = 0; i < value && at + (nibbles ? i / 2 : i) < stream.size(); ++i) {
        canvas.Place(Index(stream.data() + at, i, nibbles));
      }
      at += bytes + bytes % 2;
    }
  }
  return canvas;
}

}  // namespace

std::vector<Shown> ShownPixels(const BitmapDescription& bitmap, File file) {
  if (HasRows(bitmap)) return RowPixels(bitmap, file);
  const Canvas canvas = Draw(bitmap, file.subspan(bitmap.pixelOffset, bitmap.pixelBytes));
  std::vector<Shown> pixels;
  for (const uint8_t index : canvas.Indices()) pixels.push_back(TableColor(bitmap, file, index));
  return pixels;
}

}  // namespace dibfuzz
