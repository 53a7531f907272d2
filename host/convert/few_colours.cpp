// SPDX-License-Identifier: Apache-2.0
#include "convert/few_colours.h"

#include <algorithm>
#include <array>
#include <vector>

#include "bitmap/little_endian.h"
#include "convert/new_dib.h"
#include "convert/plain.h"
#include "convert/unpack.h"
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

uint32_t EntryOf(const DibView& image, size_t index) {
  return ColourAt(image.Table().data() + index * kEntryBytes);
}

// The rows of the result.
struct Rows {
  unsigned char* result;
  size_t stride;

  unsigned char* To(uint32_t y) const { return result + y * stride; }
};

// Of 1, 4 and 8 bits: the entries of the table that are used.
class IndexedColours {
 public:
  explicit IndexedColours(const DibView& image) : image_(image) {
    const unsigned pixels = 8U / image.BitCount();
    std::array<unsigned char, 256> isThere{};  // bytes, all of whose pixels are
    for (uint32_t y = 0; y < image.Height(); ++y) {
      const unsigned char* row = image.Row(y).data();
      for (uint32_t i = 0; i < image.Width() / pixels; ++i) {
        isThere[row[i]] = 1;
      }
      MarkPixels(row[(image.Width() - 1) / pixels], (image.Width() - 1) % pixels + 1);
    }
    for (unsigned byte = 0; byte < isThere.size(); ++byte) {
      MarkPixels(byte, isThere[byte] != 0 ? pixels : 0);
    }
  }

  bool Collect(ColourSet& set) const {
    for (size_t index = 0; index < isUsed_.size(); ++index) {
      if (isUsed_[index] && !set.Add(EntryOf(image_, index))) {
        return false;
      }
    }
    return true;
  }

  void Write(ColourSet& set, const Rows& rows) const {
    ByteOfIndex numbers{};
    for (size_t index = 0; index < numbers.size(); ++index) {
      numbers[index] = isUsed_[index] ? set.NumberOf(EntryOf(image_, index)) : 0;
    }
    const Unpacker unpacker(image_.BitCount(), numbers);
    for (uint32_t y = 0; y < image_.Height(); ++y) {
      unpacker.Row(image_.Row(y).data(), rows.To(y), image_.Width());
    }
  }

 private:
  // The first `count` pixels of a stored byte.
  void MarkPixels(unsigned byte, unsigned count) {
    const unsigned bits = image_.BitCount();
    for (unsigned pixel = 0; pixel < count; ++pixel) {
      isUsed_[byte >> (8 - bits - pixel * bits) & ((1U << bits) - 1)] = true;
    }
  }

  const DibView& image_;
  std::array<bool, 256> isUsed_{};
};

// Of 24 and 32 bits. A pixel most often has the colour of the one before it.
class DirectColours {
 public:
  explicit DirectColours(const DibView& image) : image_(image), step_(image.BitCount() / 8U) {}

  bool Collect(ColourSet& set) const {
    uint32_t last = kNone;
    for (uint32_t y = 0; y < image_.Height(); ++y) {
      const unsigned char* row = image_.Row(y).data();
      for (size_t x = 0; x < image_.Width(); ++x) {
        const uint32_t colour = ColourAt(row + x * step_);
        if (colour != last && !set.Add(colour)) {
          return false;
        }
        last = colour;
      }
    }
    return true;
  }

  void Write(ColourSet& set, const Rows& rows) const {
    uint32_t last = kNone;
    unsigned char number = 0;
    for (uint32_t y = 0; y < image_.Height(); ++y) {
      const unsigned char* row = image_.Row(y).data();
      unsigned char* to = rows.To(y);
      for (size_t x = 0; x < image_.Width(); ++x) {
        const uint32_t colour = ColourAt(row + x * step_);
        if (colour != last) {
          number = set.NumberOf(colour);
          last = colour;
        }
        to[x] = number;
      }
    }
  }

 private:
  static constexpr uint32_t kNone = ~uint32_t{0};

  const DibView& image_;
  size_t step_;
};

void FillTable(const std::vector<uint32_t>& colours, unsigned char* table) {
  for (size_t i = 0; i < colours.size(); ++i) {
    Store32(table + i * kEntryBytes, colours[i]);
  }
}

template <typename Colours>
OwnedBlock WithColours(const DibView& image, unsigned most) {
  Colours colours(image);
  ColourSet set(most);
  if (!colours.Collect(set)) {
    return OwnedBlock();
  }
  OwnedBlock result =
      NewDib(image.Width(), image.Height(), 8, {image.XPelsPerMeter(), image.YPelsPerMeter()});
  const LockedBlock lock(result.get());
  const DibLayout layout = LayoutOf(image.Width(), image.Height(), 8);
  FillTable(set.Sort(), lock.Bytes().data() + kInfoHeaderBytes);
  colours.Write(set, {lock.Bytes().data() + layout.rowsOffset, static_cast<size_t>(layout.stride)});
  return result;
}

}  // namespace

OwnedBlock WithFewColours(const OwnedBlock& plain, unsigned most) {
  const LockedBlock lock(plain.get());
  const DibView image(lock.Bytes());
  if (image.BitCount() == 16) {
    return WithFewColours(PlainTo24(plain), most);
  }
  return image.BitCount() <= 8 ? WithColours<IndexedColours>(image, most)
                               : WithColours<DirectColours>(image, most);
}

}  // namespace dibkit::host
