// SPDX-License-Identifier: Apache-2.0
//
// Windows bitmap files into packed DIBs.
#ifndef DIBKIT_HOST_BITMAP_FILE_H
#define DIBKIT_HOST_BITMAP_FILE_H

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
  // Reads and checks the headers. Throws BitmapError and what the source throws.
  explicit BitmapFile(std::unique_ptr<ByteSource> source);

  // The same for a path; "-" is standard input.
  static BitmapFile Open(const std::string& path, CancelHook cancelled = nullptr);

  const BitmapDescription& Description() const { return description_; }

  // Throws BitmapError (kCompressionNotConvertible, kTooLarge) when ReadDib cannot make a DIB of
  // this image: fax, RLE24, JPEG and PNG pixels are not read.
  void CheckConvertible() const;

  // The image as a new packed DIB, presented so that every function of the library and those of
  // conversion.h take it right:
  // - a 40-byte header with the resolution, whatever header the file has;
  // - at 1, 4 and 8 bits a full table of 2^bits entries (cut, or filled up with black) and a
  //   biClrUsed of 0; no table at other depths;
  // - images of 2 bits at 4 bits;
  // - bit-field images with their three colour masks and a biClrUsed of 3, which makes DIBBits pass
  //   the masks over; an alpha mask is dropped;
  // - rows directly behind, in the file's order (a negative height says that the top row is first);
  // - a run-length stream in which no record leaves its row, biSizeImage being its length.
  // No more memory is taken than the DIB needs (and twice the stream, where there is one), and only
  // after the file was seen to hold all of its pixels. Throws BitmapError.
  OwnedBlock ReadDib();

 private:
  void ReadTable(std::span<unsigned char> into);
  std::vector<unsigned char> ReadStream();
  void ReadTwoBitRows(std::span<unsigned char> into);

  std::unique_ptr<ByteSource> source_;
  BitmapDescription description_;
};

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_BITMAP_FILE_H
