// SPDX-License-Identifier: Apache-2.0
//
// Runs are written in steps of 32 bytes, past their ends: what follows in the row overwrites the
// rest, and where the row is left the rest is made zero again. This is sound because no byte past
// the write position has been written to stay: rows only go up and columns only to the right.
#include <algorithm>
#include <cstring>

#include "dib/rle.h"
#include "dib/rle_groups.h"

namespace dibkit {
namespace {

constexpr size_t kStep = 32;

// Where runs have as few pixels as this on average, most are tiny and worth stores of their own.
constexpr size_t kTinyRun = 2;

// The runs that are to come, and what they may fill: the rest of a row, behind which at least kStep
// bytes more may be written for the time being.
struct RunsInRow {
  const uint8_t* from;
  const uint8_t* const end;
  uint8_t* to;
  size_t left;

  void Advance(size_t records, size_t pixels) {
    from += 2 * records;
    to += pixels;
    left -= pixels;
  }
};

// Writes kRuns runs if none is longer than kLongest, a power of 2 up to kStep, and all fit the row.
template <size_t kRuns, size_t kLongest>
bool WriteTogether(RunsInRow& runs) {
  if (static_cast<size_t>(runs.end - runs.from) < 2 * kRuns) return false;
  uint64_t counts = 0;
  uint64_t excess = 0;
  for (size_t i = 0; i < kRuns; i += 4) {
    const uint64_t four = LoadFourCounts(runs.from + 2 * i);
    counts += four;
    // A count from 1 to kLongest, less one, has low bits only; one of 0 borrows and has others.
    excess |= (four - kFourOnes) & kFourOnes * (0x10000 - kLongest);
  }
  const auto total = static_cast<size_t>(counts * kFourOnes >> 48);
  if (excess != 0 || total > runs.left) return false;
  PrefetchAhead(runs.from);
  PrefetchAhead(runs.to);
  uint8_t* to = runs.to;
  Unroll<kRuns>([&](size_t i) {
    std::memset(to, runs.from[2 * i + 1], kLongest);
    to += runs.from[2 * i];
  });
  runs.Advance(kRuns, total);
  return true;
}

// Writes a run of any length if it fits the row.
bool WriteOne(RunsInRow& runs) {
  if (runs.end - runs.from < 2) return false;
  const size_t count = runs.from[0];
  if (count == 0 || count > runs.left) return false;
  for (size_t i = 0; i < count; i += kStep) {
    PrefetchAhead(runs.to + i);
    std::memset(runs.to + i, runs.from[1], kStep);
  }
  runs.Advance(1, count);
  return true;
}

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
      std::memset(to, value, kStep);
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

  // Writes the runs that the stream goes on with, as far as they fit the row; returns how many
  // bytes of the stream they were.
  size_t Runs(std::span<const uint8_t> records) {
    if (x_ >= target_.width) return 0;
    const auto left = static_cast<size_t>(target_.width - x_);
    uint8_t* const to = row_ + x_;
    if (static_cast<size_t>(end_ - to) < left + kStep) return 0;
    RunsInRow runs{records.data(), records.data() + records.size(), to, left};
    if (tiny_) {
      while (WriteTogether<8, 8>(runs) || WriteTogether<4, kStep>(runs) || WriteOne(runs)) {
      }
    } else {
      while (WriteTogether<4, kStep>(runs) || WriteOne(runs)) {
      }
    }
    if (runs.to == to) return 0;
    tiny_ = static_cast<size_t>(runs.to - to) <=
            kTinyRun * static_cast<size_t>(runs.from - records.data()) / 2;
    x_ += runs.to - to;
    untidy_ = true;
    return static_cast<size_t>(runs.from - records.data());
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
  bool tiny_ = false;
};

}  // namespace

void DecodeRle8(std::span<const uint8_t> records, const RleTarget& target) {
  const uint8_t* const stream = records.data();
  const size_t length = records.size();
  Pen pen(target);
  size_t at = 0;
  while (length - at >= 2 && pen.InImage()) {
    at += pen.Runs(records.subspan(at));
    if (length - at < 2) break;
    const size_t count = stream[at];
    const uint8_t value = stream[at + 1];
    at += 2;
    if (count != 0) {
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
