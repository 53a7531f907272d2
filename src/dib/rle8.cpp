// SPDX-License-Identifier: Apache-2.0
//
// Short runs are written as 32 bytes, past their ends: what follows in the row overwrites the
// rest, and where the row is left the rest is made zero again. This is sound because no byte past
// the write position has been written to stay: rows only go up and columns only to the right.
#include <algorithm>
#include <cstring>

#include "dib/rle.h"

namespace dibkit {
namespace {

constexpr size_t kStep = 32;

// So many short runs, of at most 8 pixels, are looked at together.
constexpr size_t kBatch = 8;

uint64_t LoadWord(const uint8_t* at) {
  uint64_t word;
  std::memcpy(&word, at, sizeof word);
  return word;
}

void StoreWord(uint8_t* at, uint64_t word) { std::memcpy(at, &word, sizeof word); }

uint64_t Repeat(uint8_t value) { return value * uint64_t{0x0101010101010101}; }

// The write position.
class Pen {
 public:
  explicit Pen(const RleTarget& target)
      : target_(target), row_(target.bits), end_(target.bits + target.stride * target.rows) {}

  bool InImage() const { return y_ < target_.rows; }

  void Move(int64_t dx, int64_t dy) {
    Tidy();
    x_ += dx;
    GoUp(dy);
  }

  void NextRow() {
    Tidy();
    x_ = 0;
    GoUp(1);
  }

  // The pixels that fit the row from here on, at most `count`; where there are none the next row
  // begins. 0 past the last row.
  size_t Piece(size_t count) {
    if (x_ >= target_.width) NextRow();
    if (!InImage()) return 0;
    return std::min(count, static_cast<size_t>(target_.width - x_));
  }

  // All of the following write to what Piece has granted.
  void Fill(uint8_t value, size_t count) {
    uint8_t* const to = row_ + x_;
    if (count <= kStep && static_cast<size_t>(end_ - to) >= kStep) {
      for (size_t i = 0; i < kStep; i += 8) StoreWord(to + i, Repeat(value));
      untidy_ = true;
    } else {
      std::memset(to, value, count);
    }
    x_ += static_cast<int64_t>(count);
  }

  void Copy(const uint8_t* from, size_t count, size_t readable) {
    uint8_t* const to = row_ + x_;
    if (count <= kStep && readable >= kStep && static_cast<size_t>(end_ - to) >= kStep) {
      std::memcpy(to, from, kStep);
      untidy_ = true;
    } else {
      std::memcpy(to, from, count);
    }
    x_ += static_cast<int64_t>(count);
  }

  // Writes kBatch runs if all are short and fit the row, and the last does not come near the end.
  bool FillBatch(const uint8_t* records) {
    constexpr uint64_t kOnes = 0x0001000100010001;
    const uint64_t counts1 = LoadWord(records) & (kOnes * 0xFF);
    const uint64_t counts2 = LoadWord(records + 8) & (kOnes * 0xFF);
    // A count of 1 to 8, less one, has no bits but the low three; one of 0 borrows and has.
    if ((((counts1 - kOnes) | (counts2 - kOnes)) & (kOnes * 0xFFF8)) != 0) return false;
    const auto total = static_cast<int64_t>(((counts1 + counts2) * kOnes) >> 48);
    uint8_t* to = row_ + x_;
    if (total > target_.width - x_ || end_ - to < total + int64_t{kStep}) return false;
    for (size_t i = 0; i < kBatch; ++i) {
      StoreWord(to, Repeat(records[2 * i + 1]));
      to += records[2 * i];
    }
    x_ += total;
    untidy_ = true;
    return true;
  }

  // Makes zero again what was written past the position.
  void Tidy() {
    if (!untidy_) return;
    untidy_ = false;
    uint8_t* const from = row_ + x_;
    std::memset(from, 0, std::min(kStep, static_cast<size_t>(end_ - from)));
  }

 private:
  // Past the last row only the test for it is left to do.
  void GoUp(int64_t rows) {
    y_ += rows;
    if (InImage()) row_ += target_.stride * static_cast<size_t>(rows);
  }

  const RleTarget target_;
  uint8_t* row_;
  uint8_t* const end_;
  int64_t x_ = 0;
  int64_t y_ = 0;
  bool untidy_ = false;
};

}  // namespace

void DecodeRle8(std::span<const uint8_t> records, const RleTarget& target) {
  const uint8_t* const stream = records.data();
  const size_t length = records.size();
  Pen pen(target);
  size_t at = 0;
  size_t shortRuns = 0;  // in a row: a sign that more will come
  while (length - at >= 2 && pen.InImage()) {
    if (shortRuns >= kBatch && length - at >= 2 * kBatch) {
      if (pen.FillBatch(stream + at)) {
        at += 2 * kBatch;
        continue;
      }
      shortRuns = 0;
    }
    const size_t count = stream[at];
    const uint8_t value = stream[at + 1];
    at += 2;
    if (count != 0) {
      shortRuns = count <= kBatch ? shortRuns + 1 : 0;
      for (size_t left = count; left != 0;) {
        const size_t piece = pen.Piece(left);
        if (piece == 0) break;
        pen.Fill(value, piece);
        left -= piece;
      }
    } else if (value == 0) {
      pen.NextRow();
    } else if (value == 1) {
      break;
    } else if (value == 2) {
      if (length - at < 2) break;
      pen.Move(stream[at], stream[at + 1]);
      at += 2;
    } else {
      const size_t end = at + value;
      while (at < std::min<size_t>(end, length)) {
        const size_t piece = pen.Piece(std::min<size_t>(end, length) - at);
        if (piece == 0) break;
        pen.Copy(stream + at, piece, length - at);
        at += piece;
      }
      at = std::min<size_t>(end + value % 2, length);
    }
  }
  pen.Tidy();
}

}  // namespace dibkit
