// SPDX-License-Identifier: Apache-2.0
//
// Windows bitmap files into packed DIBs.
#ifndef DIBKIT_HOST_BITMAP_FILE_H
#define DIBKIT_HOST_BITMAP_FILE_H

#include <limits>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "dibkit/host/bitmap_description.h"
#include "dibkit/host/byte_source.h"
#include "dibkit/host/global_memory.h"

namespace dibkit::host {

class BitmapFile {
 public:
  // Reads and checks the headers. An image of more than `maxPixels` is refused (kTooManyPixels).
  // Throws ImageError and what the source throws.
  explicit BitmapFile(std::unique_ptr<ByteSource> source,
                      uint64_t maxPixels = std::numeric_limits<uint64_t>::max());

  // The same for a path; "-" is standard input.
  static BitmapFile Open(const std::string& path, const CancelHook& cancelled = nullptr,
                         uint64_t maxPixels = std::numeric_limits<uint64_t>::max());

  const BitmapDescription& Description() const { return description_; }

  // Throws ImageError (kCompressionNotConvertible, kTooLarge) when ReadDib cannot make a DIB of
  // this image: embedded JPEG and PNG files are read through the codecs of dibkit::formats only.
  void CheckConvertible() const;

  // What is wrong with a file that is read all the same, a line for people each: of its headers
  // from the start, of its pixels once they have been read.
  const std::vector<std::string>& Remarks() const { return remarks_; }

  // True when there is a colour table (1 to 8 bits) and all that is in it is grey. Reads the table.
  bool HasGreyTable();

  // The image as a new packed DIB in the file's own form, presented for the functions of
  // conversion.h and remedies.h. The library's own functions do not take every form: the resolution
  // conversion wants plain rows, bottom row first, of 1, 4, 8 or 24 bits, and a run-length,
  // top-down, bit-field, 16- or 32-bit image must go through Normalized or To24Bits before it. How
  // it is presented:
  // - a 40-byte header with the resolution, whatever header the file has;
  // - at 1, 4 and 8 bits a full table of 2^bits entries (cut, or filled up with black) and a
  //   biClrUsed of 0; no table at other depths;
  // - images of 2 bits at 4 bits;
  // - bit-field images with their three colour masks and a biClrUsed of 3, which makes DIBBits pass
  //   the masks over; an alpha mask is dropped;
  // - rows directly behind, in the file's order (a negative height says that the top row is first);
  // - a run-length stream in which no record leaves its row, biSizeImage being its length;
  // - RLE24 and fax streams, of which the library knows nothing, as rows of 24 bits and 1 bit.
  // No more memory is taken than the DIB needs (and twice the stream, where there is one), and only
  // after the file was seen to hold all of its pixels; from a pipe, rows are seen as they come.
  // Throws ImageError and what the source throws. A pipe can be read once.
  OwnedBlock ReadDib();

  // The same with the bottom row first whatever the file's order, turned as it is read.
  OwnedBlock ReadBottomUpDib();

  // As ReadDib, with zeros behind a run-length stream up to where rows of its size would end, so
  // that a function of the library that takes the stream for rows stays inside the block.
  OwnedBlock ReadPaddedDib();

 private:
  enum class Form { kStored, kBottomUp, kPadded };

  OwnedBlock ReadBlock(Form wanted);
  std::vector<unsigned char> ReadTable();
  std::vector<unsigned char> ReadStream();
  void FillRows(std::span<const unsigned char> stream, bool turned, uint16_t bitCount,
                std::span<unsigned char> rows);
  void ExpandFax(std::span<const unsigned char> stream, std::span<unsigned char> rows);
  void Remark(const std::string& text);

  std::unique_ptr<ByteSource> source_;
  BitmapDescription description_;
  std::vector<std::string> remarks_;
};

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_BITMAP_FILE_H
