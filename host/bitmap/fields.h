// SPDX-License-Identifier: Apache-2.0
//
// Where the fields of the headers stand.
#ifndef DIBKIT_HOST_BITMAP_FIELDS_H
#define DIBKIT_HOST_BITMAP_FIELDS_H

#include <cstddef>
#include <cstdint>

namespace dibkit::host {

// File header: "BM", file size, two reserved words, offset of the pixels.
inline constexpr size_t kFileHeaderBytes = 14;
inline constexpr size_t kFileSizeField = 2;
inline constexpr size_t kPixelOffsetField = 10;

// Header of an array of bitmaps, of the same length: "BA", its size, offset of the next one, two
// words about a screen.
inline constexpr size_t kNextImageField = 6;

// Header of 12 bytes, from its own start.
inline constexpr uint32_t kCoreHeaderBytes = 12;
inline constexpr size_t kCoreWidth = 4;
inline constexpr size_t kCoreHeight = 6;
inline constexpr size_t kCorePlanes = 8;
inline constexpr size_t kCoreBitCount = 10;

// All other headers; the shortest one ends after the depth.
inline constexpr uint32_t kLongestHeaderBytes = 124;
inline constexpr size_t kBiWidth = 4;
inline constexpr size_t kBiHeight = 8;
inline constexpr size_t kBiPlanes = 12;
inline constexpr size_t kBiBitCount = 14;
inline constexpr size_t kBiCompression = 16;
inline constexpr size_t kBiSizeImage = 20;
inline constexpr size_t kBiXPelsPerMeter = 24;
inline constexpr size_t kBiYPelsPerMeter = 28;
inline constexpr size_t kBiColorsUsed = 32;
inline constexpr size_t kBiMasks = 40;  // inside longer headers, behind a 40-byte one

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_BITMAP_FIELDS_H
