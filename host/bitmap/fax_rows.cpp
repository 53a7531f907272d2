// SPDX-License-Identifier: Apache-2.0
#include "bitmap/fax_rows.h"

#include <algorithm>

#include "bitmap/fax_codes.h"
#include "dibkit/host/dib_layout.h"

namespace dibkit::host {
namespace {

// An end-of-line code is so many zeros, or more to fill up with, and a one.
constexpr unsigned kEndOfLineZeros = 11;
// So many in a row end the page.
constexpr unsigned kEndOfPageLines = 6;
constexpr unsigned kFirstMakeUp = 64;

class BitReader {
 public:
  explicit BitReader(std::span<const unsigned char> bytes) : bytes_(bytes) {}

  uint64_t At() const { return at_; }
  void GoTo(uint64_t at) { at_ = at; }
  uint64_t Left() const { return uint64_t{bytes_.size()} * 8 - at_; }

  // The next bits, at most 16; behind the end stand zeros.
  unsigned Peek(unsigned count) const {
    const auto byte = static_cast<size_t>(at_ / 8);
    const uint32_t word = Byte(byte) << 16 | Byte(byte + 1) << 8 | Byte(byte + 2);
    return word << (8 + at_ % 8) >> (32 - count);
  }

  void Skip(uint64_t count) { at_ += std::min(count, Left()); }

 private:
  uint32_t Byte(size_t at) const { return at < bytes_.size() ? bytes_[at] : 0U; }

  std::span<const unsigned char> bytes_;
  uint64_t at_ = 0;
};

void Blacken(unsigned char* row, uint32_t from, uint32_t to) {
  for (; from < to && from % 8 != 0; ++from) {
    row[from / 8] = static_cast<unsigned char>(row[from / 8] | 0x80 >> from % 8);
  }
  for (; from + 8 <= to; from += 8) {
    row[from / 8] = 0xFF;
  }
  for (; from < to; ++from) {
    row[from / 8] = static_cast<unsigned char>(row[from / 8] | 0x80 >> from % 8);
  }
}

class Decoder {
 public:
  Decoder(std::span<const unsigned char> stream, uint32_t width) : bits_(stream), width_(width) {}

  // Goes to the first code of the next row; false when there is none.
  bool BeginRow() {
    for (unsigned lines = 0; lines < kEndOfPageLines; ++lines) {
      if (bits_.Peek(kEndOfLineZeros) != 0) {
        return bits_.Left() != 0;
      }
      SkipEndOfLine();
    }
    return false;
  }

  // False when the row breaks off, or its runs are longer than it is.
  bool Row(unsigned char* row) {
    begin_ = bits_.At();
    uint32_t x = 0;
    for (bool black = false; x < width_; black = !black) {
      uint64_t run = 0;
      if (!Run(black ? BlackFaxCodes() : WhiteFaxCodes(), run)) {
        return false;
      }
      const uint32_t kept = static_cast<uint32_t>(std::min<uint64_t>(run, width_ - x));
      if (black) {
        Blacken(row, x, x + kept);
      }
      x += kept;
      if (kept != run) {
        return false;
      }
    }
    return true;
  }

  // Goes to the next end-of-line code, or to the end. The code that was one too many may have taken
  // the first zeros of it along.
  void Recover() {
    bits_.GoTo(std::max(begin_, bits_.At() - std::min<uint64_t>(bits_.At(), kMostFaxCodeBits)));
    while (bits_.Left() != 0 && bits_.Peek(kEndOfLineZeros) != 0) {
      bits_.Skip(1);
    }
  }

 private:
  void SkipEndOfLine() {
    while (bits_.Left() != 0 && bits_.Peek(1) == 0) {
      bits_.Skip(1);
    }
    bits_.Skip(1);
  }

  // A run of one colour: any number of make-up codes and a last one below 64.
  bool Run(const FaxCodes& codes, uint64_t& run) {
    for (;;) {
      const FaxCode code = codes[bits_.Peek(kMostFaxCodeBits)];
      if (code.bits == 0 || code.bits > bits_.Left()) {
        return false;
      }
      bits_.Skip(code.bits);
      run += code.run;
      if (code.run < kFirstMakeUp) {
        return true;
      }
    }
  }

  BitReader bits_;
  uint32_t width_;
  uint64_t begin_ = 0;  // of the row
};

}  // namespace

FaxOutcome DecodeFax(std::span<const unsigned char> stream, uint32_t width, uint32_t height,
                     std::span<unsigned char> rows) {
  const auto stride = static_cast<size_t>(RowStride(width, 1));
  Decoder decoder(stream, width);
  FaxOutcome outcome;
  while (outcome.rows < height && decoder.BeginRow()) {
    if (!decoder.Row(rows.data() + outcome.rows * stride)) {
      ++outcome.damaged;
      decoder.Recover();
    }
    ++outcome.rows;
  }
  return outcome;
}

}  // namespace dibkit::host
