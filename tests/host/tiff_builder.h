// SPDX-License-Identifier: Apache-2.0
//
// TIFF files made by hand, tag by tag, sound or not.
#ifndef DIBKIT_TESTS_HOST_TIFF_BUILDER_H
#define DIBKIT_TESTS_HOST_TIFF_BUILDER_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "bitmap_builder.h"

namespace dibkit::test {

// Types of values as TIFF numbers them.
enum TiffType : uint16_t {
  kTiffByte = 1,
  kTiffAscii = 2,
  kTiffShort = 3,
  kTiffLong = 4,
  kTiffRational = 5,  // two values: numerator, denominator
  kTiffUndefined = 7,
  kTiffFloat = 11,  // values are the bits of the number
  kTiffLong8 = 16
};

struct TiffTag {
  uint16_t tag;
  uint16_t type;
  std::vector<uint64_t> values;
};

struct TiffPage {
  std::vector<TiffTag> tags;
  std::vector<Bytes> segments;  // strips, or tiles where there is a tile width
  // Of StripOffsets and StripByteCounts, where not those of the segments.
  std::optional<std::vector<uint64_t>> offsets{};
  std::optional<std::vector<uint64_t>> byteCounts{};

  // Adds the tag or replaces it.
  TiffPage& Set(uint16_t tag, uint16_t type, std::vector<uint64_t> values);
  TiffPage& SetText(uint16_t tag, const std::string& text);
  TiffPage& Remove(uint16_t tag);
};

struct TiffBuilder {
  bool bigEndian = false;
  bool big = false;  // BigTIFF
  std::vector<TiffPage> pages{};
  // What the last directory names as the next.
  std::optional<uint64_t> afterLast{};

  Bytes Build() const;
};

// What a page is like; its samples come row by row, pixel by pixel.
struct TiffSamples {
  uint32_t width = 1;
  uint32_t height = 1;
  unsigned bits = 8;
  unsigned samples = 1;
  uint16_t photometric = 1;
  std::vector<uint32_t> values{};
};

// One uncompressed strip, its samples side by side.
TiffPage PlainPage(const TiffSamples& image, bool bigEndian = false);
// The same in strips of `rows` rows, each sample in planes of its own.
TiffPage SeparatePage(const TiffSamples& image, uint32_t rows, bool bigEndian = false);
// In tiles of `size` x `size` pixels, side by side or in planes.
TiffPage TiledPage(const TiffSamples& image, uint32_t size, bool separate, bool bigEndian = false);

// `count` samples that look random, the same every time.
std::vector<uint32_t> SomeSamples(size_t count, unsigned bits);

}  // namespace dibkit::test

#endif  // DIBKIT_TESTS_HOST_TIFF_BUILDER_H
