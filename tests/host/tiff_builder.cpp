// SPDX-License-Identifier: Apache-2.0
#include "tiff_builder.h"

#include <algorithm>
#include <random>

namespace dibkit::test {
namespace {

constexpr uint16_t kStripOffsets = 273;
constexpr uint16_t kStripByteCounts = 279;
constexpr uint16_t kTileWidth = 322;
constexpr uint16_t kTileOffsets = 324;
constexpr uint16_t kTileByteCounts = 325;

size_t WidthOf(uint16_t type) {
  switch (type) {
    case kTiffShort:
      return 2;
    case kTiffLong:
    case kTiffRational:
    case kTiffFloat:
      return 4;
    case kTiffLong8:
      return 8;
    default:
      return 1;
  }
}

// Writes numbers in the order of the file.
class Writer {
 public:
  Writer(bool bigEndian, bool big) : bigEndian_(bigEndian), big_(big) {}

  void Number(uint64_t value, size_t width) {
    for (size_t i = 0; i < width; ++i) {
      const size_t byte = bigEndian_ ? width - 1 - i : i;
      bytes_.push_back(static_cast<unsigned char>(byte < 8 ? value >> (8 * byte) : 0));
    }
  }
  void Offset(uint64_t value) { Number(value, big_ ? 8 : 4); }
  void Raw(const Bytes& bytes) { bytes_.insert(bytes_.end(), bytes.begin(), bytes.end()); }
  void Align() { bytes_.resize((bytes_.size() + 7) / 8 * 8); }
  uint64_t Size() const { return bytes_.size(); }
  void SetOffset(uint64_t at, uint64_t value) {
    Writer number(bigEndian_, big_);
    number.Offset(value);
    std::copy(number.bytes_.begin(), number.bytes_.end(),
              bytes_.begin() + static_cast<std::ptrdiff_t>(at));
  }
  Bytes Take() { return std::move(bytes_); }

 private:
  bool bigEndian_;
  bool big_;
  Bytes bytes_;
};

// Tags with those that say where the segments are, sorted.
std::vector<TiffTag> AllTags(const TiffPage& page, std::vector<uint64_t> offsets) {
  std::vector<TiffTag> tags = page.tags;
  const bool tiled = std::any_of(tags.begin(), tags.end(),
                                 [](const TiffTag& tag) { return tag.tag == kTileWidth; });
  std::vector<uint64_t> counts;
  for (const Bytes& segment : page.segments) {
    counts.push_back(segment.size());
  }
  tags.push_back({tiled ? kTileOffsets : kStripOffsets, kTiffLong, page.offsets.value_or(offsets)});
  tags.push_back(
      {tiled ? kTileByteCounts : kStripByteCounts, kTiffLong, page.byteCounts.value_or(counts)});
  std::sort(tags.begin(), tags.end(),
            [](const TiffTag& a, const TiffTag& b) { return a.tag < b.tag; });
  return tags;
}

// Returns where the link to the next directory stands.
uint64_t WriteDirectory(Writer& file, const std::vector<TiffTag>& tags, bool bigEndian, bool big) {
  const size_t entryBytes = big ? 20 : 12;
  const size_t inlineBytes = big ? 8 : 4;
  file.Number(tags.size(), big ? 8 : 2);
  uint64_t valuesAt = file.Size() + tags.size() * entryBytes + inlineBytes;
  Writer outside(bigEndian, big);
  for (const TiffTag& tag : tags) {
    Writer values(bigEndian, big);
    for (const uint64_t value : tag.values) {
      values.Number(value, WidthOf(tag.type));
    }
    Bytes bytes = values.Take();
    file.Number(tag.tag, 2);
    file.Number(tag.type, 2);
    file.Offset(tag.type == kTiffRational ? tag.values.size() / 2 : tag.values.size());
    if (bytes.size() > inlineBytes) {
      file.Offset(valuesAt + outside.Size());
      outside.Raw(bytes);
    } else {
      bytes.resize(inlineBytes);
      file.Raw(bytes);
    }
  }
  const uint64_t linkAt = file.Size();
  file.Offset(0);
  file.Raw(outside.Take());
  return linkAt;
}

std::vector<uint64_t> Repeated(uint64_t value, unsigned count) {
  return std::vector<uint64_t>(count, value);
}

TiffPage Described(const TiffSamples& image) {
  TiffPage page;
  page.Set(256, kTiffLong, {image.width})
      .Set(257, kTiffLong, {image.height})
      .Set(258, kTiffShort, Repeated(image.bits, image.samples))
      .Set(259, kTiffShort, {1})
      .Set(262, kTiffShort, {image.photometric})
      .Set(277, kTiffShort, {image.samples})
      .Set(284, kTiffShort, {1});
  return page;
}

// Samples of a row one behind the other, the highest bit first; 16 and 32 bits in the order of the
// file.
class RowPacker {
 public:
  RowPacker(unsigned bits, bool bigEndian) : bits_(bits), bigEndian_(bigEndian) {}

  void Put(uint32_t value) {
    if (bits_ == 16 || bits_ == 32) {
      Writer number(bigEndian_, false);
      number.Number(value, bits_ / 8);
      const Bytes bytes = number.Take();
      packed_.insert(packed_.end(), bytes.begin(), bytes.end());
      return;
    }
    for (unsigned bit = bits_; bit-- > 0; ++count_) {
      if (count_ % 8 == 0) {
        packed_.push_back(0);
      }
      packed_.back() =
          static_cast<unsigned char>(packed_.back() | (value >> bit & 1U) << (7 - count_ % 8));
    }
  }
  void EndRow() { count_ = 0; }
  Bytes Take() { return std::move(packed_); }

 private:
  unsigned bits_;
  bool bigEndian_;
  unsigned count_ = 0;
  Bytes packed_;
};

// A rectangle of the image, filled up with zeros behind its edges, with all samples or one.
struct Piece {
  uint32_t x;
  uint32_t y;
  uint32_t width;
  uint32_t height;
  std::optional<unsigned> plane;
};

Bytes Packed(const TiffSamples& image, const Piece& piece, bool bigEndian) {
  RowPacker packer(image.bits, bigEndian);
  for (uint32_t y = piece.y; y < piece.y + piece.height; ++y) {
    for (uint32_t x = piece.x; x < piece.x + piece.width; ++x) {
      const bool inside = x < image.width && y < image.height;
      for (unsigned s = piece.plane.value_or(0); s < piece.plane.value_or(image.samples - 1) + 1;
           ++s) {
        packer.Put(inside ? image.values[(size_t{y} * image.width + x) * image.samples + s] : 0);
      }
    }
    packer.EndRow();
  }
  return packer.Take();
}

}  // namespace

TiffPage& TiffPage::Set(uint16_t tag, uint16_t type, std::vector<uint64_t> values) {
  Remove(tag);
  tags.push_back({tag, type, std::move(values)});
  return *this;
}

TiffPage& TiffPage::SetText(uint16_t tag, const std::string& text) {
  std::vector<uint64_t> values(text.begin(), text.end());
  for (uint64_t& value : values) {
    value &= 0xFF;
  }
  values.push_back(0);
  return Set(tag, kTiffAscii, values);
}

TiffPage& TiffPage::Remove(uint16_t tag) {
  std::erase_if(tags, [tag](const TiffTag& other) { return other.tag == tag; });
  return *this;
}

Bytes TiffBuilder::Build() const {
  Writer file(bigEndian, big);
  file.Raw(bigEndian ? Bytes{'M', 'M'} : Bytes{'I', 'I'});
  file.Number(big ? 43 : 42, 2);
  if (big) {
    file.Number(8, 2);
    file.Number(0, 2);
  }
  uint64_t linkAt = file.Size();
  file.Offset(0);
  for (const TiffPage& page : pages) {
    std::vector<uint64_t> offsets;
    for (const Bytes& segment : page.segments) {
      offsets.push_back(file.Size());
      file.Raw(segment);
    }
    file.Align();
    file.SetOffset(linkAt, file.Size());
    linkAt = WriteDirectory(file, AllTags(page, offsets), bigEndian, big);
    file.Align();
  }
  file.SetOffset(linkAt, afterLast.value_or(0));
  return file.Take();
}

TiffPage PlainPage(const TiffSamples& image, bool bigEndian) {
  TiffPage page = Described(image);
  page.Set(278, kTiffLong, {image.height});
  page.segments.push_back(Packed(image, {0, 0, image.width, image.height, {}}, bigEndian));
  return page;
}

TiffPage SeparatePage(const TiffSamples& image, uint32_t rows, bool bigEndian) {
  TiffPage page = Described(image);
  page.Set(278, kTiffLong, {rows}).Set(284, kTiffShort, {2});
  for (unsigned plane = 0; plane < image.samples; ++plane) {
    for (uint32_t y = 0; y < image.height; y += rows) {
      const uint32_t count = std::min(rows, image.height - y);
      page.segments.push_back(Packed(image, {0, y, image.width, count, plane}, bigEndian));
    }
  }
  return page;
}

TiffPage TiledPage(const TiffSamples& image, uint32_t size, bool separate, bool bigEndian) {
  TiffPage page = Described(image);
  page.Set(284, kTiffShort, {separate ? 2U : 1U})
      .Set(kTileWidth, kTiffLong, {size})
      .Set(323, kTiffLong, {size});
  for (unsigned plane = 0; plane < (separate ? image.samples : 1); ++plane) {
    for (uint32_t y = 0; y < image.height; y += size) {
      for (uint32_t x = 0; x < image.width; x += size) {
        const auto only = separate ? std::optional(plane) : std::nullopt;
        page.segments.push_back(Packed(image, {x, y, size, size, only}, bigEndian));
      }
    }
  }
  return page;
}

std::vector<uint32_t> SomeSamples(size_t count, unsigned bits) {
  std::mt19937 random(static_cast<unsigned>(count) * 64 + bits);
  std::vector<uint32_t> values(count);
  for (uint32_t& value : values) {
    value = static_cast<uint32_t>(random()) >> (32 - bits);
  }
  return values;
}

}  // namespace dibkit::test
