// SPDX-License-Identifier: Apache-2.0
#include "resample/sampled.h"

#include <algorithm>

#include "bitmap/grey_table.h"
#include "convert/new_dib.h"
#include "dibkit/host/errors.h"
#include "dibkit/host/locked_block.h"

namespace dibkit::host {
namespace {

constexpr size_t kEntryBytes = 4;
constexpr int kFullDarkness = 255;

// Tells whole percents of the rows that are done.
class RowProgress {
 public:
  RowProgress(const ProgressHook& hook, uint32_t rows) : hook_(hook), rows_(rows) {}

  void Done(uint32_t row) {
    const auto percent = static_cast<unsigned>(uint64_t{row} * 100 / rows_);
    if (hook_ && percent != last_ && !hook_(percent)) {
      throw Cancelled();
    }
    last_ = percent;
  }

 private:
  const ProgressHook& hook_;
  uint32_t rows_;
  unsigned last_ = 101;
};

std::span<unsigned char> TableOf(std::span<unsigned char> block, const DibLayout& layout) {
  return block.subspan(kInfoHeaderBytes, layout.tableEntries * kEntryBytes);
}

unsigned char* RowOf(std::span<unsigned char> block, const DibLayout& layout, uint32_t row) {
  return block.data() + layout.rowsOffset + static_cast<size_t>(layout.stride * row);
}

// Sets a bit for each level above `limit`.
void ThresholdRow(const unsigned char* levels, unsigned char* bits, uint32_t width, int limit) {
  for (uint32_t x = 0; x < width; x += 8) {
    const uint32_t count = std::min(8U, width - x);
    unsigned byte = 0;
    for (uint32_t i = 0; i < count; ++i) {
      byte |= (levels[x + i] > limit ? 0x80U : 0U) >> i;
    }
    bits[x / 8] = static_cast<unsigned char>(byte);
  }
}

}  // namespace

OwnedBlock BlockMeans(const DibView& image, SampleKind kind, BlockSize block, PixelSize size,
                      const ProgressHook& progress) {
  SampleRows samples(image, kind);
  const auto bits = static_cast<uint16_t>(samples.Channels() * 8);
  OwnedBlock result =
      NewDib(size.width, size.height, bits, {image.XPelsPerMeter(), image.YPelsPerMeter()});
  const LockedBlock lock(result.get());
  const DibLayout layout = LayoutOf(size.width, size.height, bits);
  if (bits == 8) {
    FillGreyTable(TableOf(lock.Bytes(), layout));
  }
  BlockRows means(image.Width(), samples.Channels(), block);
  RowProgress rows(progress, size.height);
  for (uint32_t y = 0; y < size.height; ++y) {
    const uint32_t first = y * block.rows;
    const uint32_t count = std::min(block.rows, image.Height() - first);
    unsigned char* to = RowOf(lock.Bytes(), layout, y);
    if (block == BlockSize{}) {
      std::copy_n(samples.Row(y), size_t{size.width} * samples.Channels(), to);
    } else {
      for (uint32_t row = first; row < first + count; ++row) {
        means.Add(samples.Row(row));
      }
      means.Take(to, size.width);
    }
    rows.Done(y);
  }
  return result;
}

TwoColours ColoursOf(const DibView& bilevel) {
  const auto table = bilevel.Table();
  const size_t dark = DarkIndex(bilevel) * kEntryBytes;
  TwoColours colours{};
  std::copy_n(table.begin() + static_cast<std::ptrdiff_t>(dark), kEntryBytes, colours.begin());
  std::copy_n(table.begin() + static_cast<std::ptrdiff_t>(kEntryBytes - dark), kEntryBytes,
              colours.begin() + kEntryBytes);
  return colours;
}

OwnedBlock Thresholded(const DibView& grey, int threshold, const TwoColours& colours) {
  OwnedBlock result =
      NewDib(grey.Width(), grey.Height(), 1, {grey.XPelsPerMeter(), grey.YPelsPerMeter()});
  const LockedBlock lock(result.get());
  const DibLayout layout = LayoutOf(grey.Width(), grey.Height(), 1);
  for (uint32_t y = 0; y < grey.Height(); ++y) {
    ThresholdRow(grey.Row(y).data(), RowOf(lock.Bytes(), layout, y), grey.Width(),
                 kFullDarkness - threshold);
  }
  SetColours(result.get(), colours);
  return result;
}

OwnedBlock BlackOnWhite(const DibView& bilevel) {
  constexpr TwoColours kBlackAndWhite{0, 0, 0, 0, 255, 255, 255, 0};
  OwnedBlock result = NewDib(bilevel.Width(), bilevel.Height(), 1,
                             {bilevel.XPelsPerMeter(), bilevel.YPelsPerMeter()});
  const LockedBlock lock(result.get());
  const DibLayout layout = LayoutOf(bilevel.Width(), bilevel.Height(), 1);
  const unsigned char dark = DarkIndex(bilevel) == 1 ? 0xFF : 0;
  for (uint32_t y = 0; y < bilevel.Height(); ++y) {
    const auto row = bilevel.Row(y);
    std::transform(row.begin(), row.end(), RowOf(lock.Bytes(), layout, y),
                   [dark](unsigned char bits) { return static_cast<unsigned char>(bits ^ dark); });
  }
  SetColours(result.get(), kBlackAndWhite);
  return result;
}

void SetColours(tagHANDLE* bilevel, const TwoColours& colours) {
  const LockedBlock lock(bilevel);
  std::copy(colours.begin(), colours.end(), lock.Bytes().begin() + kInfoHeaderBytes);
}

}  // namespace dibkit::host
