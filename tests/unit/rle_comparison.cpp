// SPDX-License-Identifier: Apache-2.0
#include "rle_comparison.h"

#include <algorithm>
#include <vector>

#include "dib/rle.h"
#include "reference/plain_rle.h"
#include "support/guarded_bytes.h"

namespace dibtest {
namespace {

using Bytes = std::vector<uint8_t>;

uint8_t Count(unsigned most, Random& random) {
  return static_cast<uint8_t>(1 + random.Below(most));
}

void AddRun(unsigned most, Random& random, Bytes& stream) {
  stream.insert(stream.end(), {Count(most, random), random.Byte()});
}

void AddLiterals(unsigned bits, Random& random, Bytes& stream) {
  const unsigned pixels = 3 + random.Below(random.Below(4) == 0 ? 253 : 20);
  stream.insert(stream.end(), {0, static_cast<uint8_t>(pixels)});
  const unsigned bytes = (pixels * bits / 8 + (bits == 4 ? pixels % 2 : 0) + 1) / 2 * 2;
  for (unsigned i = 0; i < bytes; ++i) stream.push_back(random.Byte());
}

void AddRecord(unsigned bits, RecordMix mix, Random& random, Bytes& stream) {
  switch (mix) {
    case RecordMix::kTiny:
      return AddRun(2, random, stream);
    case RecordMix::kShort:
      return AddRun(32, random, stream);
    case RecordMix::kLong:
      return AddRun(255, random, stream);
    case RecordMix::kText:
      return AddRun(random.Below(9) == 0 ? 255 : 3, random, stream);
    case RecordMix::kLiterals:
      return AddLiterals(bits, random, stream);
    case RecordMix::kAnything:
      stream.insert(stream.end(), {random.Byte(), random.Byte()});
  }
}

// Ends of lines where rows are full, more or less, and now and then a move.
Bytes MakeStream(unsigned bits, RecordMix mix, uint32_t width, uint32_t rows, Random& random) {
  Bytes stream;
  const unsigned lines = 1 + random.Below(rows + 2);
  for (unsigned line = 0; line < lines; ++line) {
    uint32_t filled = 0;
    const uint32_t wanted = random.Below(8) == 0 ? random.Below(2 * width + 1) : width;
    while (filled < wanted) {
      const size_t at = stream.size();
      AddRecord(bits, mix, random, stream);
      filled += std::max<uint32_t>(1, stream[at] != 0 ? stream[at] : stream[at + 1]);
      if (random.Below(200) == 0) {
        stream.insert(stream.end(),
                      {0, 2, Count(20, random), static_cast<uint8_t>(random.Below(3))});
      }
    }
    if (random.Below(4) != 0) stream.insert(stream.end(), {0, 0});
  }
  if (random.Below(4) == 0) stream.resize(random.Below(static_cast<uint32_t>(stream.size()) + 1));
  return stream;
}

Bytes Decode(unsigned bits, bool plainly, Bytes& stream, dibkit::RleTarget target, size_t bytes,
             GuardSide side) {
  GuardedBytes source(stream, side);
  GuardedBytes area(bytes, side);
  target.bits = area.data();
  const std::span<const unsigned char> records(source.data(), source.size());
  if (plainly) {
    bits == 8 ? DecodePlainRle8(records, target) : DecodePlainRle4(records, target);
  } else {
    bits == 8 ? dibkit::DecodeRle8(records, target) : dibkit::DecodeRle4(records, target);
  }
  return area.Copy();
}

}  // namespace

void CompareRle(unsigned bits, RecordMix mix, Random& random, Tally& tally) {
  const uint32_t width = 1 + random.Below(random.Below(3) == 0 ? 3000 : 300);
  const uint32_t rows = 1 + random.Below(random.Below(3) == 0 ? 60 : 8);
  const size_t stride = (size_t{width} * bits + 31) / 32 * 4;
  const dibkit::RleTarget target{.bits = nullptr, .stride = stride, .width = width, .rows = rows};
  Bytes stream = MakeStream(bits, mix, width, rows, random);
  const GuardSide side = random.Below(2) == 0 ? GuardSide::kEnd : GuardSide::kStart;
  const Bytes wanted = Decode(bits, true, stream, target, stride * rows, side);
  const Bytes made = Decode(bits, false, stream, target, stride * rows, side);
  uint64_t differences = 0;
  for (size_t i = 0; i < wanted.size(); ++i) differences += made[i] != wanted[i] ? 1u : 0u;
  tally.compared += uint64_t{width} * rows;
  tally.Note(differences, std::to_string(bits) + " bits, " + std::to_string(width) + " x " +
                              std::to_string(rows) + ", records of mix " +
                              std::to_string(static_cast<unsigned>(mix)));
}

}  // namespace dibtest
