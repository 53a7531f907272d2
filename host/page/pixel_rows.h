// SPDX-License-Identifier: Apache-2.0
//
// One row of pixels from one form into another. `from` and `to` do not overlap.
#ifndef DIBKIT_HOST_PAGE_PIXEL_ROWS_H
#define DIBKIT_HOST_PAGE_PIXEL_ROWS_H

#include <array>
#include <cstddef>
#include <cstdint>

namespace dibkit::host {

// Whole bytes that `pixels` pixels of one bit take.
constexpr size_t BytesOfBits(size_t pixels) { return (pixels + 7) / 8; }

// Bits of bytes: 1 for every byte that is not 0, the first in the highest bit, spare bits 0.
void PackMask(const unsigned char* from, unsigned char* to, size_t pixels);

// Bytes of bits: 0 and 1; each bit is first exclusive-ored with the one of `flip`, 0 or 0xFF.
void SpreadBits(const unsigned char* from, unsigned char* to, size_t pixels, unsigned char flip);

// Bits of bits, likewise, spare bits 0.
void CopyBits(const unsigned char* from, unsigned char* to, size_t pixels, unsigned char flip);

// Bytes of half bytes, the high one first.
void SpreadNibbles(const unsigned char* from, unsigned char* to, size_t pixels);

// Red, green, blue of 5-5-5 words, each channel over its full range: 31 is 255.
void WidenFields(const unsigned char* from, unsigned char* to, size_t pixels);

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_PAGE_PIXEL_ROWS_H
