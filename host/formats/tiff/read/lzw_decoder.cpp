// SPDX-License-Identifier: Apache-2.0
#include "formats/tiff/read/lzw_decoder.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>

#include "formats/tiff/lzw_codes.h"

namespace dibkit::host::tiff {
namespace {

// Codes of a width that grows, the highest bit first.
class CodeSource {
 public:
  explicit CodeSource(std::span<const unsigned char> codes)
      : at_(codes.data()), end_(codes.data() + codes.size()) {}

  // The end where there are no more.
  uint32_t Next(unsigned width) {
    while (count_ < width) {
      if (end_ - at_ >= 4) {
        const uint32_t four = uint32_t{at_[0]} << 24 | uint32_t{at_[1]} << 16 |
                              uint32_t{at_[2]} << 8 | uint32_t{at_[3]};
        bits_ = bits_ << 32 | four;
        count_ += 32;
        at_ += 4;
      } else if (at_ != end_) {
        bits_ = bits_ << 8 | *at_++;
        count_ += 8;
      } else {
        return kLzwEnd;
      }
    }
    count_ -= width;
    return static_cast<uint32_t>(bits_ >> count_) & ((1U << width) - 1);
  }

 private:
  const unsigned char* at_;
  const unsigned char* end_;
  uint64_t bits_ = 0;
  unsigned count_ = 0;  // of bits that are waiting
};

constexpr size_t kStep = 8;

// Every byte, as the strings of one byte, and what a step may read behind the last.
constexpr std::array<unsigned char, 256 + kStep> MakeBytes() {
  std::array<unsigned char, 256 + kStep> bytes{};
  for (size_t i = 0; i < 256; ++i) {
    bytes[i] = static_cast<unsigned char>(i);
  }
  return bytes;
}

constexpr std::array<unsigned char, 256 + kStep> kBytes = MakeBytes();

// Copies a string, in steps where there is room for whole ones. Of a string that ends with the
// first byte of its own copy the last byte is there after the others only.
void CopyString(const unsigned char* from, unsigned char* to, size_t length, size_t room) {
  if (length + kStep <= room) {
    for (size_t i = 0; i < length; i += kStep) {
      std::memcpy(to + i, from + i, kStep);
    }
    to[length - 1] = from[length - 1];
    return;
  }
  for (size_t i = 0; i < std::min(length, room); ++i) {
    to[i] = from[i];
  }
}

}  // namespace

LzwDecoder::LzwDecoder() : strings_(size_t{1} << kLzwMostWidth) {}

bool LzwDecoder::Decode(std::span<const unsigned char> codes, std::span<unsigned char> out) {
  CodeSource source(codes);
  Place* const strings = strings_.data();
  unsigned width = kLzwLeastWidth;
  uint32_t next = kLzwFirst;
  Place last{0, 0};
  size_t done = 0;
  while (done < out.size()) {
    const uint32_t code = source.Next(width);
    if (code == kLzwClear) {
      width = kLzwLeastWidth;
      next = kLzwFirst;
      last.length = 0;
      continue;
    }
    const bool follows = last.length != 0;
    if (code == kLzwEnd || (code > kLzwEnd && (!follows || code > next))) {
      return false;
    }
    // The string before and the first byte of this one, which stands behind it.
    if (follows && next >> kLzwMostWidth == 0) {
      strings[next] = {last.at, last.length + 1};
      ++next;
      // One code earlier than would be needed.
      width += (next + 1) >> width != 0 && width < kLzwMostWidth ? 1U : 0U;
    }
    const bool isByte = code < kLzwClear;
    const unsigned char* from = isByte ? kBytes.data() + code : out.data() + strings[code].at;
    last = {static_cast<uint32_t>(done), isByte ? 1 : strings[code].length};
    CopyString(from, out.data() + done, last.length, out.size() - done);
    done += last.length;
  }
  return true;
}

}  // namespace dibkit::host::tiff
