// SPDX-License-Identifier: Apache-2.0
//
// The steps that a library without 1-bit pictures needs around its resize, done eight pixels at a
// time so that they cost little beside it.
#ifndef DIBKIT_BENCH_PEERS_BILEVEL_STEPS_H
#define DIBKIT_BENCH_PEERS_BILEVEL_STEPS_H

#include <array>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace dibkit::bench {

class BilevelSteps {
 public:
  BilevelSteps() {
    for (unsigned byte = 0; byte < 256; ++byte) {
      for (unsigned bit = 0; bit < 8; ++bit) {
        bytes_[byte][bit] = (byte << bit & 0x80) != 0 ? 255 : 0;
      }
    }
  }

  // One byte, 0 or 255, for each bit.
  void Expand(const unsigned char* bits, int width, unsigned char* to) const {
    const auto count = static_cast<size_t>(width);
    size_t x = 0;
    for (; x + 8 <= count; x += 8) {
      std::memcpy(to + x, bytes_[bits[x / 8]].data(), 8);
    }
    if (x < count) {
      std::memcpy(to + x, bytes_[bits[x / 8]].data(), count - x);
    }
  }

  // One bit for each byte, which is 0 or 255.
  static void Pack(const unsigned char* bytes, int width, unsigned char* bits) {
    const auto count = static_cast<size_t>(width);
    size_t x = 0;
    for (; x + 8 <= count; x += 8) {
      bits[x / 8] = PackEight(bytes + x);
    }
    if (x < count) {
      unsigned char rest[8] = {};
      std::memcpy(rest, bytes + x, count - x);
      bits[x / 8] = PackEight(rest);
    }
  }

 private:
  static unsigned char PackEight(const unsigned char* bytes) {
    uint64_t word;
    std::memcpy(&word, bytes, 8);
#if defined(__SSE2__)
    const __m128i reversed = _mm_set_epi64x(0, static_cast<long long>(__builtin_bswap64(word)));
    return static_cast<unsigned char>(_mm_movemask_epi8(reversed));
#else
    unsigned char packed = 0;
    for (unsigned bit = 0; bit < 8; ++bit) {
      packed = static_cast<unsigned char>(packed << 1 | (bytes[bit] & 1));
    }
    return packed;
#endif
  }

  std::array<std::array<unsigned char, 8>, 256> bytes_;
};

}  // namespace dibkit::bench

#endif  // DIBKIT_BENCH_PEERS_BILEVEL_STEPS_H
