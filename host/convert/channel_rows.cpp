// SPDX-License-Identifier: Apache-2.0
#include "convert/channel_rows.h"

#include <bit>

#include "bitmap/little_endian.h"

namespace dibkit::host {
namespace {

constexpr unsigned kByteBits = 8;

unsigned char LevelOf(uint32_t pixel, const Channel& channel) {
  if (channel.bits == 0) {
    return 0;
  }
  const uint64_t most = (uint64_t{1} << channel.bits) - 1;
  const uint64_t scaled = (pixel >> channel.shift & most) * 255;
  // Half is never met, since `most` is odd. A quotient by 2^n - 1 is one by 2^n and a correction,
  // exact when n is at least 8.
  if (channel.bits < kByteBits) {
    return static_cast<unsigned char>((scaled + most / 2) / most);
  }
  const uint64_t sum = scaled + (uint64_t{1} << (channel.bits - 1));
  return static_cast<unsigned char>((sum + (sum >> channel.bits)) >> channel.bits);
}

template <size_t kBytes>
void WidenRow(const unsigned char* from, unsigned char* to, size_t width,
              const Channels& channels) {
  for (; width != 0; --width, from += kBytes, to += 3) {
    const uint32_t pixel = kBytes == 2 ? Load16(from) : Load32(from);
    to[0] = LevelOf(pixel, channels.blue);
    to[1] = LevelOf(pixel, channels.green);
    to[2] = LevelOf(pixel, channels.red);
  }
}

}  // namespace

Channel ChannelOf(uint32_t mask) {
  if (mask == 0) {
    return {0, 0};
  }
  const auto shift = static_cast<unsigned>(std::countr_zero(mask));
  return {shift, static_cast<unsigned>(std::countr_one(mask >> shift))};
}

RowStretcher::RowStretcher(const Channels& channels) : changes_(false) {
  const std::array<unsigned, 3> bits{channels.blue.bits, channels.green.bits, channels.red.bits};
  for (size_t lane = 0; lane < kPeriod; ++lane) {
    SetLane(lane, bits[lane % bits.size()]);
  }
}

// A byte b of n bits lacks b * lack / most. Times 2^(n + 8) and rounded, that factor is near enough
// for every n, and products stay within 16 bits.
void RowStretcher::SetLane(size_t lane, unsigned bits) {
  const unsigned most = 0xFFU & 0xFFU << (kByteBits - bits);
  const unsigned lack = 255 - most;
  const bool stretched = bits != 0 && lack != 0;
  changes_ = changes_ || stretched;
  kept_[lane] = static_cast<uint16_t>(most);
  factor_[lane] = static_cast<uint16_t>(stretched ? ((lack << (bits + 8)) + most / 2) / most : 0);
  half_[lane] = static_cast<uint16_t>(stretched ? 1U << (bits + 7) : 0);
  back_[lane] = static_cast<uint16_t>(stretched ? 1U << (kByteBits - bits) : 1U);
}

void RowStretcher::Stretch(unsigned char* row, size_t pixels) const {
  const auto stretch = [this, row](size_t at, size_t lane) {
    const auto level = static_cast<uint16_t>(row[at] & kept_[lane]);
    const auto lacking = static_cast<uint16_t>(level * factor_[lane] + half_[lane]);
    row[at] = static_cast<unsigned char>(level + (uint32_t{lacking} * back_[lane] >> 16));
  };
  const size_t bytes = pixels * 3;
  size_t at = 0;
  for (; at + kPeriod <= bytes; at += kPeriod) {
    for (size_t lane = 0; lane < kPeriod; ++lane) {
      stretch(at + lane, lane);
    }
  }
  for (size_t lane = 0; at + lane < bytes; ++lane) {
    stretch(at + lane, lane);
  }
}

void WidenRow16(const unsigned char* from, unsigned char* to, size_t width,
                const Channels& channels) {
  WidenRow<2>(from, to, width, channels);
}

void WidenRow32(const unsigned char* from, unsigned char* to, size_t width,
                const Channels& channels) {
  WidenRow<4>(from, to, width, channels);
}

}  // namespace dibkit::host
