// SPDX-License-Identifier: Apache-2.0
//
// Strips of LZW pages, faster than libtiff reads them.
#ifndef DIBKIT_HOST_FORMATS_TIFF_READ_LZW_STRIPS_H
#define DIBKIT_HOST_FORMATS_TIFF_READ_LZW_STRIPS_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "formats/tiff/read/input.h"
#include "formats/tiff/read/kind.h"
#include "formats/tiff/read/lzw_decoder.h"

namespace dibkit::host::tiff {

class LzwStrips {
 public:
  // True where this class can do it: the usual order of bits, differences of whole bytes or none.
  static bool Takes(TIFF* tiff, const Kind& kind);

  // The handle must outlive the object.
  LzwStrips(Handle& handle, const Kind& kind, size_t rowBytes);

  // Fills `rows`, whole rows, from the strip. False for a strip with the codes of the first TIFF
  // writers, which libtiff knows. Throws ImageError (kDamaged) and what the input throws.
  bool Load(uint32_t strip, std::span<unsigned char> rows);

 private:
  void Fetch(uint32_t strip, size_t rowsBytes);
  void AddDifferences(std::span<unsigned char> rows) const;

  Handle& handle_;
  size_t rowBytes_;
  size_t step_;  // from a byte to that of the next pixel, 0: they are no differences
  std::vector<unsigned char> codes_;
  LzwDecoder decoder_;
};

}  // namespace dibkit::host::tiff

#endif  // DIBKIT_HOST_FORMATS_TIFF_READ_LZW_STRIPS_H
