// SPDX-License-Identifier: Apache-2.0
#include "page/source_of.h"

#include <algorithm>
#include <cstddef>
#include <istream>
#include <utility>

#include "bitmap/fields.h"
#include "bitmap/little_endian.h"
#include "dibkit/WinTypes.h"
#include "dibkit/host/dib_layout.h"
#include "file/one_way_source.h"

namespace dibkit::host {
namespace {

class StreamSource : public OneWaySource {
 public:
  StreamSource(std::istream& stream, CancelHook cancelled)
      : stream_(stream), cancelled_(std::move(cancelled)) {}

 private:
  size_t Fetch(std::span<unsigned char> into, size_t wanted) override {
    StopIf(cancelled_);
    // A stream waits for all that it is asked for, so it is asked for what it holds already.
    if (wanted < into.size() && stream_.peek() != std::istream::traits_type::eof()) {
      const std::streamsize held = stream_.rdbuf()->in_avail();
      wanted = std::max(wanted, held < 0 ? 0 : static_cast<size_t>(held));
    }
    stream_.read(reinterpret_cast<char*>(into.data()),
                 static_cast<std::streamsize>(std::min(wanted, into.size())));
    return static_cast<size_t>(stream_.gcount());
  }

  std::istream& stream_;
  CancelHook cancelled_;
};

// Entries of the colour table: as many as the header says, or as the depth has.
uint64_t TableEntries(const unsigned char* header, bool isCore) {
  const uint16_t bits = Load16(header + (isCore ? kCoreBitCount : kBiBitCount));
  const uint32_t used = isCore ? 0 : Load32(header + kBiColorsUsed);
  if (used != 0) {
    return used;
  }
  return bits >= 1 && bits <= 8 ? uint64_t{1} << bits : 0;
}

constexpr uint32_t kMaskCount = 3;
constexpr uint32_t kMaskBytes = 4;

bool HasMasksBehind(const unsigned char* header, uint32_t headerBytes) {
  return headerBytes == kInfoHeaderBytes && Load32(header + kBiCompression) == BI_BITFIELDS;
}

// Hosts count the three masks as the table, so that DIBBits passes them over.
bool CountsMasks(const unsigned char* header, uint32_t headerBytes) {
  return HasMasksBehind(header, headerBytes) && Load32(header + kBiColorsUsed) == kMaskCount;
}

// From the start of the block.
uint64_t PixelOffset(const unsigned char* header, uint32_t headerBytes) {
  const bool isCore = headerBytes == kCoreHeaderBytes;
  const uint64_t entries = TableEntries(header, isCore);
  if (isCore) {
    return headerBytes + entries * 3;
  }
  const uint64_t table = CountsMasks(header, headerBytes) ? 0 : entries * 4;
  return headerBytes + table + (HasMasksBehind(header, headerBytes) ? kMaskCount * kMaskBytes : 0);
}

// A file header, then the block.
class DibSource : public ByteSource {
 public:
  DibSource(std::span<const unsigned char> block, uint32_t headerBytes, uint32_t pixelOffset)
      : block_(block), head_(kFileHeaderBytes + headerBytes) {
    head_[0] = 'B';
    head_[1] = 'M';
    Store32(head_.data() + kPixelOffsetField, kFileHeaderBytes + pixelOffset);
    unsigned char* header = head_.data() + kFileHeaderBytes;
    std::copy_n(block.begin(), headerBytes, header);
    if (CountsMasks(header, headerBytes)) {
      Store32(header + kBiColorsUsed, 0);
    }
  }

  uint64_t SizeUpTo(uint64_t limit) override {
    return std::min<uint64_t>(kFileHeaderBytes + block_.size(), limit);
  }

  void Read(uint64_t offset, std::span<unsigned char> into) override {
    if (offset < head_.size()) {
      const auto head = std::span(head_).subspan(static_cast<size_t>(offset));
      const size_t count = std::min(head.size(), into.size());
      std::copy_n(head.begin(), count, into.begin());
      into = into.subspan(count);
      offset += count;
    }
    if (!into.empty()) {
      MemorySource(block_).Read(offset - kFileHeaderBytes, into);
    }
  }

 private:
  std::span<const unsigned char> block_;
  std::vector<unsigned char> head_;  // the file header and the block's own
};

}  // namespace

std::unique_ptr<ByteSource> SourceOfStream(std::istream& stream, const CancelHook& cancelled) {
  return std::make_unique<StreamSource>(stream, cancelled);
}

std::unique_ptr<ByteSource> SourceOfDib(std::span<const unsigned char> block) {
  const uint32_t headerBytes = block.size() < kCoreHeaderBytes ? 0 : Load32(block.data());
  if (headerBytes < kCoreHeaderBytes || headerBytes > block.size() ||
      (headerBytes != kCoreHeaderBytes && headerBytes < kInfoHeaderBytes)) {
    throw ImageError(ImageFault::kUnsoundDib, "the block does not begin with an image header");
  }
  const uint64_t offset = PixelOffset(block.data(), headerBytes);
  if (offset > block.size()) {
    throw ImageError(ImageFault::kUnsoundDib, "the image block is smaller than its header says");
  }
  return std::make_unique<DibSource>(block, headerBytes, static_cast<uint32_t>(offset));
}

}  // namespace dibkit::host
