// SPDX-License-Identifier: Apache-2.0
#include "formats/tiff/write/lzw_encoder.h"

#include <algorithm>
#include <cstddef>

#include "formats/tiff/lzw_codes.h"

namespace dibkit::host::tiff {
namespace {

constexpr uint32_t kFull = 4094;  // so many numbers fill the table

// Codes and the numbers of strings have 12 bits at most.
constexpr unsigned kNumberBits = kLzwMostWidth;
constexpr uint32_t kNumberMask = (1U << kNumberBits) - 1;

// An entry of the table is key << 12 | number: the string that is string `key` / 256 and then the
// byte `key` % 256 has that number; 0 where there is none. A quarter of the entries at most are
// taken, so that a search seldom goes on.
constexpr unsigned kHashBits = 14;
constexpr uint32_t kHashMask = (1U << kHashBits) - 1;

// Few steps from the number of one string to the place of the next: they follow each other for
// every byte.
uint32_t HashOf(uint32_t string, uint32_t byte) {
  return (string * 3 ^ byte << (kHashBits - 8)) & kHashMask;
}

// Each code takes in at least one byte, but for those that clear the table.
size_t MostBytes(size_t bytes) {
  constexpr size_t kRest = 16;
  return bytes + bytes / 2 + bytes / 1024 + kRest;
}

// Codes of a width that grows, the highest bit first.
class CodeSink {
 public:
  explicit CodeSink(unsigned char* to) : to_(to) {}

  void Put(uint32_t code) {
    bits_ = bits_ << width_ | code;
    count_ += width_;
    if (count_ >= 32) {
      for (unsigned i = 0; i < 4; ++i) {
        count_ -= 8;
        *to_++ = static_cast<unsigned char>(bits_ >> count_);
      }
    }
  }

  void Clear() {
    Put(kLzwClear);
    width_ = kLzwLeastWidth;
  }

  // Codes up to `next` may come from now on.
  void WidenFor(uint32_t next) { width_ += (next >> width_) != 0 ? 1U : 0U; }

  unsigned char* Finish() {
    bits_ <<= 8;
    for (count_ += 8; count_ > 8;) {
      count_ -= 8;
      *to_++ = static_cast<unsigned char>(bits_ >> count_);
    }
    return to_;
  }

 private:
  unsigned char* to_;
  uint64_t bits_ = 0;
  unsigned count_ = 0;  // of the bits that are not written
  unsigned width_ = kLzwLeastWidth;
};

// The end of a strip counts as a string more.
unsigned char* Finish(CodeSink& codes, uint32_t last, uint32_t next) {
  codes.Put(last);
  if (next + 1 == kFull) {
    codes.Clear();
  } else {
    codes.WidenFor(next + 1);
  }
  codes.Put(kLzwEnd);
  return codes.Finish();
}

}  // namespace

LzwEncoder::LzwEncoder() : table_(size_t{1} << kHashBits) {}

std::span<unsigned char> LzwEncoder::Encode(std::span<const unsigned char> strip) {
  out_.resize(MostBytes(strip.size()));
  CodeSink codes(out_.data());
  uint32_t* const table = table_.data();
  std::fill(table_.begin(), table_.end(), 0U);
  codes.Clear();
  uint32_t next = kLzwFirst;
  uint32_t string = strip[0];
  for (const unsigned char byte : strip.subspan(1)) {
    const uint32_t key = string << 8 | byte;
    uint32_t at = HashOf(string, byte);
    while (table[at] != 0 && table[at] >> kNumberBits != key) {
      at = (at + 1) & kHashMask;
    }
    if (table[at] != 0) {
      string = table[at] & kNumberMask;
      continue;
    }
    codes.Put(string);
    string = byte;
    table[at] = key << kNumberBits | next;
    ++next;
    if (next == kFull) {
      codes.Clear();
      std::fill(table_.begin(), table_.end(), 0U);
      next = kLzwFirst;
    } else {
      codes.WidenFor(next);
    }
  }
  return std::span(out_.data(), Finish(codes, string, next));
}

}  // namespace dibkit::host::tiff
