// SPDX-License-Identifier: Apache-2.0
//
// One pass over a PNG file: its header and the chunks before the image, its rows, the chunks
// behind.
#ifndef DIBKIT_HOST_FORMATS_PNG_DECODER_H
#define DIBKIT_HOST_FORMATS_PNG_DECODER_H

#include <cstddef>
#include <cstdint>
#include <span>

#include "formats/png/context.h"
#include "formats/sequential_reader.h"

namespace dibkit::host::png {

// Which pixels a stored row has: all of row `y`, or, in a pass of an interlaced image, every
// `step`-th from `first` on.
struct Row {
  uint32_t y;
  uint32_t first;
  uint32_t step;
  uint32_t count;
};

// Members throw ImageError, std::bad_alloc and what the source throws.
class Decoder {
 public:
  // Reads up to the image. A larger one than `maxPixels` is refused (kTooManyPixels) before
  // anything of it is read.
  Decoder(ByteSource& source, uint64_t maxPixels);
  Decoder(const Decoder&) = delete;
  Decoder& operator=(const Decoder&) = delete;

  const spng_ihdr& Header() const { return header_; }
  const png::Context& Spng() const { return context_; }

  // To be called once, before the first row.
  void BeginRows();
  // The next row, with samples as the file holds them; `into` has room for a row of the whole
  // width. Empty passes are left out. To be called as long as HasRows().
  Row ReadRow(std::span<unsigned char> into);
  bool HasRows() const { return rowsLeft_; }
  // The chunks behind the image, up to the end of the file.
  void ReadRest();

 private:
  static int ReadBytes(spng_ctx* context, void* decoder, void* into, size_t length);

  SequentialReader reader_;
  Context context_;
  spng_ihdr header_{};
  bool rowsLeft_ = false;
};

// Bytes of a row of `width` pixels as the file holds them.
uint64_t StoredRowBytes(const spng_ihdr& header, uint32_t width);

unsigned Channels(const spng_ihdr& header);

}  // namespace dibkit::host::png

#endif  // DIBKIT_HOST_FORMATS_PNG_DECODER_H
