// SPDX-License-Identifier: Apache-2.0
#include "dibkit/host/dib_view.h"

#include "bitmap/fields.h"
#include "bitmap/little_endian.h"
#include "dibkit/host/errors.h"

namespace dibkit::host {
namespace {

bool IsDibDepth(uint16_t bits) {
  return bits == 1 || bits == 4 || bits == 8 || bits == 16 || bits == 24 || bits == 32;
}

void Require(bool sound, const char* message) {
  if (!sound) {
    throw ImageError(ImageFault::kUnsoundDib, message);
  }
}

}  // namespace

DibView::DibView(std::span<unsigned char> block)
    : block_(block), width_(0), height_(0), bitCount_(0), layout_{} {
  Require(block.size() >= kInfoHeaderBytes, "the image block is smaller than its header");
  const unsigned char* header = block.data();
  Require(Load32(header) == kInfoHeaderBytes,
          "the image block does not begin with a 40-byte header");
  Require(LoadSigned32(header + kBiWidth) > 0, "the image in the block has no columns");
  Require(LoadSigned32(header + kBiHeight) > 0, "the image in the block has no rows");
  width_ = Load32(header + kBiWidth);
  height_ = Load32(header + kBiHeight);
  bitCount_ = Load16(header + kBiBitCount);
  Require(IsDibDepth(bitCount_), "the image in the block has an unknown depth");
  Require(Load32(header + kBiCompression) == 0, "the image in the block is compressed");
  layout_ = LayoutOf(width_, height_, bitCount_);
  const uint32_t used = Load32(header + kBiColorsUsed);
  Require(used == 0 || used == layout_.tableEntries,
          "the image in the block has a colour table of unusual size");
  Require(layout_.blockBytes <= block.size(), "the image block is smaller than its header says");
}

int32_t DibView::XPelsPerMeter() const { return LoadSigned32(block_.data() + kBiXPelsPerMeter); }

int32_t DibView::YPelsPerMeter() const { return LoadSigned32(block_.data() + kBiYPelsPerMeter); }

void DibView::SetPelsPerMeter(int32_t x, int32_t y) {
  Store32(block_.data() + kBiXPelsPerMeter, static_cast<uint32_t>(x));
  Store32(block_.data() + kBiYPelsPerMeter, static_cast<uint32_t>(y));
}

std::span<const unsigned char> DibView::Table() const {
  return block_.subspan(kInfoHeaderBytes, size_t{layout_.tableEntries} * 4);
}

bool DibView::HasGreyTable() const { return IsGreyTable(Table()); }

bool IsGreyTable(std::span<const unsigned char> table) {
  for (size_t at = 0; at < table.size(); at += 4) {
    if (table[at] != table[at + 1] || table[at] != table[at + 2]) {
      return false;
    }
  }
  return !table.empty();
}

std::span<const unsigned char> DibView::Row(uint32_t stored) const {
  const auto stride = static_cast<size_t>(layout_.stride);
  return block_.subspan(layout_.rowsOffset + stored * stride, stride);
}

std::span<const unsigned char> DibView::Bytes() const {
  return block_.first(static_cast<size_t>(layout_.blockBytes));
}

}  // namespace dibkit::host
