// SPDX-License-Identifier: Apache-2.0
//
// Every loop over columns here is one that the compiler makes vectors of: sums and means are taken
// for the blocks that begin at any column, and those that are wanted are picked last.
#include "resample/block_rows.h"

#include <algorithm>
#include <bit>
#include <cstring>

// The loops are made for CPUs with AVX2 too, and the right ones chosen when the program starts.
#if (defined(__x86_64__) || defined(__i386__)) && !defined(__SANITIZE_THREAD__)
#define DIBKIT_FOR_EACH_CPU __attribute__((target_clones("avx2", "default")))
#else
#define DIBKIT_FOR_EACH_CPU
#endif

namespace dibkit::host {
namespace {

// The most pixels for which Reciprocal divides exactly; 255.5 times as many fit 16 bits.
constexpr uint64_t kMostNarrow = 128;

// MeanLevel by a multiplication in 16 bits. `factor` is 2^(16 + shift) / pixels, rounded up by less
// than 128 / pixels, which a sum of up to 255.5 pixels cannot carry over the next whole number.
struct Reciprocal {
  uint32_t half;
  uint32_t factor;
  unsigned shift;

  // `pixels`: 2 to kMostNarrow.
  explicit Reciprocal(uint32_t pixels)
      : half(pixels / 2), shift(static_cast<unsigned>(std::bit_width(pixels - 1)) - 1) {
    factor = ((uint32_t{1} << (16 + shift)) + pixels - 1) / pixels;
  }

  unsigned char MeanOf(uint32_t sum) const {
    const auto high = static_cast<uint16_t>((sum + half) * factor >> 16);
    return static_cast<unsigned char>(high >> shift);
  }
};

DIBKIT_FOR_EACH_CPU void BeginNarrow(const unsigned char* row, uint16_t* sums, size_t count) {
  for (size_t i = 0; i < count; ++i) {
    sums[i] = row[i];
  }
}

DIBKIT_FOR_EACH_CPU void AddNarrow(const unsigned char* row, uint16_t* sums, size_t count) {
  for (size_t i = 0; i < count; ++i) {
    sums[i] = static_cast<uint16_t>(sums[i] + row[i]);
  }
}

// The means over as many columns from each sum on; the last ones reach beyond `count`.
template <uint32_t Columns>
inline __attribute__((always_inline)) void MeansOver(const uint16_t* sums, unsigned char* levels,
                                                     size_t count, unsigned channels,
                                                     const Reciprocal& reciprocal) {
  const Reciprocal by = reciprocal;
  for (size_t i = 0; i < count; ++i) {
    uint16_t sum = sums[i];
    for (uint32_t column = 1; column < Columns; ++column) {
      sum = static_cast<uint16_t>(sum + sums[i + size_t{column} * channels]);
    }
    levels[i] = by.MeanOf(sum);
  }
}

// Adds up more columns than MeansOver has a form for.
DIBKIT_FOR_EACH_CPU void AddColumns(const uint16_t* sums, uint16_t* across, size_t count,
                                    uint32_t columns, unsigned channels) {
  std::copy_n(sums, count, across);
  for (uint32_t column = 1; column < columns; ++column) {
    const uint16_t* next = sums + size_t{column} * channels;
    for (size_t i = 0; i < count; ++i) {
      across[i] = static_cast<uint16_t>(across[i] + next[i]);
    }
  }
}

DIBKIT_FOR_EACH_CPU void MeansOfFew(const uint16_t* sums, unsigned char* levels, size_t count,
                                    uint32_t columns, unsigned channels,
                                    const Reciprocal& reciprocal) {
  switch (columns) {
    case 1:
      return MeansOver<1>(sums, levels, count, channels, reciprocal);
    case 2:
      return MeansOver<2>(sums, levels, count, channels, reciprocal);
    case 3:
      return MeansOver<3>(sums, levels, count, channels, reciprocal);
    default:
      return MeansOver<4>(sums, levels, count, channels, reciprocal);
  }
}

// Every `step`-th pixel. Three bytes go as four, but for the last ones.
void Pick(const unsigned char* levels, unsigned char* out, uint32_t count, uint32_t step,
          unsigned channels) {
  if (channels == 1) {
    for (uint32_t x = 0; x < count; ++x) {
      out[x] = levels[size_t{x} * step];
    }
    return;
  }
  const size_t last = count - 1;
  for (size_t x = 0; x < last; ++x) {
    std::memcpy(out + x * 3, levels + x * step * 3, 4);
  }
  std::memcpy(out + last * 3, levels + last * step * 3, 3);
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
  if (!isNarrow_) {
    const auto sum = [begins](uint32_t before, uint32_t level) {
      return begins ? level : before + level;
    };
    std::transform(wide_.begin(), wide_.end(), row, wide_.begin(), sum);
  } else if (begins) {
    BeginNarrow(row, narrow_.data(), samples);
  } else {
    AddNarrow(row, narrow_.data(), samples);
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
  constexpr uint32_t kFewColumns = 4;
  const size_t samples = size_t{width_} * channels_;
  const uint16_t* sums = narrow_.data();
  uint32_t columns = size_.columns;
  if (columns > kFewColumns) {
    AddColumns(sums, across_.data(), samples, columns, channels_);
    sums = across_.data();
    columns = 1;
  }
  if (size_.columns * added_ > 1) {
    MeansOfFew(sums, levels_.data(), samples, columns, channels_,
               Reciprocal(size_.columns * added_));
  } else {
    std::copy_n(sums, samples, levels_.begin());
  }
  Pick(levels_.data(), out, blocks, size_.columns, channels_);
  TakeLast(out, blocks - 1);
}

// The right edge may cut it short.
void BlockRows::TakeLast(unsigned char* out, uint32_t block) const {
  const uint32_t columns = ColumnsOf(block);
  const uint16_t* first = narrow_.data() + size_t{block} * size_.columns * channels_;
  for (unsigned channel = 0; channel < channels_; ++channel) {
    uint64_t sum = 0;
    for (uint32_t column = 0; column < columns; ++column) {
      sum += first[size_t{column} * channels_ + channel];
    }
    out[size_t{block} * channels_ + channel] = MeanLevel(sum, uint64_t{columns} * added_);
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
