// SPDX-License-Identifier: Apache-2.0
//
// Numbers of any width in the order in which files are written here.
#ifndef DIBKIT_HOST_FORMATS_TIFF_WRITE_LITTLE_ENDIAN_H
#define DIBKIT_HOST_FORMATS_TIFF_WRITE_LITTLE_ENDIAN_H

#include <cstddef>
#include <cstdint>

namespace dibkit::host::tiff {

inline void StoreNumber(unsigned char* at, uint64_t number, size_t bytes) {
  for (size_t i = 0; i < bytes; ++i) {
    at[i] = static_cast<unsigned char>(number >> (8 * i));
  }
}

}  // namespace dibkit::host::tiff

#endif  // DIBKIT_HOST_FORMATS_TIFF_WRITE_LITTLE_ENDIAN_H
