// SPDX-License-Identifier: Apache-2.0
//
// What the headers of a bitmap file say, after everything in them was checked against the file.
#ifndef DIBKIT_HOST_BITMAP_DESCRIPTION_H
#define DIBKIT_HOST_BITMAP_DESCRIPTION_H

#include <array>
#include <cstdint>
#include <limits>
#include <string>

#include "dibkit/host/byte_source.h"

namespace dibkit::host {

// What the pixel area holds. The numbers in a file mean different things behind different headers;
// these do not.
enum class BitmapCompression {
  kNone,            // rows
  kRle8,            // run-length stream, 8 bits
  kRle4,            // run-length stream, 4 bits
  kBitFields,       // rows of 16 or 32 bits with three masks
  kAlphaBitFields,  // the same with four masks
  kRle24,           // run-length stream, 24 bits; behind headers of 16 and 64 bytes only
  kHuffman,         // fax stream, 1 bit; behind headers of 16 and 64 bytes only
  kJpeg,            // an embedded file
  kPng,             // an embedded file
};

// A sound bitmap file. Offsets count from the start of the file.
struct BitmapDescription {
  uint32_t headerBytes;           // 12, 16, 40, 52, 56, 64, 108 or 124
  uint32_t width;                 // 1 to 2^31 - 1
  uint32_t height;                // 1 to 2^31
  bool topDown;                   // the top row is stored first; only where the pixels are rows
  uint16_t bitCount;              // 1, 2, 4, 8, 16, 24, 32; 0 for an embedded file
  BitmapCompression compression;  // fits bitCount
  int32_t xPelsPerMeter;          // as stored, any value; 0 where the header has no such field
  int32_t yPelsPerMeter;          // the same
  std::array<uint32_t, 4>
      masks;              // red, green, blue, alpha as stored, any value; 0 where there are none
  uint64_t tableOffset;   // first entry of the colour table
  uint32_t tableEntries;  // entries that are in the file, before the pixels; may be 0 or any number
  uint32_t tableEntryBytes;  // 3 behind the 12-byte header, otherwise 4
  uint64_t pixelOffset;      // first row, or the stream
  uint64_t pixelBytes;  // all rows with their padding, or the stream; inside the file, but for the
                        // rows of a pipe and embedded files in one, which are looked for as they
                        // are read, and for `missingBytes`
  uint32_t missingBytes;  // of the padding of the last row, which the file lacks; 0 of a pipe
  bool offsetMissing;     // the file does not say where its pixels begin
  bool moreImages;        // the file is an array, of which this is the first
};

// True when the pixel area holds rows.
bool HasRows(const BitmapDescription& bitmap);
// True when it holds a whole JPEG or PNG file.
bool IsEmbedded(const BitmapDescription& bitmap);

// The compression in words: "none", "RLE8", ...
const char* CompressionName(BitmapCompression compression);

// Reads the headers and checks them against the file, without reading table or pixels. Throws
// ImageError for a file that is not sound.
//
// Tolerated, because viewers agree on the meaning: any file size, reserved words and resolution in
// the headers; a gap before the rows and bytes behind them; biSizeImage where the pixels are rows;
// a table that holds fewer entries than the depth can address, because biClrUsed says so or, where
// it does not, because the rows begin early; one that holds more, or belongs to a true-colour
// image; a biSizeImage of 0 in front of a stream, which then goes to the end of the file; an offset
// of 0, which means that the pixels follow the table; a last row without its padding. A stream is
// taken to end where no image of its size can need more, and no file is read further. Of an OS/2
// bitmap array the first image is described.
//
// An image of more than `maxPixels` is refused (kTooManyPixels) before its pixels are looked for.
BitmapDescription DescribeBitmap(ByteSource& file,
                                 uint64_t maxPixels = std::numeric_limits<uint64_t>::max());

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_BITMAP_DESCRIPTION_H
