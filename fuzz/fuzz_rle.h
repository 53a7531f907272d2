// SPDX-License-Identifier: Apache-2.0
//
// One run of a decoder: the first three bytes give the size of the image, the rest is the stream.
#ifndef DIBKIT_FUZZ_FUZZ_RLE_H
#define DIBKIT_FUZZ_FUZZ_RLE_H

#include <cstddef>
#include <cstring>

#include "check.h"
#include "reference/rle_model.h"

namespace dibfuzz {

inline void Store(Bytes& bytes, size_t at, size_t value, int length) {
  for (int i = 0; i < length; ++i, value >>= 8) {
    bytes[at + static_cast<size_t>(i)] = static_cast<uint8_t>(value);
  }
}

inline void RunDecoder(unsigned bits, tagHANDLE* (*restore)(unsigned char*), const uint8_t* data,
                       size_t size) {
  if (size < 3) return;
  const size_t width = 1 + (data[0] | (data[1] & 3U) << 8);
  const size_t rows = 1 + data[2] % 64U;
  const Bytes stream(data + 3, data + size);

  // A table of one entry is the shortest way to the stream.
  const size_t rowsAt = 44;
  Bytes dib(rowsAt + stream.size(), 0);
  Store(dib, 0, 40, 4);
  Store(dib, 4, width, 4);
  Store(dib, 8, rows, 4);
  Store(dib, 14, bits, 2);
  Store(dib, 16, bits == 8 ? 1 : 2, 4);
  Store(dib, 20, stream.size(), 4);
  Store(dib, 32, 1, 4);
  std::copy(stream.begin(), stream.end(), dib.begin() + rowsAt);

  const Bytes before = dib;
  const Bytes result = TakeResult(restore(dib.data()));
  Check(dib == before, "the source is not changed");
  const size_t header = 40 + (size_t{4} << bits);
  const Bytes expected = dibtest::DecodeRleSlowly(bits, stream, width, rows).area;
  Check(result.size() == header + expected.size(), "the result has its size");
  Check(std::memcmp(result.data() + header, expected.data(), expected.size()) == 0,
        "the pixels are the model's");
}

}  // namespace dibfuzz

#endif  // DIBKIT_FUZZ_FUZZ_RLE_H
