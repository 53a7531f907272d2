// SPDX-License-Identifier: Apache-2.0
#include "bitmap/rle24.h"

#include <algorithm>

#include "dibkit/host/dib_layout.h"

namespace dibkit::host {
namespace {

using Stream = std::span<const unsigned char>;

// Second byte of a record whose first is 0; anything above is a number of literal pixels.
constexpr unsigned kEndOfLine = 0;
constexpr unsigned kEndOfBitmap = 1;
constexpr unsigned kMove = 2;
constexpr size_t kPixelBytes = 3;

class Canvas {
 public:
  Canvas(uint32_t width, uint32_t height, std::span<unsigned char> rows)
      : width_(width),
        height_(height),
        stride_(static_cast<size_t>(RowStride(width, 24))),
        rows_(rows) {}

  bool IsFull() const { return y_ >= height_; }

  void Run(uint32_t count, Stream pixel) {
    for (count = std::min(count, width_ - x_); count != 0; --count) {
      Place(pixel);
    }
  }

  void Literals(Stream pixels) {
    for (; pixels.size() >= kPixelBytes && x_ < width_; pixels = pixels.subspan(kPixelBytes)) {
      Place(pixels);
    }
  }

  void EndLine() {
    x_ = 0;
    ++y_;
  }

  void Move(uint32_t dx, uint32_t dy) {
    x_ += std::min(dx, width_ - x_);
    y_ += dy;
  }

 private:
  void Place(Stream pixel) {
    const size_t at = static_cast<size_t>(y_) * stride_ + x_ * kPixelBytes;
    std::copy_n(pixel.begin(), kPixelBytes, rows_.begin() + static_cast<std::ptrdiff_t>(at));
    ++x_;
  }

  uint32_t width_;
  uint32_t height_;
  size_t stride_;
  std::span<unsigned char> rows_;
  uint32_t x_ = 0;  // at most the width
  uint64_t y_ = 0;
};

// Takes what an escape record has behind its two bytes; false at the end of the image.
bool Escape(unsigned value, Stream& stream, Canvas& canvas) {
  if (value == kEndOfBitmap) {
    return false;
  }
  if (value == kEndOfLine) {
    canvas.EndLine();
    return true;
  }
  if (value == kMove) {
    if (stream.size() < 2) {
      return false;
    }
    canvas.Move(stream[0], stream[1]);
    stream = stream.subspan(2);
    return true;
  }
  const size_t bytes = value * kPixelBytes;
  canvas.Literals(stream.first(std::min(bytes, stream.size())));
  stream = stream.subspan(std::min(bytes + bytes % 2, stream.size()));
  return true;
}

}  // namespace

void ExpandRle24(Stream stream, uint32_t width, uint32_t height, std::span<unsigned char> rows) {
  Canvas canvas(width, height, rows);
  while (stream.size() >= 2 && !canvas.IsFull()) {
    const unsigned count = stream[0];
    if (count == 0) {
      const unsigned value = stream[1];
      stream = stream.subspan(2);
      if (!Escape(value, stream, canvas)) {
        return;
      }
    } else if (stream.size() > kPixelBytes) {
      canvas.Run(count, stream.subspan(1, kPixelBytes));
      stream = stream.subspan(1 + kPixelBytes);
    } else {
      return;
    }
  }
}

}  // namespace dibkit::host
