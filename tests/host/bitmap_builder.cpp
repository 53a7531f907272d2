// SPDX-License-Identifier: Apache-2.0
#include "bitmap_builder.h"

#include <cstdlib>

namespace dibkit::test {

void Append16(Bytes& bytes, uint16_t value) {
  bytes.push_back(static_cast<unsigned char>(value));
  bytes.push_back(static_cast<unsigned char>(value >> 8));
}

void Append32(Bytes& bytes, uint32_t value) {
  Append16(bytes, static_cast<uint16_t>(value));
  Append16(bytes, static_cast<uint16_t>(value >> 16));
}

uint64_t Stride(uint32_t width, uint16_t bitCount) {
  return (uint64_t{width} * bitCount + 31) / 32 * 4;
}

Bytes BitmapBuilder::Table() const {
  if (table) {
    return *table;
  }
  Bytes grey;
  const uint32_t entries = bitCount <= 8 ? 1U << bitCount : 0;
  for (uint32_t i = 0; i < entries; ++i) {
    const auto level = static_cast<unsigned char>(i * 255 / (entries - 1));
    grey.insert(grey.end(), 3, level);
    if (headerBytes != 12) {
      grey.push_back(0);
    }
  }
  return grey;
}

Bytes BitmapBuilder::Pixels() const {
  if (pixels) {
    return *pixels;
  }
  const uint64_t rows = static_cast<uint64_t>(std::abs(int64_t{height}));
  Bytes counting(static_cast<size_t>(Stride(static_cast<uint32_t>(width), bitCount) * rows));
  unsigned char next = 1;
  for (unsigned char& byte : counting) {
    byte = next++;
  }
  return counting;
}

Bytes BitmapBuilder::Build() const {
  Bytes header;
  Append32(header, headerBytes);
  if (headerBytes == 12) {
    Append16(header, static_cast<uint16_t>(width));
    Append16(header, static_cast<uint16_t>(height));
    Append16(header, planes);
    Append16(header, bitCount);
  } else {
    Append32(header, static_cast<uint32_t>(width));
    Append32(header, static_cast<uint32_t>(height));
    Append16(header, planes);
    Append16(header, bitCount);
    for (const uint32_t field : {compression, sizeImage, static_cast<uint32_t>(xPelsPerMeter),
                                 static_cast<uint32_t>(yPelsPerMeter), colorsUsed, 0U}) {
      Append32(header, field);
    }
    header.resize(headerBytes);
  }
  const Bytes colors = Table();
  const size_t offset = 14 + header.size() + masks.size() + colors.size() + gap;
  const Bytes rows = Pixels();

  Bytes file(magic.begin(), magic.end());
  Append32(file, static_cast<uint32_t>(offset + rows.size()));
  Append32(file, 0);
  Append32(file, pixelOffset.value_or(static_cast<uint32_t>(offset)));
  file.insert(file.end(), header.begin(), header.end());
  file.insert(file.end(), masks.begin(), masks.end());
  file.insert(file.end(), colors.begin(), colors.end());
  file.insert(file.end(), gap, 0xEE);
  file.insert(file.end(), rows.begin(), rows.end());
  return file;
}

}  // namespace dibkit::test
