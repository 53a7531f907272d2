// SPDX-License-Identifier: Apache-2.0
#include "formats/row_placer.h"

#include <algorithm>
#include <new>
#include <numeric>
#include <utility>

#include "convert/new_dib.h"
#include "dibkit/host/dib_view.h"
#include "formats/row_turns.h"

namespace dibkit::host {
namespace {

// Columns of the band become runs of so many pixels: long enough to be worth a visit to a row,
// few enough that the band stays in a cache.
constexpr uint64_t kUsualBandRows = 64;
// Very wide images get shorter bands, and shorter runs.
constexpr uint64_t kUsualBandBytes = uint64_t{4} << 20;

// Whole groups of `group` rows, and a multiple of 8 rows, so that each band but the last ends with
// a whole byte of a 1-bit row.
uint32_t BandRowsFor(uint32_t group, uint64_t rowBytes, uint32_t height) {
  const uint64_t step = std::lcm(uint64_t{std::min(group, height)}, uint64_t{8});
  const uint64_t wanted = std::min(kUsualBandRows, kUsualBandBytes / rowBytes);
  const uint64_t rows = std::max(wanted / step, uint64_t{1}) * step;
  return static_cast<uint32_t>(std::min(rows, (uint64_t{height} + 7) / 8 * 8));
}

// Bits and nibbles are turned in blocks, whose last rows may lie behind the image.
uint32_t RowsToHold(uint32_t bandRows, uint32_t height, uint16_t bitCount) {
  return bitCount < 8 ? bandRows : std::min(bandRows, height);
}

}  // namespace

RowPlacer::RowPlacer(const StoredImage& image, PelsPerMetre resolution, uint32_t groupRows)
    : image_(image),
      turn_(TurnOf(image.orientation)),
      uprightWidth_(turn_.transposed ? image.height : image.width),
      uprightHeight_(turn_.transposed ? image.width : image.height),
      layout_(LayoutOf(uprightWidth_, uprightHeight_, image.bitCount)),
      rowBytes_(static_cast<size_t>(RowStride(image.width, image.bitCount))),
      bandRows_(turn_.transposed ? BandRowsFor(groupRows, rowBytes_, image.height) : image.height),
      dib_(NewDib(uprightWidth_, uprightHeight_, image.bitCount, resolution)) {
  lock_.emplace(dib_.get());
  if (turn_.transposed) {
    const uint64_t bytes =
        uint64_t{RowsToHold(bandRows_, image.height, image.bitCount)} * rowBytes_;
    if (bytes > band_.max_size()) {
      throw std::bad_alloc();
    }
    band_.resize(static_cast<size_t>(bytes));
  }
}

std::span<unsigned char> RowPlacer::Table() {
  return lock_->Bytes().subspan(kInfoHeaderBytes, size_t{layout_.tableEntries} * 4);
}

unsigned char* RowPlacer::DibRow(uint32_t uprightRow) {
  const uint32_t stored = turn_.upsideDown ? uprightRow : uprightHeight_ - 1 - uprightRow;
  return lock_->Bytes().data() + layout_.rowsOffset +
         static_cast<size_t>(layout_.stride) * size_t{stored};
}

unsigned char* RowPlacer::Row(uint32_t y) {
  return turn_.transposed ? band_.data() + size_t{y - bandBegin_} * rowBytes_ : DibRow(y);
}

void RowPlacer::ClearPadding(unsigned char* row, uint32_t width) const {
  const uint64_t bits = uint64_t{width} * image_.bitCount;
  auto at = static_cast<size_t>(bits / 8);
  if (bits % 8 != 0) {
    row[at] = static_cast<unsigned char>(row[at] & 0xFF00U >> bits % 8);
    ++at;
  }
  std::fill(row + at, row + static_cast<size_t>(layout_.stride), static_cast<unsigned char>(0));
}

void RowPlacer::Done(uint32_t count) {
  for (; count != 0; --count, ++done_) {
    if (turn_.transposed) {
      if (done_ + 1 == image_.height || done_ + 1 - bandBegin_ == bandRows_) {
        FlushBand();
      }
      continue;
    }
    unsigned char* row = DibRow(done_);
    if (turn_.mirrored) {
      MirrorRow(row, uprightWidth_, image_.bitCount);
    }
    ClearPadding(row, uprightWidth_);
  }
}

void RowPlacer::FlushBand() {
  const uint32_t rows = done_ + 1 - bandBegin_;
  TransposeBand({band_.data(), rowBytes_, image_.width, rows}, image_.bitCount, bandBegin_,
                [this](uint32_t x) { return DibRow(x); });
  bandBegin_ += rows;
}

OwnedBlock RowPlacer::Take() {
  if (turn_.transposed) {
    for (uint32_t y = 0; y < uprightHeight_; ++y) {
      if (turn_.mirrored) {
        MirrorRow(DibRow(y), uprightWidth_, image_.bitCount);
      }
      ClearPadding(DibRow(y), uprightWidth_);
    }
  }
  lock_.reset();
  return std::move(dib_);
}

OwnedBlock Upright(OwnedBlock dib, unsigned orientation) {
  const Turn turn = TurnOf(orientation);
  if (!turn.transposed && !turn.mirrored && !turn.upsideDown) {
    return dib;
  }
  const LockedBlock lock(dib.get());
  const DibView from(lock.Bytes());
  PelsPerMetre resolution{from.XPelsPerMeter(), from.YPelsPerMeter()};
  if (turn.transposed) {
    std::swap(resolution.x, resolution.y);
  }
  RowPlacer placer({from.Width(), from.Height(), from.BitCount(), orientation}, resolution);
  std::copy_n(from.Table().begin(), placer.Table().size(), placer.Table().begin());
  for (uint32_t y = 0; y < from.Height(); ++y) {
    const auto row = from.Row(from.Height() - 1 - y);
    std::copy_n(row.begin(), placer.RowBytes(), placer.Row(y));
    placer.Done();
  }
  return placer.Take();
}

}  // namespace dibkit::host
