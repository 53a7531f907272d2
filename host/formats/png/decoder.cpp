// SPDX-License-Identifier: Apache-2.0
#include "formats/png/decoder.h"

#include "dibkit/host/pixel_limit.h"

namespace dibkit::host::png {
namespace {

// A page's profile and texts, unpacked: one of them, and all together.
constexpr size_t kMostChunkBytes = size_t{8} << 20;
constexpr size_t kMostChunkBytesTogether = size_t{16} << 20;

// The seven passes of an interlaced image.
constexpr uint32_t kPassFirst[] = {0, 4, 0, 2, 0, 1, 0};
constexpr uint32_t kPassStep[] = {8, 8, 4, 4, 2, 2, 1};

// Rows that do not shrink are stored, with a few bytes for every so many; interlaced ones have more
// filter bytes.
uint64_t MostPixelBytes(const spng_ihdr& header) {
  constexpr uint64_t kEnough = uint64_t{1} << 62;
  const uint64_t row = 2 * (StoredRowBytes(header, header.width) + 1);
  return header.height > kEnough / row ? kEnough : row * header.height;
}

}  // namespace

unsigned Channels(const spng_ihdr& header) {
  switch (header.color_type) {
    case SPNG_COLOR_TYPE_TRUECOLOR:
      return 3;
    case SPNG_COLOR_TYPE_GRAYSCALE_ALPHA:
      return 2;
    case SPNG_COLOR_TYPE_TRUECOLOR_ALPHA:
      return 4;
    default:
      return 1;
  }
}

uint64_t StoredRowBytes(const spng_ihdr& header, uint32_t width) {
  return (uint64_t{width} * Channels(header) * header.bit_depth + 7) / 8;
}

Decoder::Decoder(ByteSource& source, uint64_t maxPixels)
    // The checksums of the chunks cover the pixels already.
    : reader_(source), context_(SPNG_CTX_IGNORE_ADLER32) {
  spng_ctx* spng = context_.Spng();
  context_.Check(spng_set_crc_action(spng, SPNG_CRC_ERROR, SPNG_CRC_ERROR));
  context_.Check(spng_set_chunk_limits(spng, kMostChunkBytes, kMostChunkBytesTogether));
  context_.Check(spng_set_png_stream(spng, ReadBytes, this));
  context_.Check(spng_get_ihdr(spng, &header_));
  CheckPixels(header_.width, header_.height, maxPixels);
  reader_.ExpectPixels(MostPixelBytes(header_));
  // Asking for any other chunk reads them all, up to the image.
  spng_phys ignored{};
  context_.Has(spng_get_phys, ignored);
}

int Decoder::ReadBytes(spng_ctx* /*context*/, void* decoder, void* into, size_t length) {
  auto& self = *static_cast<Decoder*>(decoder);
  bool there = false;
  self.context_.Caught([&] {
    there = self.reader_.ReadFully({static_cast<unsigned char*>(into), length});
  });
  // Its end of file has the number of a wrong checksum in an optional chunk, and libspng takes one
  // for the other.
  return there ? SPNG_OK : SPNG_IO_ERROR;
}

void Decoder::BeginRows() {
  context_.Check(
      spng_decode_image(context_.Spng(), nullptr, 0, SPNG_FMT_RAW, SPNG_DECODE_PROGRESSIVE));
  rowsLeft_ = true;
}

Row Decoder::ReadRow(std::span<unsigned char> into) {
  spng_row_info info{};
  context_.Check(spng_get_row_info(context_.Spng(), &info));
  const int result = spng_decode_scanline(context_.Spng(), into.data(), into.size());
  context_.Check(result);
  rowsLeft_ = result != SPNG_EOI;
  if (header_.interlace_method == SPNG_INTERLACE_NONE) {
    return {info.row_num, 0, 1, header_.width};
  }
  const uint32_t first = kPassFirst[info.pass];
  const uint32_t step = kPassStep[info.pass];
  return {info.row_num, first, step, (header_.width - first + step - 1) / step};
}

void Decoder::ReadRest() { context_.Check(spng_decode_chunks(context_.Spng())); }

}  // namespace dibkit::host::png
