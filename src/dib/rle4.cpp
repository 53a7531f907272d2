// SPDX-License-Identifier: Apache-2.0
//
// Nibbles are ORed into the rows, and a stream can come back to bytes that hold something: by a
// move from an odd column, or at the end of a line that ran on into the next. Bytes past the
// highest that was written are known to be 0; there whole bytes are stored in steps, and what is
// stored too much is made zero again once the runs end. Elsewhere pixels are placed one by one.
#include <algorithm>
#include <bit>
#include <cstring>

#include "dib/rle.h"
#include "dib/rle_groups.h"

namespace dibkit {
namespace {

constexpr size_t kStep = 16;

// Runs are stored in longer steps, so that few take more than one.
constexpr size_t kRunStep = 32;

// The bytes of the longest run, or of a group, and what is stored behind them.
constexpr int64_t kRunReach = 128 + kRunStep;

uint8_t Swap(uint8_t pair) { return static_cast<uint8_t>(pair << 4 | pair >> 4); }

// Where runs are being written. What is stored from here on does not count, but for the left pixel
// of the first byte in an odd column.
struct RunTip {
  uint8_t* to;
  uint8_t begun;  // the byte at `to`: loading it would wait for its store
  unsigned odd;   // 1 in an odd column

  void Write(unsigned count, uint8_t value) {
    const uint8_t pair = StoreStep(value);
    const unsigned bytes = (odd + count + 1) / 2;
    for (unsigned i = kRunStep; i < bytes; i += kRunStep) {
      PrefetchAhead(to + i);
      std::memset(to + i, pair, kRunStep);
    }
    Advance(count, pair);
  }

  // Writes four runs if each is one step from either half of a byte: of 1 to 62 pixels.
  bool WriteFour(const uint8_t* records) {
    const uint64_t counts = LoadFourCounts(records);
    const uint64_t outside = (counts - kFourOnes) | (counts + kFourOnes);
    if ((outside & kFourOnes * 0xFFC0) != 0) return false;
    PrefetchAhead(records);
    PrefetchAhead(to);
    if (((counts & kFourOnes) | odd) == 0) {
      Unroll<4>([&](size_t i) {
        std::memset(to, records[2 * i + 1], kRunStep);
        to += records[2 * i] / 2;
      });
    } else {
      Unroll<4>([&](size_t i) { Advance(records[2 * i], StoreStep(records[2 * i + 1])); });
    }
    return true;
  }

 private:
  // Stores a run of `value` as far as one step goes; returns what its whole bytes are.
  uint8_t StoreStep(uint8_t value) {
    const uint8_t pair = std::rotl(value, static_cast<int>(4 * odd));
    const unsigned kept = 0xF0 * odd;
    std::memset(to, pair, kRunStep);
    *to = static_cast<uint8_t>((begun & kept) | (pair & ~kept));
    return pair;
  }

  void Advance(unsigned count, uint8_t pair) {
    to += (odd + count) / 2;
    begun = pair;
    odd = (odd + count) & 1;
  }
};

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

  // Writes the runs that the stream goes on with, as far as they stay away from written pixels and
  // from the end; returns how many bytes of the stream they were.
  size_t Runs(std::span<const uint8_t> records) {
    if (at_ < 0 || size_ - at_ < kRunReach || !BeginsFresh()) return 0;
    RunTip tip{bits_ + at_, bits_[at_], static_cast<unsigned>(x_ & 1)};
    const uint8_t* const last = bits_ + (size_ - kRunReach);
    const size_t length = records.size();
    size_t read = 0;
    while (length - read >= 2 && tip.to <= last) {
      if (length - read >= 8 && tip.WriteFour(records.data() + read)) {
        read += 8;
      } else if (records[read] != 0) {
        tip.Write(records[read], records[read + 1]);
        read += 2;
      } else {
        break;
      }
    }
    if (read != 0) Leave(tip);
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
    for (size_t i = 0; i < whole; i += kStep) std::memset(bits_ + at_ + i, pair, kStep);
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
  // Whether the next pixel and all that follow were never written.
  bool BeginsFresh() const {
    return x_ % 2 == 0 ? at_ >= fresh_ : at_ + 1 >= fresh_ && (bits_[at_] & 15u) == 0;
  }

  // Goes to where the runs end, and clears what was stored behind them.
  void Leave(const RunTip& tip) {
    const int64_t at = tip.to - bits_;
    x_ += 2 * (at - at_) + tip.odd - (x_ & 1);
    at_ = at;
    fresh_ = at_ + tip.odd;
    std::memset(tip.to, 0, kRunStep);
    if (tip.odd != 0) *tip.to = tip.begun & 0xF0;
  }

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
    at += pen.Runs(records.subspan(at));
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
