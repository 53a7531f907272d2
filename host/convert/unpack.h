// SPDX-License-Identifier: Apache-2.0
//
// Rows of 1, 4 and 8 bits as one byte a pixel.
#ifndef DIBKIT_HOST_CONVERT_UNPACK_H
#define DIBKIT_HOST_CONVERT_UNPACK_H

#include <array>
#include <cstddef>
#include <cstdint>

namespace dibkit::host {

// A byte for each index.
using ByteOfIndex = std::array<unsigned char, 256>;

class Unpacker {
 public:
  // `bits`: 1, 4 or 8.
  Unpacker(unsigned bits, const ByteOfIndex& bytes);

  // Writes `width` bytes.
  void Row(const unsigned char* stored, unsigned char* out, uint32_t width) const;

 private:
  template <size_t Pixels>
  void RowOf(const unsigned char* stored, unsigned char* out, uint32_t width) const;

  unsigned bits_;
  // What the pixels of a stored byte become, the leftmost first.
  std::array<std::array<unsigned char, 8>, 256> pixels_{};
};

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_CONVERT_UNPACK_H
