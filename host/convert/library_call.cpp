// SPDX-License-Identifier: Apache-2.0
#include "convert/library_call.h"

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <string>

#include "bitmap/fields.h"
#include "bitmap/little_endian.h"
#include "dibkit/host/dib_layout.h"
#include "dibkit/host/errors.h"
#include "dibkit/host/locked_block.h"

namespace dibkit::host {
namespace {

void RequireRoom(const DibFields& image, uint16_t resultBits) {
  const auto rows = static_cast<uint32_t>(std::abs(int64_t{image.height}));
  const DibLayout layout = LayoutOf(image.width, rows, resultBits);
  if (layout.blockBytes > std::numeric_limits<unsigned>::max()) {
    throw ImageError(ImageFault::kTooLarge, "at " + std::to_string(resultBits) +
                                                " bits the image needs " +
                                                std::to_string(layout.blockBytes) +
                                                " bytes, which is more than one block can hold");
  }
}

void CopyResolution(std::span<const unsigned char> from, std::span<unsigned char> to) {
  constexpr size_t kBytes = 8;  // both fields
  std::copy_n(from.begin() + kBiXPelsPerMeter, kBytes, to.begin() + kBiXPelsPerMeter);
}

}  // namespace

DibFields FieldsOf(tagHANDLE* dib) {
  const LockedBlock lock(dib);
  const unsigned char* header = lock.Bytes().data();
  return {Load32(header + kBiWidth),
          LoadSigned32(header + kBiHeight),
          Load16(header + kBiBitCount),
          Load32(header + kBiCompression),
          {LoadSigned32(header + kBiXPelsPerMeter), LoadSigned32(header + kBiYPelsPerMeter)}};
}

void SetHeight(tagHANDLE* dib, int32_t height) {
  const LockedBlock lock(dib);
  Store32(lock.Bytes().data() + kBiHeight, static_cast<uint32_t>(height));
}

void SetPelsPerMeter(tagHANDLE* dib, int32_t x, int32_t y) {
  const LockedBlock lock(dib);
  Store32(lock.Bytes().data() + kBiXPelsPerMeter, static_cast<uint32_t>(x));
  Store32(lock.Bytes().data() + kBiYPelsPerMeter, static_cast<uint32_t>(y));
}

OwnedBlock CallLibrary(const OwnedBlock& dib, uint16_t resultBits,
                       const LibraryFunction& function) {
  RequireRoom(FieldsOf(dib.get()), resultBits);
  const LockedBlock source(dib.get());
  OwnedBlock result(function(source.Bytes().data()));
  if (!result) {
    throw ImageError(ImageFault::kNoMemory, "there is not enough memory for the conversion");
  }
  CopyResolution(source.Bytes(), LockedBlock(result.get()).Bytes());
  return result;
}

}  // namespace dibkit::host
