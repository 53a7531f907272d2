// SPDX-License-Identifier: Apache-2.0
//
// PNG files made by hand, chunk by chunk, sound or not.
#ifndef DIBKIT_TESTS_HOST_PNG_BUILDER_H
#define DIBKIT_TESTS_HOST_PNG_BUILDER_H

#include <cstdint>
#include <string>
#include <vector>

#include "bitmap_builder.h"

namespace dibkit::test {

// A chunk with its length and checksum.
Bytes PngChunk(const std::string& type, const Bytes& content);

// A zlib stream.
Bytes Deflated(const Bytes& bytes);

// Most significant byte first.
Bytes BigEndian32(uint32_t value);

Bytes BytesOf(const std::string& text);

struct PngChunkSpec {
  std::string type;
  Bytes content;
};

// A sound file whose samples look random, the same every time; each row has another filter.
struct PngBuilder {
  uint32_t width = 13;
  uint32_t height = 11;
  uint8_t depth = 8;
  uint8_t colourType = 2;
  bool interlaced = false;
  Bytes palette;       // red, green, blue
  Bytes transparency;  // as the tRNS chunk has it
  std::vector<PngChunkSpec> before{};
  std::vector<PngChunkSpec> behind{};
  size_t pieceBytes = 1000;  // of an IDAT chunk

  unsigned Channels() const;
  uint32_t Sample(uint32_t x, uint32_t y, unsigned channel) const;
  Bytes Build() const;
  // 0xRRGGBB from the top row on, as a reader should see them: rounded to 8 bits, over white.
  std::vector<uint32_t> Colours() const;

 private:
  uint32_t ColourAt(uint32_t x, uint32_t y) const;
  bool IsKey(uint32_t x, uint32_t y) const;
  void AppendPass(Bytes& rows, uint32_t x0, uint32_t y0, uint32_t dx, uint32_t dy) const;
};

}  // namespace dibkit::test

#endif  // DIBKIT_TESTS_HOST_PNG_BUILDER_H
