// SPDX-License-Identifier: Apache-2.0
//
// Channels of other than 8 bits over their full range: a value c of n bits becomes
// round(c * 255 / (2^n - 1)), so that white is 255 whatever the masks.
#ifndef DIBKIT_HOST_CONVERT_CHANNEL_ROWS_H
#define DIBKIT_HOST_CONVERT_CHANNEL_ROWS_H

#include <array>
#include <cstddef>
#include <cstdint>

namespace dibkit::host {

struct Channel {
  unsigned shift;  // of its lowest bit in a pixel
  unsigned bits;   // 0: the pixels have no such channel, which reads as 0
};

// The lowest run of bits in `mask`, which may be anything.
Channel ChannelOf(uint32_t mask);

struct Channels {
  Channel blue;
  Channel green;
  Channel red;
};

// Rows of bytes that hold blue, green and red in turn, each in its top bits, as the library leaves
// channels of up to 8 bits: brings them to their full range, in lanes.
class RowStretcher {
 public:
  // No channel may have more than 8 bits.
  explicit RowStretcher(const Channels& channels);

  // False where all have 8 bits, or none.
  bool Changes() const { return changes_; }
  // In place; what is below a channel's bits counts for nothing.
  void Stretch(unsigned char* row, size_t pixels) const;

 private:
  static constexpr size_t kPeriod = 48;  // whole pixels and whole vectors
  using Lanes = std::array<uint16_t, kPeriod>;

  void SetLane(size_t lane, unsigned bits);

  Lanes kept_{};    // the channel's bits in its byte
  Lanes factor_{};  // what the level lacks, in parts of the level, times 2^(bits + 8)
  Lanes half_{};    // half of that power, which rounds
  Lanes back_{};    // 2^16 divided by that power
  bool changes_;
};

// One row: `width` pixels of 2 or 4 bytes, little-endian, to blue, green, red. Takes channels of
// any number of bits, one pixel at a time.
void WidenRow16(const unsigned char* from, unsigned char* to, size_t width,
                const Channels& channels);
void WidenRow32(const unsigned char* from, unsigned char* to, size_t width,
                const Channels& channels);

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_CONVERT_CHANNEL_ROWS_H
