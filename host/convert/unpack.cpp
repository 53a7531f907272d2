// SPDX-License-Identifier: Apache-2.0
#include "convert/unpack.h"

#include <cstring>

namespace dibkit::host {

Unpacker::Unpacker(unsigned bits, const ByteOfIndex& bytes) : bits_(bits) {
  for (unsigned byte = 0; byte < pixels_.size(); ++byte) {
    for (unsigned pixel = 0; pixel < 8 / bits; ++pixel) {
      const unsigned index = byte >> (8 - bits - pixel * bits) & ((1U << bits) - 1);
      pixels_[byte][pixel] = bytes[index];
    }
  }
}

template <size_t Pixels>
void Unpacker::RowOf(const unsigned char* stored, unsigned char* out, uint32_t width) const {
  const size_t whole = width / Pixels;
  for (size_t i = 0; i < whole; ++i) {
    std::memcpy(out + i * Pixels, pixels_[stored[i]].data(), Pixels);
  }
  if (width % Pixels != 0) {
    std::memcpy(out + whole * Pixels, pixels_[stored[whole]].data(), width % Pixels);
  }
}

void Unpacker::Row(const unsigned char* stored, unsigned char* out, uint32_t width) const {
  switch (bits_) {
    case 1:
      return RowOf<8>(stored, out, width);
    case 4:
      return RowOf<2>(stored, out, width);
    default:
      return RowOf<1>(stored, out, width);
  }
}

}  // namespace dibkit::host
