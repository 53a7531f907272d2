// SPDX-License-Identifier: Apache-2.0
#include "convert/few_colours.h"

#include <algorithm>
#include <array>
#include <optional>
#include <vector>

#include "bitmap/little_endian.h"
#include "convert/new_dib.h"
#include "convert/plain.h"
#include "dibkit/host/dib_view.h"
#include "dibkit/host/locked_block.h"

namespace dibkit::host {
namespace {

constexpr size_t kEntryBytes = 4;

// Red, green and blue from the highest byte on, so that colours sort by them.
uint32_t ColourAt(const unsigned char* bytes) {
  return uint32_t{bytes[2]} << 16 | uint32_t{bytes[1]} << 8 | bytes[0];
}

// A set of up to 256 colours, each with a number.
class ColourSet {
 public:
  explicit ColourSet(unsigned most) : most_(most) { slots_.fill(kFree); }

  // False when there is no room for another.
  bool Add(uint32_t colour) {
    Slot& slot = SlotOf(colour);
    if (slot == kFree) {
      if (colours_.size() == most_) {
        return false;
      }
      colours_.push_back(colour);
      slot = Slot{colour} << 8;
    }
    return true;
  }

  // Numbers them from the lowest on.
  const std::vector<uint32_t>& Sort() {
    std::sort(colours_.begin(), colours_.end());
    for (size_t number = 0; number < colours_.size(); ++number) {
      SlotOf(colours_[number]) = Slot{colours_[number]} << 8 | number;
    }
    return colours_;
  }

  unsigned char NumberOf(uint32_t colour) {
    return static_cast<unsigned char>(SlotOf(colour) & 0xFF);
  }

 private:
  // The colour above, the number in the lowest byte.
  using Slot = uint64_t;
  static constexpr Slot kFree = ~Slot{0};
  static constexpr size_t kSlots = 1024;  // at most a quarter of them in use

  Slot& SlotOf(uint32_t colour) {
    constexpr uint32_t kMix = 0x9E3779B1;
    constexpr unsigned kShift = 22;
    size_t at = colour * kMix >> kShift;
    while (slots_[at] != kFree && slots_[at] >> 8 != colour) {
      at = (at + 1) % kSlots;
    }
    return slots_[at];
  }

  unsigned most_;
  std::vector<uint32_t> colours_;
  std::array<Slot, kSlots> slots_;
};

unsigned IndexAt(const DibView& image, const unsigned char* row, uint32_t x) {
  switch (image.BitCount()) {
    case 1:
      return row[x / 8] >> (7 - x % 8) & 1U;
    case 4:
      return x % 2 == 0 ? row[x / 2] >> 4 : row[x / 2] & 15U;
    default:
      return row[x];
  }
}

// Calls visit(x, y, colour) for every pixel of 1, 4, 8, 24 or 32 bits until it returns false.
template <typename Visit>
bool ForEachPixel(const DibView& image, Visit visit) {
  const unsigned char* table = image.Table().data();
  const size_t step = image.BitCount() / 8;
  for (uint32_t y = 0; y < image.Height(); ++y) {
    const unsigned char* row = image.Row(y).data();
    for (uint32_t x = 0; x < image.Width(); ++x) {
      const unsigned char* bytes =
          image.BitCount() <= 8 ? table + IndexAt(image, row, x) * kEntryBytes : row + x * step;
      if (!visit(x, y, ColourAt(bytes))) {
        return false;
      }
    }
  }
  return true;
}

// A pixel most often has the colour of the one before it.
std::optional<ColourSet> ColoursOf(const DibView& image, unsigned most) {
  std::optional<ColourSet> set(most);
  uint32_t last = ~uint32_t{0};
  const bool isAll = ForEachPixel(image, [&](uint32_t, uint32_t, uint32_t colour) {
    const bool isNew = colour != last;
    last = colour;
    return !isNew || set->Add(colour);
  });
  return isAll ? std::move(set) : std::nullopt;
}

void FillTable(const std::vector<uint32_t>& colours, unsigned char* table) {
  for (size_t i = 0; i < colours.size(); ++i) {
    Store32(table + i * kEntryBytes, colours[i]);
  }
}

}  // namespace

OwnedBlock WithFewColours(const OwnedBlock& plain, unsigned most) {
  const LockedBlock lock(plain.get());
  const DibView image(lock.Bytes());
  if (image.BitCount() == 16) {
    return WithFewColours(PlainTo24(plain), most);
  }
  auto colours = ColoursOf(image, most);
  if (!colours) {
    return OwnedBlock();
  }
  OwnedBlock result =
      NewDib(image.Width(), image.Height(), 8, {image.XPelsPerMeter(), image.YPelsPerMeter()});
  const LockedBlock to(result.get());
  const DibLayout layout = LayoutOf(image.Width(), image.Height(), 8);
  FillTable(colours->Sort(), to.Bytes().data() + kInfoHeaderBytes);
  unsigned char* rows = to.Bytes().data() + layout.rowsOffset;
  const auto stride = static_cast<size_t>(layout.stride);
  ForEachPixel(image, [&](uint32_t x, uint32_t y, uint32_t colour) {
    rows[y * stride + x] = colours->NumberOf(colour);
    return true;
  });
  return result;
}

}  // namespace dibkit::host
