// SPDX-License-Identifier: Apache-2.0
//
// Every loop over columns here is one that the compiler makes vectors of: sums and means are taken
// for the blocks that begin at any column, and those that are wanted are picked last.
#include "resample/block_rows.h"

#include <algorithm>
#include <cstring>

namespace dibkit::host {
namespace {

// The most pixels for which MeansOf divides exactly; 255 times as many fit 16 bits.
constexpr uint64_t kMostNarrow = 256;

template <typename Sum>
void AddRow(const unsigned char* row, Sum* sums, size_t count) {
  for (size_t i = 0; i < count; ++i) {
    sums[i] = static_cast<Sum>(sums[i] + row[i]);
  }
}

template <typename Sum>
void BeginRow(const unsigned char* row, Sum* sums, size_t count) {
  for (size_t i = 0; i < count; ++i) {
    sums[i] = row[i];
  }
}

// Adds to each sum those of the next columns - 1 pixels.
void AddAcross(const uint16_t* sums, uint16_t* across, size_t count, uint32_t columns,
               unsigned channels) {
  for (size_t i = 0; i < count; ++i) {
    across[i] = static_cast<uint16_t>(sums[i] + sums[i + channels]);
  }
  for (uint32_t column = 2; column < columns; ++column) {
    const uint16_t* next = sums + size_t{column} * channels;
    for (size_t i = 0; i < count; ++i) {
      across[i] = static_cast<uint16_t>(across[i] + next[i]);
    }
  }
}

// MeanLevel by a multiplication: the reciprocal is at most 1 / 2^24 too large, which a sum of up to
// 255.5 * 256 cannot carry over the next whole number.
void MeansOf(const uint16_t* sums, unsigned char* levels, size_t count, uint32_t pixels) {
  constexpr unsigned kShift = 24;
  const uint32_t half = pixels / 2;
  const uint32_t reciprocal = ((uint32_t{1} << kShift) + pixels - 1) / pixels;
  for (size_t i = 0; i < count; ++i) {
    levels[i] = static_cast<unsigned char>((sums[i] + half) * reciprocal >> kShift);
  }
}

// Every `step`-th pixel.
void Pick(const unsigned char* levels, unsigned char* out, uint32_t count, uint32_t step,
          unsigned channels) {
  if (channels == 1) {
    for (uint32_t x = 0; x < count; ++x) {
      out[x] = levels[size_t{x} * step];
    }
    return;
  }
  for (uint32_t x = 0; x < count; ++x) {
    std::memcpy(out + size_t{x} * 3, levels + size_t{x} * step * 3, 3);
  }
}

}  // namespace

BlockRows::BlockRows(uint32_t width, unsigned channels, BlockSize size)
    : width_(width),
      channels_(channels),
      size_(size),
      isNarrow_(uint64_t{size.columns} * size.rows <= kMostNarrow) {
  const size_t samples = size_t{width} * channels;
  if (isNarrow_) {
    narrow_.resize(samples + size_t{size.columns} * channels);
    across_.resize(samples);
    levels_.resize(samples);
  } else {
    wide_.resize(samples);
  }
}

void BlockRows::Add(const unsigned char* row) {
  const size_t samples = size_t{width_} * channels_;
  const bool begins = added_++ == 0;
  if (isNarrow_) {
    begins ? BeginRow(row, narrow_.data(), samples) : AddRow(row, narrow_.data(), samples);
  } else {
    begins ? BeginRow(row, wide_.data(), samples) : AddRow(row, wide_.data(), samples);
  }
}

void BlockRows::Take(unsigned char* out, uint32_t blocks) {
  isNarrow_ ? TakeNarrow(out, blocks) : TakeWide(out, blocks);
  added_ = 0;
}

// Pixels from the block's left edge to its right one or the image's.
uint32_t BlockRows::ColumnsOf(uint32_t block) const {
  return std::min(size_.columns, width_ - block * size_.columns);
}

void BlockRows::TakeNarrow(unsigned char* out, uint32_t blocks) {
  const size_t samples = size_t{width_} * channels_;
  const uint16_t* sums = narrow_.data();
  if (size_.columns > 1) {
    AddAcross(sums, across_.data(), samples, size_.columns, channels_);
    sums = across_.data();
  }
  MeansOf(sums, levels_.data(), samples, size_.columns * added_);
  Pick(levels_.data(), out, blocks, size_.columns, channels_);
  const uint32_t last = blocks - 1;
  const size_t at = size_t{last} * size_.columns * channels_;
  for (unsigned channel = 0; channel < channels_; ++channel) {
    out[size_t{last} * channels_ + channel] =
        MeanLevel(sums[at + channel], uint64_t{ColumnsOf(last)} * added_);
  }
}

void BlockRows::TakeWide(unsigned char* out, uint32_t blocks) const {
  for (uint32_t block = 0; block < blocks; ++block) {
    const uint32_t columns = ColumnsOf(block);
    const uint32_t* first = wide_.data() + size_t{block} * size_.columns * channels_;
    for (unsigned channel = 0; channel < channels_; ++channel) {
      uint64_t sum = 0;
      for (uint32_t column = 0; column < columns; ++column) {
        sum += first[size_t{column} * channels_ + channel];
      }
      *out++ = MeanLevel(sum, uint64_t{columns} * added_);
    }
  }
}

}  // namespace dibkit::host
