// SPDX-License-Identifier: Apache-2.0
//
// Header fields and pixel words are little-endian bytes at any address; these two helpers load and
// store them.
#ifndef DIBKIT_SRC_DIB_BYTES_H
#define DIBKIT_SRC_DIB_BYTES_H

#include <bit>
#include <cstdint>
#include <cstring>
#include <type_traits>

namespace dibkit {

template <typename T>
T LoadLittle(const unsigned char* at) {
  static_assert(std::is_unsigned_v<T>);
  T value;
  std::memcpy(&value, at, sizeof value);
  if constexpr (std::endian::native == std::endian::big) {
    T swapped = 0;
    for (unsigned i = 0; i < sizeof value; ++i) {
      swapped = static_cast<T>(swapped << 8 | (value >> 8 * i & 0xFF));
    }
    value = swapped;
  }
  return value;
}

template <typename T>
void StoreLittle(unsigned char* at, T value) {
  static_assert(std::is_unsigned_v<T>);
  if constexpr (std::endian::native == std::endian::big) {
    for (unsigned i = 0; i < sizeof value; ++i) {
      at[i] = static_cast<unsigned char>(value >> 8 * i);
    }
  } else {
    std::memcpy(at, &value, sizeof value);
  }
}

inline uint16_t Load16(const unsigned char* at) { return LoadLittle<uint16_t>(at); }
inline uint32_t Load32(const unsigned char* at) { return LoadLittle<uint32_t>(at); }
inline void Store16(unsigned char* at, uint16_t value) { StoreLittle(at, value); }
inline void Store32(unsigned char* at, uint32_t value) { StoreLittle(at, value); }

}  // namespace dibkit

#endif  // DIBKIT_SRC_DIB_BYTES_H
