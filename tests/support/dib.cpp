// SPDX-License-Identifier: Apache-2.0
#include "support/dib.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace dibtest {
namespace {

size_t DefaultEntries(unsigned bits) { return bits <= 8 ? size_t{1} << bits : 0; }

size_t RowsOf(int32_t height) {
  return static_cast<size_t>(height < 0 ? -int64_t{height} : int64_t{height});
}

}  // namespace

uint32_t Random::Next() {
  m_state = m_state * 6364136223846793005u + 1442695040888963407u;
  const uint32_t mixed = static_cast<uint32_t>(((m_state >> 18) ^ m_state) >> 27);
  const uint32_t turn = static_cast<uint32_t>(m_state >> 59);
  return mixed >> turn | mixed << ((32 - turn) & 31);
}

size_t StrideOf(unsigned bits, size_t width) { return (bits * width + 31) / 32 * 4; }

Dib::Dib(const DibShape& shape) : m_core(shape.core) {
  const size_t entries = shape.tableEntries >= 0 ? static_cast<size_t>(shape.tableEntries)
                                                 : DefaultEntries(shape.bits);
  m_rowsOffset = TableOffset() + entries * EntrySize() + 4 * shape.masks.size();
  const size_t rowBytes =
      shape.rowBytes >= 0
          ? static_cast<size_t>(shape.rowBytes)
          : StrideOf(shape.bits, static_cast<size_t>(shape.width)) * RowsOf(shape.height);
  m_bytes.assign(m_rowsOffset + rowBytes, 0);
  if (m_core) {
    Set32(0, 12);
    Set16(4, static_cast<uint16_t>(shape.width));
    Set16(6, static_cast<uint16_t>(shape.height));
    Set16(8, 1);
    Set16(10, shape.bits);
    return;
  }
  Set32(0, 40);
  Set32(4, static_cast<uint32_t>(shape.width));
  Set32(8, static_cast<uint32_t>(shape.height));
  Set16(12, 1);
  Set16(14, shape.bits);
  Set32(16, shape.compression);
  Set32(20, shape.sizeImage);
  Set32(24, static_cast<uint32_t>(shape.xPels));
  Set32(28, static_cast<uint32_t>(shape.yPels));
  Set32(32, shape.clrUsed);
  Set32(36, shape.clrImportant);
  for (size_t i = 0; i != shape.masks.size(); ++i) {
    Set32(TableOffset() + entries * EntrySize() + 4 * i, shape.masks[i]);
  }
}

Dib Dib::FromBytes(const std::vector<uint8_t>& bytes) {
  Dib dib;
  dib.m_bytes = bytes;
  dib.m_rowsOffset = 40 + 4 * DefaultEntries(dib.Bits());
  return dib;
}

Dib Dib::FromHandle(tagHANDLE* handle) { return FromBytes(BytesOf(handle)); }

tagHANDLE* Dib::ToHandle() const { return HandleFromBytes(m_bytes); }

uint16_t Dib::Get16(size_t offset) const {
  return static_cast<uint16_t>(m_bytes.at(offset) | m_bytes.at(offset + 1) << 8);
}

uint32_t Dib::Get32(size_t offset) const {
  return Get16(offset) | uint32_t{Get16(offset + 2)} << 16;
}

void Dib::Set16(size_t offset, uint16_t value) {
  m_bytes.at(offset) = static_cast<uint8_t>(value);
  m_bytes.at(offset + 1) = static_cast<uint8_t>(value >> 8);
}

void Dib::Set32(size_t offset, uint32_t value) {
  Set16(offset, static_cast<uint16_t>(value));
  Set16(offset + 2, static_cast<uint16_t>(value >> 16));
}

int32_t Dib::Width() const { return m_core ? Get16(4) : static_cast<int32_t>(Get32(4)); }
int32_t Dib::Height() const { return m_core ? Get16(6) : static_cast<int32_t>(Get32(8)); }
size_t Dib::Rows() const { return RowsOf(Height()); }
uint16_t Dib::Bits() const { return Get16(m_core ? 10 : 14); }

Rgb Dib::Color(size_t index) const {
  const uint8_t* entry = m_bytes.data() + TableOffset() + index * EntrySize();
  return {entry[2], entry[1], entry[0]};
}

void Dib::SetColor(size_t index, Rgb color) {
  uint8_t* entry = m_bytes.data() + TableOffset() + index * EntrySize();
  entry[0] = color.blue;
  entry[1] = color.green;
  entry[2] = color.red;
}

void Dib::SetGrayRamp() {
  const size_t entries = DefaultEntries(Bits());
  for (size_t i = 0; i != entries; ++i) {
    const uint8_t level = static_cast<uint8_t>(i * 255 / (entries - 1));
    SetColor(i, {level, level, level});
  }
}

void Dib::SetBlackWhite(bool whiteFirst) {
  SetColor(whiteFirst ? 1 : 0, {0, 0, 0});
  SetColor(whiteFirst ? 0 : 1, {255, 255, 255});
}

void Dib::SetRandomTable(Random& random) {
  for (size_t i = 0; i != DefaultEntries(Bits()); ++i) {
    SetColor(i, {random.Byte(), random.Byte(), random.Byte()});
  }
}

void Dib::SetRandomGrayTable(Random& random) {
  for (size_t i = 0; i != DefaultEntries(Bits()); ++i) {
    const uint8_t level = random.Byte();
    SetColor(i, {level, level, level});
  }
}

uint32_t Dib::Pixel(size_t x, size_t y) const {
  const uint8_t* row = Row(y);
  switch (Bits()) {
    case 1:
      return static_cast<uint32_t>(row[x / 8] >> (7 - x % 8)) & 1u;
    case 4:
      return x % 2 == 0 ? uint32_t{row[x / 2]} >> 4 : row[x / 2] & 15u;
    case 8:
      return row[x];
    case 16:
      return row[2 * x] | uint32_t{row[2 * x + 1]} << 8;
    case 24:
      return row[3 * x] | uint32_t{row[3 * x + 1]} << 8 | uint32_t{row[3 * x + 2]} << 16;
    case 32:
      return row[4 * x] | uint32_t{row[4 * x + 1]} << 8 | uint32_t{row[4 * x + 2]} << 16 |
             uint32_t{row[4 * x + 3]} << 24;
    default:
      std::fprintf(stderr, "Dib::Pixel: %d bits\n", Bits());
      std::abort();
  }
}

void Dib::SetPixel(size_t x, size_t y, uint32_t value) {
  uint8_t* row = Row(y);
  const unsigned bits = Bits();
  if (bits < 8) {
    const size_t perByte = 8 / bits;
    const unsigned shift = static_cast<unsigned>((perByte - 1 - x % perByte) * bits);
    const unsigned mask = ((1u << bits) - 1) << shift;
    row[x / perByte] = static_cast<uint8_t>((row[x / perByte] & ~mask) | (value << shift & mask));
    return;
  }
  for (unsigned i = 0; i != bits / 8; ++i) {
    row[x * (bits / 8) + i] = static_cast<uint8_t>(value >> 8 * i);
  }
}

Rgb Dib::PixelColor(size_t x, size_t y) const {
  const uint32_t value = Pixel(x, y);
  if (Bits() <= 8) return Color(value);
  if (Bits() == 16) {
    return {static_cast<uint8_t>((value >> 10 & 31) << 3),
            static_cast<uint8_t>((value >> 5 & 31) << 3), static_cast<uint8_t>((value & 31) << 3)};
  }
  return {static_cast<uint8_t>(value >> 16), static_cast<uint8_t>(value >> 8),
          static_cast<uint8_t>(value)};
}

void Dib::FillRandom(Random& random, bool withPadding) {
  if (withPadding) {
    std::generate(m_bytes.begin() + static_cast<ptrdiff_t>(m_rowsOffset), m_bytes.end(),
                  [&] { return random.Byte(); });
    return;
  }
  for (size_t y = 0; y != Rows(); ++y) {
    for (size_t x = 0; x != static_cast<size_t>(Width()); ++x) SetPixel(x, y, random.Next());
  }
}

void Dib::FillSmooth(Random& random) {
  const uint32_t dx[3] = {random.Below(900), random.Below(900), random.Below(900)};
  const uint32_t dy[3] = {random.Below(900), random.Below(900), random.Below(900)};
  for (size_t y = 0; y != Rows(); ++y) {
    for (size_t x = 0; x != static_cast<size_t>(Width()); ++x) {
      uint32_t value = 0;
      for (unsigned c = 0; c != 3; ++c) {
        const size_t level = (x * dx[c] + y * dy[c]) / 256 + random.Below(3);
        value |= static_cast<uint32_t>(level & 255) << 8 * c;
      }
      SetPixel(x, y, Bits() < 8 ? value >> (8 - Bits()) : value);
    }
  }
}

std::vector<uint8_t> BytesOf(tagHANDLE* handle) {
  const unsigned size = GlobalSize(handle);
  const unsigned char* data = static_cast<const unsigned char*>(GlobalLock(handle));
  if (data == nullptr) {
    std::fputs("BytesOf: the block does not lock\n", stderr);
    std::abort();
  }
  std::vector<uint8_t> bytes(data, data + size);
  GlobalUnlock(handle);
  return bytes;
}

tagHANDLE* HandleFromBytes(const std::vector<uint8_t>& bytes) {
  tagHANDLE* handle = GlobalAlloc(GHND, static_cast<unsigned>(bytes.size()));
  void* data = handle != nullptr ? GlobalLock(handle) : nullptr;
  if (data == nullptr) {
    std::fputs("HandleFromBytes: no memory\n", stderr);
    std::abort();
  }
  if (!bytes.empty()) std::memcpy(data, bytes.data(), bytes.size());
  GlobalUnlock(handle);
  return handle;
}

}  // namespace dibtest
