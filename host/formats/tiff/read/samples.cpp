// SPDX-License-Identifier: Apache-2.0
#include "formats/tiff/read/samples.h"

#include <bit>
#include <cstddef>
#include <cstring>

#include "formats/channels.h"

namespace dibkit::host::tiff {
namespace {

uint32_t LoadWord(const unsigned char* at, unsigned bits) {
  if (bits == 32) {
    uint32_t word;
    std::memcpy(&word, at, sizeof word);
    return word;
  }
  const bool isLittle = std::endian::native == std::endian::little;
  return uint32_t{at[isLittle ? 2 : 0]} << 16 | uint32_t{at[1]} << 8 | at[isLittle ? 0 : 2];
}

// Bits in the order in which they stand in the row, the highest first.
uint32_t LoadBits(const unsigned char* row, uint64_t firstBit, unsigned bits) {
  const unsigned char* at = row + firstBit / 8;
  uint64_t value = *at & 0xFFU >> firstBit % 8;
  auto have = static_cast<unsigned>(8 - firstBit % 8);
  while (have < bits) {
    value = value << 8 | *++at;
    have += 8;
  }
  return static_cast<uint32_t>(value >> (have - bits));
}

uint32_t LoadSample(const unsigned char* row, const SamplePlace& place, uint64_t number) {
  return place.bits == 24 || place.bits == 32
             ? LoadWord(row + static_cast<size_t>(number * (place.bits / 8)), place.bits)
             : LoadBits(row, number * place.bits, place.bits);
}

unsigned char ScaledToByte(uint32_t value, unsigned bits) {
  const uint64_t most = (uint64_t{1} << bits) - 1;
  return static_cast<unsigned char>((value * uint64_t{255} + most / 2) / most);
}

void Unpack16(const unsigned char* from, unsigned samples, uint32_t width, unsigned char* to) {
  for (uint32_t x = 0; x < width; ++x, from += 2 * size_t{samples}) {
    uint16_t value;
    std::memcpy(&value, from, sizeof value);
    to[x] = To8Bits(value);
  }
}

}  // namespace

void UnpackSamples(const unsigned char* row, const SamplePlace& place, uint32_t width, bool scaled,
                   unsigned char* to) {
  if (place.bits == 8) {
    const unsigned char* from = row + place.index;
    for (uint32_t x = 0; x < width; ++x, from += place.samples) {
      to[x] = *from;
    }
    return;
  }
  if (place.bits == 16) {
    Unpack16(row + 2 * size_t{place.index}, place.samples, width, to);
    return;
  }
  for (uint32_t x = 0; x < width; ++x) {
    const uint32_t value = LoadSample(row, place, uint64_t{x} * place.samples + place.index);
    to[x] = scaled ? ScaledToByte(value, place.bits) : static_cast<unsigned char>(value);
  }
}

}  // namespace dibkit::host::tiff
