// SPDX-License-Identifier: Apache-2.0
//
// LZW as TIFF has it, compressing only: most of the time of an LZW page goes there, and libtiff's
// own takes nearly twice as long.
#ifndef DIBKIT_HOST_FORMATS_TIFF_WRITE_LZW_ENCODER_H
#define DIBKIT_HOST_FORMATS_TIFF_WRITE_LZW_ENCODER_H

#include <cstdint>
#include <span>
#include <vector>

namespace dibkit::host::tiff {

class LzwEncoder {
 public:
  LzwEncoder();

  // One strip, which has at least one byte. The result is valid until the next call. Throws
  // std::bad_alloc.
  std::span<unsigned char> Encode(std::span<const unsigned char> strip);

 private:
  std::vector<uint32_t> table_;
  std::vector<unsigned char> out_;
};

}  // namespace dibkit::host::tiff

#endif  // DIBKIT_HOST_FORMATS_TIFF_WRITE_LZW_ENCODER_H
