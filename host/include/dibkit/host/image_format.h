// SPDX-License-Identifier: Apache-2.0
//
// The file formats, and which of them this build reads and writes.
#ifndef DIBKIT_HOST_IMAGE_FORMAT_H
#define DIBKIT_HOST_IMAGE_FORMAT_H

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace dibkit::host {

enum class ImageFormat { kBmp, kTiff, kPng, kJpeg };

// How the pixels of a file are packed. A format takes only some of them, see Holds().
enum class Compression { kNone, kLzw, kDeflate, kPackBits, kG3, kG4, kJpeg, kRunLength, kOther };

// "BMP", "TIFF", "PNG", "JPEG".
const char* FormatName(ImageFormat format);

// "none", "LZW", "Deflate", "PackBits", "G3", "G4", "JPEG", "RLE", "other".
const char* CompressionName(Compression compression);

// The formats whose codec is built in, BMP always among them.
std::vector<ImageFormat> BuiltInFormats();
bool IsBuiltIn(ImageFormat format);

// The codecs with their versions, as "libtiff 4.5.0"; empty for BMP.
std::string CodecVersion(ImageFormat format);

// What FormatOfContent looks at.
inline constexpr size_t kFormatBytes = 16;

// By the first bytes, kFormatBytes of them where the file has so many; none when they are of no
// format, whether or not its codec is built in.
std::optional<ImageFormat> FormatOfContent(std::span<const unsigned char> start);

// By the suffix of a file name, in capitals or not: .bmp .dib .tif .tiff .png .jpg .jpeg.
std::optional<ImageFormat> FormatOfName(std::string_view path);

// ".bmp", ".tif", ".png", ".jpg".
const char* UsualSuffix(ImageFormat format);

// True when a file of the format may have several pages.
bool HoldsPages(ImageFormat format);

// True when `format` can pack an image of `bitCount` bits a pixel (as a DIB) so: TIFF 1 bit with
// kNone, kLzw, kDeflate, kPackBits, kG3, kG4; TIFF 4 and 8 bits with kNone, kLzw, kDeflate,
// kPackBits; TIFF 24 bits with these and kJpeg, as have 8 bits where the table is grey; PNG
// kDeflate, JPEG kJpeg, BMP kNone.
bool Holds(ImageFormat format, Compression compression, unsigned bitCount, bool greyTable);

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_IMAGE_FORMAT_H
