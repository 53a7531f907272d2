// SPDX-License-Identifier: Apache-2.0
#include "convert/new_dib.h"

#include <limits>
#include <string>

#include "bitmap/fields.h"
#include "bitmap/little_endian.h"
#include "dibkit/host/dib_layout.h"
#include "dibkit/host/errors.h"
#include "dibkit/host/locked_block.h"

namespace dibkit::host {

void WriteHeader(std::span<unsigned char> header, uint32_t width, uint32_t height,
                 uint16_t bitCount, PelsPerMetre resolution) {
  Store32(header.data(), kInfoHeaderBytes);
  Store32(header.data() + kBiWidth, width);
  Store32(header.data() + kBiHeight, height);
  Store16(header.data() + kBiPlanes, 1);
  Store16(header.data() + kBiBitCount, bitCount);
  Store32(header.data() + kBiXPelsPerMeter, static_cast<uint32_t>(resolution.x));
  Store32(header.data() + kBiYPelsPerMeter, static_cast<uint32_t>(resolution.y));
}

OwnedBlock NewDib(uint32_t width, uint32_t height, uint16_t bitCount, PelsPerMetre resolution) {
  const DibLayout layout = LayoutOf(width, height, bitCount);
  if (layout.blockBytes > std::numeric_limits<unsigned>::max()) {
    throw ImageError(ImageFault::kTooLarge, "the image needs " + std::to_string(layout.blockBytes) +
                                                " bytes, which is more than one block can hold");
  }
  OwnedBlock dib(GlobalAlloc(GHND, static_cast<unsigned>(layout.blockBytes)));
  if (!dib) {
    throw ImageError(ImageFault::kNoMemory,
                     "no memory for " + std::to_string(layout.blockBytes) + " bytes");
  }
  const LockedBlock lock(dib.get());
  WriteHeader(lock.Bytes(), width, height, bitCount, resolution);
  return dib;
}

}  // namespace dibkit::host
