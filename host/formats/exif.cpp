// SPDX-License-Identifier: Apache-2.0
#include "formats/exif.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <string_view>

#include "bitmap/little_endian.h"
#include "formats/page_texts.h"

namespace dibkit::host {
namespace {

using Bytes = std::span<const unsigned char>;

constexpr size_t kHeaderBytes = 8;
constexpr size_t kEntryBytes = 12;
constexpr size_t kInlineBytes = 4;
constexpr uint16_t kAscii = 2;
constexpr uint16_t kShort = 3;
constexpr uint16_t kLong = 4;
constexpr uint16_t kRational = 5;
constexpr uint16_t kUtf8 = 129;
constexpr uint16_t kOrientationTag = 274;
constexpr uint16_t kXResolutionTag = 282;
constexpr uint16_t kYResolutionTag = 283;
constexpr uint16_t kResolutionUnitTag = 296;

// One entry of a directory: its tag and its value, wherever that lies.
struct Entry {
  uint16_t tag = 0;
  uint16_t type = 0;
  uint32_t count = 0;
  Bytes value{};
};

// Bytes of one value of a type; 0 for types that nobody asks for here.
size_t SizeOf(uint16_t type) {
  switch (type) {
    case kAscii:
    case kUtf8:
      return 1;
    case kShort:
      return 2;
    case kLong:
      return 4;
    case kRational:
      return 8;
    default:
      return 0;
  }
}

class Directory {
 public:
  explicit Directory(Bytes block) : block_(block) {
    if (block.size() < kHeaderBytes) {
      return;
    }
    bigEndian_ = block[0] == 'M';
    if (block[0] != block[1] || (!bigEndian_ && block[0] != 'I') || Word(block, 2) != 42) {
      return;
    }
    const uint32_t begin = Long(block, 4);
    if (begin > block.size() || block.size() - begin < 2) {
      return;
    }
    const size_t claimed = Word(block, begin);
    entries_ = block.subspan(begin + 2);
    count_ = std::min(claimed, entries_.size() / kEntryBytes);
  }

  size_t Count() const { return count_; }

  // With an empty value where that is not inside the block, or of no type that is known.
  Entry At(size_t index) const {
    const Bytes bytes = entries_.subspan(index * kEntryBytes, kEntryBytes);
    Entry entry{Word(bytes, 0), Word(bytes, 2), Long(bytes, 4), {}};
    const uint64_t size = uint64_t{entry.count} * SizeOf(entry.type);
    const uint64_t offset = Long(bytes, 8);
    if (size <= kInlineBytes) {
      entry.value = bytes.subspan(8, static_cast<size_t>(size));
    } else if (offset <= block_.size() && size <= block_.size() - offset) {
      entry.value = block_.subspan(static_cast<size_t>(offset), static_cast<size_t>(size));
    }
    return entry;
  }

  uint32_t Integer(const Entry& entry) const {
    if (entry.value.size() >= 2 && entry.type == kShort) {
      return Word(entry.value, 0);
    }
    return entry.value.size() >= 4 && entry.type == kLong ? Long(entry.value, 0) : 0;
  }

  Rational Fraction(const Entry& entry) const {
    if (entry.value.size() < 8 || entry.type != kRational) {
      return {0, 0};
    }
    return {Long(entry.value, 0), Long(entry.value, 4)};
  }

 private:
  uint16_t Word(Bytes bytes, size_t at) const {
    return bigEndian_ ? static_cast<uint16_t>(bytes[at] << 8 | bytes[at + 1])
                      : Load16(bytes.data() + at);
  }
  uint32_t Long(Bytes bytes, size_t at) const {
    return bigEndian_ ? uint32_t{Word(bytes, at)} << 16 | Word(bytes, at + 2)
                      : Load32(bytes.data() + at);
  }

  Bytes block_;
  bool bigEndian_ = false;
  Bytes entries_{};
  size_t count_ = 0;
};

// As the directory numbers them; inches where it does not say.
ResolutionUnit UnitOf(uint32_t number) {
  switch (number) {
    case 2:
      return ResolutionUnit::kInch;
    case 3:
      return ResolutionUnit::kCentimetre;
    default:
      return ResolutionUnit::kNone;
  }
}

bool IsNumber(Rational value) { return value.numerator != 0 && value.denominator != 0; }

std::string_view TextOf(const Entry& entry) {
  return {reinterpret_cast<const char*>(entry.value.data()), entry.value.size()};
}

struct Place {
  uint16_t tag;
  std::string_view text;
};

// The texts that fit, each with its place in the directory and its zero byte.
std::vector<Place> Fitting(const std::vector<PageText>& texts, size_t most) {
  std::vector<Place> places;
  size_t used = kHeaderBytes + 2 + 4;
  for (const PageText& text : texts) {
    // A value begins at an even offset.
    const uint64_t bytes = kEntryBytes + (uint64_t{text.text.size()} + 2) / 2 * 2;
    if (!text.text.empty() && used < most && bytes <= most - used) {
      places.push_back({TagOf(text.kind), text.text});
      used += static_cast<size_t>(bytes);
    }
  }
  return places;
}

}  // namespace

ExifBlock ReadExif(Bytes block) {
  const Directory directory(block);
  ExifBlock exif;
  Resolution resolution{ResolutionUnit::kInch, {0, 0}, {0, 0}};
  for (size_t i = 0; i < directory.Count(); ++i) {
    const Entry entry = directory.At(i);
    if (entry.tag == kOrientationTag) {
      const uint32_t value = directory.Integer(entry);
      exif.orientation = value >= 1 && value <= 8 ? value : 1;
    } else if (entry.tag == kXResolutionTag) {
      resolution.x = directory.Fraction(entry);
    } else if (entry.tag == kYResolutionTag) {
      resolution.y = directory.Fraction(entry);
    } else if (entry.tag == kResolutionUnitTag) {
      resolution.unit = UnitOf(directory.Integer(entry));
    } else if (const auto kind = TextKindOfTag(entry.tag);
               kind && (entry.type == kAscii || entry.type == kUtf8)) {
      AddText(exif.texts, *kind, TextOf(entry));
    }
  }
  if (resolution.unit != ResolutionUnit::kNone && IsNumber(resolution.x) &&
      IsNumber(resolution.y)) {
    exif.resolution = resolution;
  }
  return exif;
}

std::vector<unsigned char> ExifOfTexts(const std::vector<PageText>& texts, size_t most) {
  const std::vector<Place> places = Fitting(texts, most);
  if (places.empty()) {
    return {};
  }
  const size_t valuesBegin = kHeaderBytes + 2 + places.size() * kEntryBytes + 4;
  std::vector<unsigned char> block(valuesBegin);
  constexpr std::array<unsigned char, kHeaderBytes> kHeader{'I', 'I', 42, 0, kHeaderBytes, 0, 0, 0};
  std::copy(kHeader.begin(), kHeader.end(), block.begin());
  Store16(block.data() + kHeaderBytes, static_cast<uint16_t>(places.size()));
  for (size_t i = 0; i < places.size(); ++i) {
    const std::string_view text = places[i].text;
    const auto count = static_cast<uint32_t>(text.size() + 1);
    const size_t entry = kHeaderBytes + 2 + i * kEntryBytes;
    size_t value = entry + 8;
    if (count > kInlineBytes) {
      value = block.size();
      block.resize(value + (size_t{count} + 1) / 2 * 2);
      Store32(block.data() + entry + 8, static_cast<uint32_t>(value));
    }
    Store16(block.data() + entry, places[i].tag);
    Store16(block.data() + entry + 2, kAscii);
    Store32(block.data() + entry + 4, count);
    std::copy(text.begin(), text.end(), block.begin() + static_cast<std::ptrdiff_t>(value));
  }
  return block;
}

}  // namespace dibkit::host
