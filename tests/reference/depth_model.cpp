// SPDX-License-Identifier: Apache-2.0
#include "reference/depth_model.h"

#include <algorithm>

#include "reference/rle_model.h"

namespace dibtest {
namespace {

using Bytes = std::vector<uint8_t>;

// A packed DIB seen through its header. Bytes that are not there read as 0.
class View {
 public:
  explicit View(const Bytes& bytes) : m_bytes(bytes) {}

  uint64_t Number(uint64_t at, int length) const {
    uint64_t value = 0;
    for (int i = length - 1; i >= 0; --i) {
      const uint64_t byte = at + static_cast<uint64_t>(i);
      value = value * 256 + (byte < m_bytes.size() ? m_bytes[static_cast<size_t>(byte)] : 0);
    }
    return value;
  }

  bool Info() const { return Number(0, 4) == 40; }
  bool Core() const { return Number(0, 4) == 12; }
  int64_t Width() const { return Info() ? Signed(4) : static_cast<int64_t>(Number(4, 2)); }
  int64_t Height() const { return Info() ? Signed(8) : static_cast<int64_t>(Number(6, 2)); }
  unsigned Bits() const { return static_cast<unsigned>(Number(Info() ? 14 : 10, 2)); }
  unsigned Compression() const { return Info() ? static_cast<unsigned>(Number(16, 4)) : 0; }
  bool Packed() const { return Compression() == 1 || Compression() == 2; }
  int64_t StreamBytes() const { return std::max<int64_t>(Signed(20), 0); }

  unsigned Colors() const {
    if (Info() && Number(32, 4) != 0) return static_cast<unsigned>(Number(32, 2));
    switch (Bits()) {
      case 1:
        return 2;
      case 4:
        return 16;
      case 8:
        return 256;
      default:
        return 0;
    }
  }
  uint64_t RowsAt() const { return Number(0, 4) + Colors() * (Info() ? 4U : 3U) % 65536; }
  uint64_t Stride() const {
    return (uint64_t{Bits()} * static_cast<uint64_t>(Width()) + 31) / 32 * 4;
  }

  // A byte of the rows; a run-length stream read as rows ends where it ends.
  uint64_t RowBytes(uint64_t y, uint64_t at, int length) const {
    uint64_t value = 0;
    for (int i = length - 1; i >= 0; --i) {
      const uint64_t byte = y * Stride() + at + static_cast<uint64_t>(i);
      const bool there = !Packed() || byte < static_cast<uint64_t>(StreamBytes());
      value = value * 256 + (there ? Number(RowsAt() + byte, 1) : 0);
    }
    return value;
  }

  uint64_t Pixel(uint64_t x, uint64_t y) const {
    if (Bits() >= 8) return RowBytes(y, x * Bits() / 8, static_cast<int>(Bits() / 8));
    const uint64_t perByte = 8 / Bits();
    uint64_t byte = RowBytes(y, x / perByte, 1);
    for (uint64_t i = x % perByte; i + 1 < perByte; ++i) byte /= uint64_t{1} << Bits();
    return byte % (uint64_t{1} << Bits());
  }

 private:
  int64_t Signed(uint64_t at) const {
    const int64_t value = static_cast<int64_t>(Number(at, 4));
    return value < 0x80000000 ? value : value - 0x100000000;
  }

  const Bytes& m_bytes;
};

void Put(Bytes& bytes, uint64_t at, uint64_t value, int length) {
  for (int i = 0; i < length; ++i, value /= 256) {
    bytes[static_cast<size_t>(at) + static_cast<size_t>(i)] = static_cast<uint8_t>(value % 256);
  }
}

unsigned CreatedBits(unsigned bits) {
  for (const unsigned step : {1U, 4U, 8U, 16U, 24U}) {
    if (bits <= step) return step;
  }
  return bits <= 32 ? bits : 24;
}

std::optional<Bytes> Fresh(int64_t width, int64_t height, unsigned bits) {
  if (width <= 0 || height <= 0) return std::nullopt;
  bits = CreatedBits(bits);
  const uint64_t table = bits <= 8 ? 4 * (uint64_t{1} << bits) : 0;
  const uint64_t stride = (bits * static_cast<uint64_t>(width) + 31) / 32 * 4;
  Bytes bytes(static_cast<size_t>(40 + table + stride * static_cast<uint64_t>(height)), 0);
  Put(bytes, 0, 40, 4);
  Put(bytes, 4, static_cast<uint64_t>(width), 4);
  Put(bytes, 8, static_cast<uint64_t>(height), 4);
  Put(bytes, 12, 1, 2);
  Put(bytes, 14, bits, 2);
  return bytes;
}

struct Color {
  unsigned red;
  unsigned green;
  unsigned blue;
};

Color TableColor(const View& dib, uint64_t index) {
  if (index >= dib.Colors()) return {0, 0, 0};
  const uint64_t at = dib.Info() ? 40 + 4 * index : 12 + 3 * index;
  return {static_cast<unsigned>(dib.Number(at + 2, 1)),
          static_cast<unsigned>(dib.Number(at + 1, 1)), static_cast<unsigned>(dib.Number(at, 1))};
}

// The lowest run of set bits of the mask, as the top bits of a byte. A run that reaches bit 31 goes
// on at bit 0, where its bits still weigh what they weigh.
unsigned FieldValue(uint64_t pixel, uint64_t mask) {
  if (mask == 0) return 0;
  int low = 0;
  while ((mask >> low) % 2 == 0) ++low;
  int run = 1;
  while (run < 32 && (mask >> (low + run) % 32) % 2 == 1) ++run;
  const uint64_t bits = (pixel & mask) >> (run > 8 ? low + run - 8 : low);
  return static_cast<unsigned>((run > 8 ? bits : bits << (8 - run)) % 256);
}

unsigned Widened(uint64_t channel) {
  return channel % 32 == 0 ? 0 : static_cast<unsigned>(channel % 32 * 8 + 7);
}

Color PixelColor(const View& dib, uint64_t x, uint64_t y, unsigned targetBits) {
  const uint64_t pixel = dib.Pixel(x, y);
  const bool fields = dib.Compression() == 3;
  if (dib.Bits() <= 8) return TableColor(dib, pixel);
  if (fields && dib.Bits() != 24) {
    const unsigned red = FieldValue(pixel, dib.Number(40, 4));
    const unsigned blue = FieldValue(pixel, dib.Number(48, 4));
    return {red, FieldValue(pixel, dib.Number(44, 4)), targetBits == 16 ? red : blue};
  }
  if (dib.Bits() == 16) return {Widened(pixel / 1024), Widened(pixel / 32), Widened(pixel)};
  return {static_cast<unsigned>(pixel / 65536 % 256), static_cast<unsigned>(pixel / 256 % 256),
          static_cast<unsigned>(pixel % 256)};
}

std::optional<Bytes> ExpandSlowly(const Bytes& bytes) {
  const View dib(bytes);
  if (dib.Bits() != 8 || dib.Compression() != 1) return std::nullopt;
  std::optional<Bytes> result = Fresh(dib.Width(), dib.Height(), 8);
  if (!result) return std::nullopt;
  const uint64_t table = std::min<uint64_t>(dib.Colors(), 256) * 4;
  for (uint64_t i = 40; i < 40 + table; ++i) Put(*result, i, dib.Number(i, 1), 1);
  Bytes stream;
  for (int64_t i = 0; i < dib.StreamBytes(); ++i) {
    stream.push_back(static_cast<uint8_t>(dib.Number(dib.RowsAt() + static_cast<uint64_t>(i), 1)));
  }
  const Bytes area = DecodeRleSlowly(8, stream, static_cast<size_t>(dib.Width()),
                                     static_cast<size_t>(dib.Height()))
                         .area;
  std::copy(area.begin(), area.end(), result->begin() + 1064);
  return result;
}

std::optional<Bytes> CopySlowly(const View& dib, Bytes result) {
  uint64_t length = dib.RowsAt() + dib.Stride() * static_cast<uint64_t>(dib.Height());
  if (dib.Packed()) {
    length = std::min(length, dib.RowsAt() + static_cast<uint64_t>(dib.StreamBytes()));
  }
  for (uint64_t i = 0; i < std::min<uint64_t>(length, result.size()); ++i) {
    Put(result, i, dib.Number(i, 1), 1);
  }
  return result;
}

}  // namespace

std::optional<Bytes> TurnSlowly(const Bytes& bytes) {
  const View dib(bytes);
  if (dib.Height() >= 0 || dib.Packed()) return std::nullopt;
  std::optional<Bytes> result = Fresh(dib.Width(), -dib.Height(), dib.Bits());
  if (!result) return std::nullopt;
  const uint64_t rows = static_cast<uint64_t>(-dib.Height());
  const uint64_t first = View(*result).RowsAt();
  for (uint64_t y = 0; y < rows; ++y) {
    for (uint64_t i = 0; i < dib.Stride(); ++i) {
      const uint64_t to = first + (rows - 1 - y) * dib.Stride() + i;
      if (to < result->size()) Put(*result, to, dib.RowBytes(y, i, 1), 1);
    }
  }
  return result;
}

std::optional<Bytes> ConvertSlowly(const Bytes& bytes, unsigned bits) {
  if (!View(bytes).Info() && !View(bytes).Core()) return std::nullopt;
  std::optional<Bytes> normal;
  if (View(bytes).Info()) normal = View(bytes).Packed() ? ExpandSlowly(bytes) : TurnSlowly(bytes);
  const View dib(normal ? *normal : bytes);
  std::optional<Bytes> result = Fresh(dib.Width(), dib.Height(), bits);
  if (!result) return std::nullopt;
  if (dib.Bits() == bits) return CopySlowly(dib, *result);
  if (dib.Bits() != 1 && dib.Bits() != 4 && dib.Bits() != 8 && dib.Bits() != 16 &&
      dib.Bits() != 24 && dib.Bits() != 32) {
    return std::nullopt;
  }
  const uint64_t stride = View(*result).Stride();
  for (uint64_t y = 0; y < static_cast<uint64_t>(dib.Height()); ++y) {
    for (uint64_t x = 0; x < static_cast<uint64_t>(dib.Width()); ++x) {
      const Color c = PixelColor(dib, x, y, bits);
      const uint64_t at = 40 + y * stride + x * bits / 8;
      const uint64_t value = bits == 24 ? c.blue + c.green * 256 + c.red * 65536
                                        : c.blue / 8 + c.green / 8 * 32 + c.red / 8 * 1024;
      Put(*result, at, value, static_cast<int>(bits / 8));
    }
  }
  return result;
}

}  // namespace dibtest
