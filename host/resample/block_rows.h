// SPDX-License-Identifier: Apache-2.0
//
// Means over blocks of pixels, row by row.
#ifndef DIBKIT_HOST_RESAMPLE_BLOCK_ROWS_H
#define DIBKIT_HOST_RESAMPLE_BLOCK_ROWS_H

#include <cstddef>
#include <cstdint>
#include <vector>

namespace dibkit::host {

// The pixels of a block; both at least 1.
struct BlockSize {
  uint32_t columns = 1;
  uint32_t rows = 1;
  bool operator==(const BlockSize&) const = default;
};

// The mean of `pixels` levels that add up to `sum`, rounded to the nearest, halves up.
constexpr unsigned char MeanLevel(uint64_t sum, uint64_t pixels) {
  return static_cast<unsigned char>((sum + pixels / 2) / pixels);
}

// Collects rows of pixels with 1 or 3 channels of 8 bits and gives one row of block means for them,
// each as MeanLevel says. Blocks that the right or the lower edge cuts short are the means of the
// pixels that they have.
class BlockRows {
 public:
  // Of rows of `width` pixels; blocks of at most 65535 x 65535.
  BlockRows(uint32_t width, unsigned channels, BlockSize size);

  // Of `width` pixels; at most size.rows of them between two calls of Take.
  void Add(const unsigned char* row);
  // The first `blocks` means of the rows since the last call, of which there is at least one. At
  // most width / size.columns of them, rounded up.
  void Take(unsigned char* out, uint32_t blocks);

 private:
  void TakeNarrow(unsigned char* out, uint32_t blocks);
  void TakeLast(unsigned char* out, uint32_t block) const;
  void TakeWide(unsigned char* out, uint32_t blocks) const;
  uint32_t ColumnsOf(uint32_t block) const;

  uint32_t width_;
  unsigned channels_;
  BlockSize size_;
  bool isNarrow_;  // a block's sum fits 16 bits
  uint32_t added_ = 0;
  std::vector<uint16_t> narrow_;  // down each column, with a block of zeros at the end
  std::vector<uint32_t> wide_;    // down each column
  std::vector<uint16_t> across_;  // of narrow_, over the columns of a block that begins there
  std::vector<unsigned char> levels_;
};

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_RESAMPLE_BLOCK_ROWS_H
