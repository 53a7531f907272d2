// SPDX-License-Identifier: Apache-2.0
#include "dibkit/host/pixels.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <optional>
#include <utility>
#include <vector>

#include "bitmap/grey_table.h"
#include "convert/new_dib.h"
#include "dibkit/host/locked_block.h"
#include "formats/swap_channels.h"
#include "page/page_error.h"
#include "page/pixel_rows.h"

namespace dibkit::host {
namespace {

constexpr size_t kEntryBytes = 4;  // of a DIB's table: blue, green, red, 0
constexpr size_t kMostEntries = 256;
constexpr uint32_t kMostSide = std::numeric_limits<int32_t>::max();

void RequireArgument(bool sound, const char* message) {
  if (!sound) {
    throw PageError(PageFault::kBadArgument, message);
  }
}

uint16_t BitsOf(PixelKind kind) {
  switch (kind) {
    case PixelKind::kBits:
    case PixelKind::kMask:
      return 1;
    case PixelKind::kRgb:
      return 24;
    default:
      return 8;
  }
}

// In the caller's memory.
std::ptrdiff_t StepOr(std::ptrdiff_t step, PixelKind kind, uint32_t width) {
  if (step != 0) {
    return step;
  }
  const size_t bytes = kind == PixelKind::kRgb ? size_t{3} * width : width;
  return static_cast<std::ptrdiff_t>(kind == PixelKind::kBits ? BytesOfBits(width) : bytes);
}

void RequireSound(const Pixels& pixels) {
  RequireArgument(pixels.top != nullptr && pixels.width != 0 && pixels.height != 0,
                  "the image has no pixels");
  RequireArgument(pixels.width <= kMostSide && pixels.height <= kMostSide,
                  "a side of the image is more than 2147483647 pixels");
  if (pixels.kind == PixelKind::kIndexed) {
    const size_t bytes = pixels.palette.size();
    RequireArgument(bytes % 3 == 0 && bytes >= 3 && bytes <= 3 * kMostEntries,
                    "the palette has not 1 to 256 entries of red, green and blue");
  }
}

void FillTable(const Pixels& pixels, std::span<unsigned char> table) {
  if (pixels.kind == PixelKind::kRgb) {
    return;
  }
  if (pixels.kind != PixelKind::kIndexed) {
    FillGreyTable(table);
    return;
  }
  for (size_t entry = 0; entry < pixels.palette.size() / 3; ++entry) {
    SwapChannels(&pixels.palette[3 * entry], &table[kEntryBytes * entry], 1);
  }
}

void TakeRow(const Pixels& pixels, const unsigned char* from, unsigned char* to) {
  switch (pixels.kind) {
    case PixelKind::kBits:
      CopyBits(from, to, pixels.width, 0);
      break;
    case PixelKind::kMask:
      PackMask(from, to, pixels.width);
      break;
    case PixelKind::kRgb:
      SwapChannels(from, to, pixels.width);
      break;
    default:
      std::memcpy(to, from, pixels.width);
  }
}

bool IsGrey(std::span<const unsigned char> table, size_t entry, unsigned char level) {
  const auto channels = table.subspan(kEntryBytes * entry, 3);
  return std::all_of(channels.begin(), channels.end(),
                     [level](unsigned char channel) { return channel == level; });
}

// What is exclusive-ored with the bits of a page of 1 bit so that 1 is white; none where the page
// is not in black and white.
std::optional<unsigned char> FlipOf(const PageRows& rows) {
  if (rows.BitCount() != 1) {
    return std::nullopt;
  }
  const auto table = rows.Table();
  if (IsGrey(table, 0, 0) && IsGrey(table, 1, 0xFF)) {
    return static_cast<unsigned char>(0);
  }
  return IsGrey(table, 0, 0xFF) && IsGrey(table, 1, 0) ? std::optional<unsigned char>(0xFF)
                                                       : std::nullopt;
}

void RequireHeld(const PageRows& rows, PixelKind kind) {
  const auto require = [](bool held, const char* message) {
    if (!held) {
      throw PageError(PageFault::kNotHeld, message);
    }
  };
  switch (kind) {
    case PixelKind::kBits:
    case PixelKind::kMask:
      require(FlipOf(rows).has_value(), "the page has more than black and white");
      break;
    case PixelKind::kGrey:
      require(rows.HasGreyTable(), "the page has colours, which grey pixels cannot hold");
      break;
    case PixelKind::kIndexed:
      require(rows.BitCount() <= 8, "the page has no palette");
      break;
    case PixelKind::kRgb:
      break;
  }
}

// The rows of one page in one kind, with what that needs made once for all of them.
class PixelCopy {
 public:
  PixelCopy(const PageRows& rows, PixelKind kind)
      : rows_(rows), kind_(kind), flip_(FlipOf(rows).value_or(0)), table_(rows.Table()) {
    if (kind == PixelKind::kRgb && rows.BitCount() <= 8) {
      indices_.resize(rows.Width());
    }
    for (size_t entry = 0; entry < table_.size() / kEntryBytes; ++entry) {
      greys_[entry] = table_[kEntryBytes * entry];
      asTheyAre_ = asTheyAre_ && greys_[entry] == entry;
    }
  }

  void Row(uint32_t y, unsigned char* to) {
    const unsigned char* from = rows_.Row(y).data();
    switch (kind_) {
      case PixelKind::kBits:
        return CopyBits(from, to, rows_.Width(), flip_);
      case PixelKind::kMask:
        return SpreadBits(from, to, rows_.Width(), flip_);
      case PixelKind::kGrey:
        return Greys(from, to);
      case PixelKind::kIndexed:
        return Indices(from, to);
      case PixelKind::kRgb:
        return Colours(from, to);
    }
  }

 private:
  void Indices(const unsigned char* from, unsigned char* to) const {
    switch (rows_.BitCount()) {
      case 1:
        return SpreadBits(from, to, rows_.Width(), 0);
      case 4:
        return SpreadNibbles(from, to, rows_.Width());
      default:
        std::memcpy(to, from, rows_.Width());
    }
  }

  void Greys(const unsigned char* from, unsigned char* to) const {
    Indices(from, to);
    if (!asTheyAre_) {
      std::transform(to, to + rows_.Width(), to,
                     [this](unsigned char index) { return greys_[index]; });
    }
  }

  void Colours(const unsigned char* from, unsigned char* to) {
    switch (rows_.BitCount()) {
      case 16:
        return WidenFields(from, to, rows_.Width());
      case 24:
        return SwapChannels(from, to, rows_.Width());
      case 32:
        return SwapChannelsOf32(from, to, rows_.Width());
      default:
        Indices(from, indices_.data());
        LookUp(to);
    }
  }

  void LookUp(unsigned char* to) const {
    for (const unsigned char index : indices_) {
      const unsigned char* entry = &table_[kEntryBytes * index];
      to[0] = entry[2];
      to[1] = entry[1];
      to[2] = entry[0];
      to += 3;
    }
  }

  const PageRows& rows_;
  PixelKind kind_;
  unsigned char flip_;
  std::span<const unsigned char> table_;
  std::array<unsigned char, kMostEntries> greys_{};
  bool asTheyAre_ = true;                 // index and grey level are the same
  std::vector<unsigned char> indices_{};  // of one row
};

OwnedBlock TakenHandle(Page& page) {
  if (page.Rows().BitCount() != 24) {
    throw PageError(PageFault::kNotHeld, "the page has not 24 bits");
  }
  return page.TakeHandle();
}

// Rows in their places, the first becoming the last, with their channels turned.
void TurnRows(unsigned char* rows, size_t stride, uint32_t width, uint32_t height) {
  std::vector<unsigned char> kept(size_t{3} * width);
  unsigned char* first = rows;
  unsigned char* last = rows + stride * (height - 1);
  for (; first < last; first += stride, last -= stride) {
    SwapChannels(first, kept.data(), width);
    SwapChannels(last, first, width);
    std::memcpy(last, kept.data(), kept.size());
  }
  if (first == last) {
    SwapChannels(first, first, width);
  }
}

void DropPadding(unsigned char* rows, size_t stride, size_t rowBytes, uint32_t height) {
  for (size_t y = 1; y < height && rowBytes != stride; ++y) {
    std::memmove(rows + y * rowBytes, rows + y * stride, rowBytes);
  }
}

}  // namespace

Page PageOfPixels(const Pixels& pixels, const Resolution& resolution, uint64_t maxPixels) {
  RequireSound(pixels);
  return WithPageErrors([&] {
    CheckPixels(pixels.width, pixels.height, maxPixels);
    const uint16_t bits = BitsOf(pixels.kind);
    OwnedBlock dib = NewDib(pixels.width, pixels.height, bits, HeaderResolution(resolution));
    {
      const LockedBlock lock(dib.get());
      const DibLayout layout = LayoutOf(pixels.width, pixels.height, bits);
      FillTable(pixels, lock.Bytes().subspan(kInfoHeaderBytes, kEntryBytes * layout.tableEntries));
      const std::ptrdiff_t step = StepOr(pixels.step, pixels.kind, pixels.width);
      const unsigned char* from = pixels.top;
      unsigned char* to = lock.Bytes().data() + layout.rowsOffset +
                          static_cast<size_t>(layout.stride) * pixels.height;
      for (uint32_t y = 0; y < pixels.height; ++y, from += step) {
        to -= layout.stride;
        TakeRow(pixels, from, to);
      }
    }
    return Page({std::move(dib), {resolution, {}, {}}});
  });
}

PixelKind PlainKind(const PageRows& rows) {
  if (FlipOf(rows)) {
    return PixelKind::kMask;
  }
  return rows.HasGreyTable() ? PixelKind::kGrey : PixelKind::kRgb;
}

TakenPixels::TakenPixels(Page&& page)
    : width_(page.Width()), height_(page.Height()), dib_(TakenHandle(page)), lock_(dib_.get()) {
  const DibLayout layout = LayoutOf(width_, height_, 24);
  const auto stride = static_cast<size_t>(layout.stride);
  top_ = lock_.Bytes().data() + layout.rowsOffset;
  WithPageErrors([&] { TurnRows(top_, stride, width_, height_); });
  DropPadding(top_, stride, size_t{3} * width_, height_);
}

void CopyPixels(const PageRows& rows, PixelKind kind, unsigned char* top, std::ptrdiff_t step) {
  RequireHeld(rows, kind);
  WithPageErrors([&] {
    PixelCopy copy(rows, kind);
    step = StepOr(step, kind, rows.Width());
    for (uint32_t y = 0; y < rows.Height(); ++y, top += step) {
      copy.Row(y, top);
    }
  });
}

}  // namespace dibkit::host
