// SPDX-License-Identifier: Apache-2.0
//
// Nibbles are ORed into the rows, and a stream can come back to bytes that hold something: by a
// move from an odd column, or at the end of a line that ran on into the next. Bytes past the
// highest that was written are known to be 0; there whole bytes are stored in steps of 16, and what
// is stored too much is made zero again at once. Elsewhere pixels are placed one by one.
#include <algorithm>
#include <bit>
#include <cstring>

#include "dib/rle.h"

namespace dibkit {
namespace {

constexpr size_t kStep = 16;

// So many pixels fit a word from any pixel of its first byte on.
constexpr unsigned kShortRun = 14;

uint64_t Repeat(uint8_t pair) { return pair * uint64_t{0x0101010101010101}; }

// The word whose bytes, in memory, are those of `word` from the highest on.
uint64_t HighestFirst(uint64_t word) {
  if constexpr (std::endian::native == std::endian::big) return word;
  return __builtin_bswap64(word);
}

uint8_t Swap(uint8_t pair) { return static_cast<uint8_t>(pair << 4 | pair >> 4); }

// The write position.
class Pen {
 public:
  explicit Pen(const RleTarget& target)
      : bits_(target.bits),
        stride_(static_cast<int64_t>(target.stride)),
        size_(stride_ * target.rows) {}

  uint64_t Row() const { return y_; }

  void EndLine() {
    at_ += stride_ - x_ / 2;
    x_ = 0;
    ++y_;
  }

  void Move(unsigned dx, unsigned dy) {
    at_ += stride_ * dy + dx / 2;
    x_ += dx;
    y_ += dy;
  }

  // Writes the short runs that the stream goes on with, as far as they stay away from written bytes
  // and from the end; returns how many bytes of the stream they were. Whatever its column and its
  // count, a short run and the byte that it begins in are one word. That byte is kept: loading it
  // would wait for its store.
  size_t ShortRuns(std::span<const uint8_t> records) {
    if (at_ < 0 || at_ >= size_ || at_ + 1 < fresh_) return 0;
    uint64_t begun = uint64_t{bits_[at_]} << 56;
    int64_t at = at_;
    int64_t x = x_;
    size_t read = 0;
    while (records.size() - read >= 2 && size_ - at >= 8) {
      const unsigned count = records[read];
      if (count - 1 >= kShortRun) break;
      const auto odd = static_cast<unsigned>(x & 1);
      const uint64_t run = Repeat(records[read + 1]) & ~uint64_t{0} << (64 - 4 * count);
      const uint64_t word = run >> 4 * odd | begun;
      const uint64_t bytes = HighestFirst(word);
      std::memcpy(bits_ + at, &bytes, sizeof bytes);
      const unsigned whole = (odd + count) / 2;
      begun = word << 8 * whole & uint64_t{0xFF} << 56;
      at += whole;
      x += count;
      read += 2;
    }
    if (read != 0) fresh_ = at + (x & 1);
    at_ = at;
    x_ = x;
    return read;
  }

  // Both are false when a pixel lies outside of the area.
  bool Run(unsigned count, uint8_t pair) {
    bool inside = true;
    if (x_ % 2 != 0) {
      inside = Place(pair >> 4u);
      pair = Swap(pair);
      --count;
    }
    const size_t whole = count / 2;
    if (!IsFresh(whole)) return PlaceAll(count, [pair](size_t) { return pair; }) && inside;
    const uint64_t word = Repeat(pair);
    uint8_t* const to = bits_ + at_;
    for (size_t i = 0; i < whole; i += kStep) {
      std::memcpy(to + i, &word, sizeof word);
      std::memcpy(to + i + 8, &word, sizeof word);
    }
    Advance(whole);
    if (count % 2 != 0) inside &= Place(pair >> 4u);
    return inside;
  }

  // The pixels are the first `count` of `pairs`.
  bool Literals(size_t count, const uint8_t* pairs) {
    if (count == 0) return true;
    if (x_ % 2 != 0) return OddLiterals(count, pairs);
    const size_t whole = count / 2;
    if (!IsFresh(whole)) return PlaceAll(count, [pairs](size_t i) { return pairs[i]; });
    std::memcpy(bits_ + at_, pairs, whole);
    Advance(whole);
    return count % 2 == 0 || Place(pairs[whole] >> 4u);
  }

 private:
  // Whether `whole` bytes, and a step more, lie inside and were never written.
  bool IsFresh(size_t whole) const {
    return at_ >= fresh_ && size_ - at_ >= static_cast<int64_t>(whole + kStep);
  }

  // Goes past `whole` bytes just stored, and clears what was stored behind them.
  void Advance(size_t whole) {
    at_ += static_cast<int64_t>(whole);
    x_ += static_cast<int64_t>(2 * whole);
    fresh_ = at_;
    std::memset(bits_ + at_, 0, kStep);
  }

  // Every byte takes its high half from the pair before.
  bool OddLiterals(size_t count, const uint8_t* pairs) {
    bool inside = Place(pairs[0] >> 4u);
    const size_t whole = (count - 1) / 2;
    const auto shifted = [pairs](size_t i) {
      return static_cast<uint8_t>(pairs[i] << 4 | pairs[i + 1] >> 4);
    };
    if (IsFresh(whole)) {
      for (size_t i = 0; i < whole; ++i) bits_[at_ + static_cast<int64_t>(i)] = shifted(i);
      Advance(whole);
    } else {
      inside &= PlaceAll(2 * whole, shifted);
    }
    if (count % 2 == 0) inside &= Place(pairs[whole] & 15u);
    return inside;
  }

  template <typename PairAt>
  bool PlaceAll(size_t count, PairAt pairAt) {
    bool inside = true;
    for (size_t i = 0; i < count; ++i) {
      const uint8_t pair = pairAt(i / 2);
      inside &= Place(i % 2 == 0 ? pair >> 4u : pair & 15u);
    }
    return inside;
  }

  // False when the pixel lies outside; it then only takes its place.
  bool Place(unsigned nibble) {
    const bool inside = at_ >= 0 && at_ < size_;
    const bool left = x_ % 2 == 0;
    if (inside) {
      bits_[at_] = static_cast<uint8_t>(bits_[at_] | (left ? nibble << 4 : nibble));
      fresh_ = std::max(fresh_, at_ + 1);
    }
    if (!left) ++at_;
    ++x_;
    return inside;
  }

  uint8_t* bits_;
  int64_t stride_;
  int64_t size_;
  int64_t at_ = 0;     // byte to write; moves may leave it outside of the area
  int64_t fresh_ = 0;  // bytes from here on are 0
  int64_t x_ = 0;
  uint64_t y_ = 0;
};

}  // namespace

void DecodeRle4(std::span<const uint8_t> records, const RleTarget& target) {
  const uint8_t* const stream = records.data();
  const size_t length = records.size();
  Pen pen(target);
  size_t at = 0;
  while (length - at >= 2 && pen.Row() < target.rows) {
    at += pen.ShortRuns(records.subspan(at));
    if (length - at < 2) return;
    const unsigned count = stream[at];
    const uint8_t value = stream[at + 1];
    at += 2;
    if (count != 0) {
      if (!pen.Run(count, value)) return;
    } else if (value == 0) {
      pen.EndLine();
    } else if (value == 1) {
      return;
    } else if (value == 2) {
      if (length - at < 2) return;
      pen.Move(stream[at], stream[at + 1]);
      at += 2;
    } else {
      const size_t bytes = (value + 1u) / 2;
      const size_t present = std::min(bytes, length - at);
      if (!pen.Literals(std::min<size_t>(value, 2 * present), stream + at)) return;
      if (present < bytes) return;
      at = std::min(length, at + bytes + bytes % 2);
    }
  }
}

}  // namespace dibkit
