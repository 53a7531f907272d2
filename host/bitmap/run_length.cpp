// SPDX-License-Identifier: Apache-2.0
#include "bitmap/run_length.h"

#include <algorithm>
#include <initializer_list>

namespace dibkit::host {
namespace {

using Bytes = std::vector<unsigned char>;

// Second byte of a record whose first is 0; anything above is a number of literal pixels.
constexpr unsigned kEndOfLine = 0;
constexpr unsigned kEndOfBitmap = 1;
constexpr unsigned kMove = 2;
constexpr uint32_t kFewestLiterals = 3;

class Straightener {
 public:
  Straightener(uint32_t width, uint16_t bitCount) : width_(width), bitCount_(bitCount) {}

  uint64_t Row() const { return y_; }
  Bytes Take() { return std::move(out_); }

  size_t LiteralBytes(uint32_t count) const { return bitCount_ == 4 ? (count + 1) / 2 : count; }

  void Run(uint32_t count, unsigned value) {
    const uint32_t kept = Fitting(count);
    if (kept > 0) {
      Write({kept, value});
    }
    x_ += kept;
  }

  // `literals` may be shorter than `count` asks for.
  void Literals(uint32_t count, std::span<const unsigned char> literals) {
    const size_t present = bitCount_ == 4 ? literals.size() * 2 : literals.size();
    const uint32_t kept = Fitting(static_cast<uint32_t>(std::min<size_t>(count, present)));
    if (kept < kFewestLiterals) {
      FewLiterals(kept, literals);
    } else {
      Write({0, kept});
      const size_t length = LiteralBytes(kept);
      out_.insert(out_.end(), literals.begin(),
                  literals.begin() + static_cast<std::ptrdiff_t>(length));
      out_.resize(out_.size() + length % 2);
      x_ += kept;
    }
  }

  void EndLine() {
    Write({0, kEndOfLine});
    x_ = 0;
    ++y_;
  }

  void Move(uint32_t dx, uint32_t dy) {
    const uint32_t kept = Fitting(dx);
    const uint32_t odd = bitCount_ == 4 ? x_ & kept & 1 : 0;
    Write({0, kMove, kept - odd, dy});
    x_ += kept - odd;
    y_ += dy;
    Run(odd, 0);
  }

 private:
  uint32_t Fitting(uint32_t count) const { return std::min(count, width_ - x_); }

  void Write(std::initializer_list<uint32_t> bytes) {
    for (const uint32_t byte : bytes) {
      out_.push_back(static_cast<unsigned char>(byte));
    }
  }

  // One or two pixels, for which there is no literal record.
  void FewLiterals(uint32_t count, std::span<const unsigned char> literals) {
    if (bitCount_ == 4 && count > 0) {
      Run(count, literals[0]);
    } else {
      for (uint32_t i = 0; i < count; ++i) {
        Run(1, literals[i]);
      }
    }
  }

  uint32_t width_;
  uint16_t bitCount_;
  uint32_t x_ = 0;  // at most the width
  uint64_t y_ = 0;
  Bytes out_;
};

}  // namespace

Bytes StraightenedStream(std::span<const unsigned char> stream, uint32_t width, uint32_t height,
                         uint16_t bitCount) {
  Straightener out(width, bitCount);
  while (stream.size() >= 2 && out.Row() < height) {
    const unsigned count = stream[0];
    const unsigned value = stream[1];
    stream = stream.subspan(2);
    if (count > 0) {
      out.Run(count, value);
    } else if (value == kEndOfLine) {
      out.EndLine();
    } else if (value == kEndOfBitmap) {
      break;
    } else if (value == kMove) {
      if (stream.size() < 2) break;
      out.Move(stream[0], stream[1]);
      stream = stream.subspan(2);
    } else {
      const size_t length = std::min(out.LiteralBytes(value), stream.size());
      out.Literals(value, stream.first(length));
      stream = stream.subspan(std::min(length + length % 2, stream.size()));
    }
  }
  return out.Take();
}

}  // namespace dibkit::host
