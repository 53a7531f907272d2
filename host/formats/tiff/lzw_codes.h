// SPDX-License-Identifier: Apache-2.0
//
// The numbers on which both sides of LZW agree.
#ifndef DIBKIT_HOST_FORMATS_TIFF_LZW_CODES_H
#define DIBKIT_HOST_FORMATS_TIFF_LZW_CODES_H

#include <cstdint>

namespace dibkit::host::tiff {

// Codes 0 to 255 are bytes.
inline constexpr uint32_t kLzwClear = 256;
inline constexpr uint32_t kLzwEnd = 257;
inline constexpr uint32_t kLzwFirst = 258;  // number of the first string of two bytes
// Bits of a code: so many behind a clearing of the table, and more as strings are added.
inline constexpr unsigned kLzwLeastWidth = 9;
inline constexpr unsigned kLzwMostWidth = 12;

}  // namespace dibkit::host::tiff

#endif  // DIBKIT_HOST_FORMATS_TIFF_LZW_CODES_H
