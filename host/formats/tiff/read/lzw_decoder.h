// SPDX-License-Identifier: Apache-2.0
//
// Strips of LZW codes back to bytes.
#ifndef DIBKIT_HOST_FORMATS_TIFF_READ_LZW_DECODER_H
#define DIBKIT_HOST_FORMATS_TIFF_READ_LZW_DECODER_H

#include <cstdint>
#include <span>
#include <vector>

namespace dibkit::host::tiff {

class LzwDecoder {
 public:
  LzwDecoder();

  // Fills `out`; what the codes would give beyond is left. False when they end too early or are not
  // sound, and `out` then holds anything. The codes may be hostile.
  bool Decode(std::span<const unsigned char> codes, std::span<unsigned char> out);

 private:
  // Where a string stands in the output: there is no need to keep its bytes anywhere else.
  struct Place {
    uint32_t at;
    uint32_t length;
  };

  std::vector<Place> strings_;  // by number
};

}  // namespace dibkit::host::tiff

#endif  // DIBKIT_HOST_FORMATS_TIFF_READ_LZW_DECODER_H
