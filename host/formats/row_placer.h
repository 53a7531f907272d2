// SPDX-License-Identifier: Apache-2.0
//
// Decoded rows, top row first as files store them, into an upright bottom-up DIB without a second
// whole copy.
#ifndef DIBKIT_HOST_FORMATS_ROW_PLACER_H
#define DIBKIT_HOST_FORMATS_ROW_PLACER_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "dibkit/host/dib_layout.h"
#include "dibkit/host/global_memory.h"
#include "dibkit/host/locked_block.h"
#include "dibkit/host/resolution.h"
#include "formats/orientation.h"

namespace dibkit::host {

// The image as the file stores it.
struct StoredImage {
  uint32_t width;        // 1 to 2^31 - 1
  uint32_t height;       // the same
  uint16_t bitCount;     // of the DIB: 1, 4, 8 or 24
  unsigned orientation;  // 1 to 8
};

// Makes the DIB and offers for each stored row the memory to decode it into: the row of the DIB
// itself where orientation is 1 to 4, one of a band of scratch rows elsewhere. Members throw
// ImageError (kTooLarge, kNoMemory) and std::bad_alloc.
class RowPlacer {
 public:
  // `resolution` is that of the upright image. `groupRows` is how many rows come together: 1, or
  // the height of the tiles of a file that has them.
  RowPlacer(const StoredImage& image, PelsPerMetre resolution, uint32_t groupRows = 1);

  // The colour table, 4 bytes an entry, all of it; black until it is filled.
  std::span<unsigned char> Table();

  // Where stored row `y` goes: pixels as a DIB has them, RowBytes() bytes may be written. `y` is
  // not done and belongs to the same group as row DoneRows(). What was written stays until the row
  // is done, so that rows can be put together piece by piece.
  unsigned char* Row(uint32_t y);
  // A row with its padding, a multiple of 4.
  size_t RowBytes() const { return rowBytes_; }
  uint32_t DoneRows() const { return done_; }
  // The next `count` rows are complete.
  void Done(uint32_t count = 1);

  // Unlocked and upright, its padding zero. All rows are done.
  OwnedBlock Take();

 private:
  unsigned char* DibRow(uint32_t uprightRow);
  void ClearPadding(unsigned char* row, uint32_t width) const;
  void FlushBand();

  StoredImage image_;
  Turn turn_;
  uint32_t uprightWidth_;
  uint32_t uprightHeight_;
  DibLayout layout_;
  size_t rowBytes_;  // of a stored row
  uint32_t bandRows_;
  OwnedBlock dib_;
  std::optional<LockedBlock> lock_;
  uint32_t done_ = 0;
  uint32_t bandBegin_ = 0;
  std::vector<unsigned char> band_;
};

// A plain DIB, whose rows are those of a file with this orientation, turned upright: for decoders
// that do not give rows from top to bottom. Its table and resolution go along, the latter with the
// axes. Takes a second block unless the orientation is 1. Throws as RowPlacer does.
OwnedBlock Upright(OwnedBlock dib, unsigned orientation);

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_FORMATS_ROW_PLACER_H
