// SPDX-License-Identifier: Apache-2.0
//
// A look at a packed DIB in a locked block.
#ifndef DIBKIT_HOST_DIB_VIEW_H
#define DIBKIT_HOST_DIB_VIEW_H

#include <cstdint>
#include <span>

#include "dibkit/host/dib_layout.h"

namespace dibkit::host {

// Sees plain DIBs only: a 40-byte header, 1, 4, 8, 16, 24 or 32 bits, no compression, bottom row
// first, biClrUsed 0 or exactly the full table. Valid as long as the block stays locked.
class DibView {
 public:
  // Throws ImageError (kUnsoundDib) when the block does not hold such a DIB.
  explicit DibView(std::span<unsigned char> block);

  uint32_t Width() const { return width_; }    // 1 to 2^31 - 1
  uint32_t Height() const { return height_; }  // 1 to 2^31 - 1
  uint16_t BitCount() const { return bitCount_; }
  int32_t XPelsPerMeter() const;
  int32_t YPelsPerMeter() const;
  void SetPelsPerMeter(int32_t x, int32_t y);

  const DibLayout& Layout() const { return layout_; }
  // The colour table, 4 bytes an entry: blue, green, red, reserved.
  std::span<const unsigned char> Table() const;
  // True when every entry of the table is grey; false where there is no table.
  bool HasGreyTable() const;
  // Row `stored` counted from the first in memory, with its padding.
  std::span<const unsigned char> Row(uint32_t stored) const;
  // Header, table and rows, without what else the block holds.
  std::span<const unsigned char> Bytes() const;

 private:
  std::span<unsigned char> block_;
  uint32_t width_;
  uint32_t height_;
  uint16_t bitCount_;
  DibLayout layout_;
};

// True when each of the entries of 4 bytes is grey; false when there are none.
bool IsGreyTable(std::span<const unsigned char> table);

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_DIB_VIEW_H
