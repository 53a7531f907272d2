// SPDX-License-Identifier: Apache-2.0
//
// Header fields are little-endian bytes at any address.
#ifndef DIBKIT_HOST_BITMAP_LITTLE_ENDIAN_H
#define DIBKIT_HOST_BITMAP_LITTLE_ENDIAN_H

#include <cstdint>

namespace dibkit::host {

inline uint16_t Load16(const unsigned char* at) {
  return static_cast<uint16_t>(at[0] | at[1] << 8);
}

inline uint32_t Load32(const unsigned char* at) {
  return Load16(at) | static_cast<uint32_t>(Load16(at + 2)) << 16;
}

inline int32_t LoadSigned32(const unsigned char* at) { return static_cast<int32_t>(Load32(at)); }

inline void Store16(unsigned char* at, uint16_t value) {
  at[0] = static_cast<unsigned char>(value);
  at[1] = static_cast<unsigned char>(value >> 8);
}

inline void Store32(unsigned char* at, uint32_t value) {
  Store16(at, static_cast<uint16_t>(value));
  Store16(at + 2, static_cast<uint16_t>(value >> 16));
}

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_BITMAP_LITTLE_ENDIAN_H
