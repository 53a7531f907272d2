// SPDX-License-Identifier: Apache-2.0
#include "dibkit/host/bitmap_file.h"

#include <algorithm>
#include <limits>
#include <string>
#include <utility>

#include "bitmap/presentation.h"
#include "bitmap/run_length.h"
#include "dibkit/host/dib_layout.h"
#include "dibkit/host/locked_block.h"

namespace dibkit::host {
namespace {

bool IsRunLength(const BitmapDescription& bitmap) {
  return bitmap.compression == BitmapCompression::kRle8 ||
         bitmap.compression == BitmapCompression::kRle4;
}

[[noreturn]] void FailTooLarge(uint64_t bytes) {
  throw ImageError(ImageFault::kTooLarge, "the image needs " + std::to_string(bytes) +
                                              " bytes, which is more than one block can hold");
}

// The library takes the length of a stream for a signed number.
void CheckStream(uint64_t bytes) {
  if (bytes > std::numeric_limits<int32_t>::max()) {
    FailTooLarge(bytes);
  }
}

void CheckBlock(const Presentation& form) {
  if (form.blockBytes > std::numeric_limits<unsigned>::max()) {
    FailTooLarge(form.blockBytes);
  }
}

}  // namespace

BitmapFile::BitmapFile(std::unique_ptr<ByteSource> source, uint64_t maxPixels)
    : source_(std::move(source)), description_(DescribeBitmap(*source_, maxPixels)) {}

BitmapFile BitmapFile::Open(const std::string& path, const CancelHook& cancelled,
                            uint64_t maxPixels) {
  return BitmapFile(OpenSource(path, cancelled), maxPixels);
}

void BitmapFile::CheckConvertible() const {
  const BitmapDescription& bitmap = description_;
  if (!HasRows(bitmap) && !IsRunLength(bitmap)) {
    throw ImageError(ImageFault::kCompressionNotConvertible,
                     std::string("bitmaps with ") + CompressionName(bitmap.compression) +
                         " pixels cannot be converted");
  }
  // A run-length image takes room for its rows as soon as it is expanded.
  const DibLayout layout = LayoutOf(bitmap.width, bitmap.height, bitmap.bitCount);
  if (bitmap.height > std::numeric_limits<int32_t>::max() ||
      layout.blockBytes > std::numeric_limits<unsigned>::max()) {
    FailTooLarge(layout.blockBytes);
  }
  if (IsRunLength(bitmap)) {
    CheckStream(bitmap.pixelBytes);
  }
  CheckBlock(PresentationOf(bitmap, bitmap.pixelBytes));
}

bool BitmapFile::HasGreyTable() {
  if (description_.bitCount == 0 || description_.bitCount > 8) {
    return false;
  }
  std::vector<unsigned char> table(size_t{4} << description_.bitCount);
  ReadTable(table);
  for (size_t at = 0; at < table.size(); at += 4) {
    if (table[at] != table[at + 1] || table[at] != table[at + 2]) {
      return false;
    }
  }
  return true;
}

OwnedBlock BitmapFile::ReadDib() {
  CheckConvertible();
  const std::vector<unsigned char> stream = ReadStream();
  const Presentation form = PresentationOf(description_, stream.size());
  CheckBlock(form);
  OwnedBlock block(GlobalAlloc(GHND, static_cast<unsigned>(form.blockBytes)));
  if (!block) {
    throw ImageError(ImageFault::kNoMemory,
                     "no memory for " + std::to_string(form.blockBytes) + " bytes");
  }
  const LockedBlock lock(block.get());
  WritePresentedHeader(lock.Bytes(), description_, form);
  ReadTable(lock.Bytes().subspan(kInfoHeaderBytes, size_t{form.tableEntries} * 4));
  const auto pixels = lock.Bytes().subspan(static_cast<size_t>(form.pixelOffset));
  if (IsRunLength(description_)) {
    std::copy(stream.begin(), stream.end(), pixels.begin());
  } else if (description_.bitCount != form.bitCount) {
    ReadTwoBitRows(pixels);
  } else {
    source_->Read(description_.pixelOffset, pixels);
  }
  return block;
}

// Empty where the pixel area holds rows.
std::vector<unsigned char> BitmapFile::ReadStream() {
  const BitmapDescription& bitmap = description_;
  if (!IsRunLength(bitmap)) {
    return {};
  }
  std::vector<unsigned char> stored(static_cast<size_t>(bitmap.pixelBytes));
  source_->Read(bitmap.pixelOffset, stored);
  std::vector<unsigned char> stream =
      StraightenedStream(stored, bitmap.width, bitmap.height, bitmap.bitCount);
  CheckStream(stream.size());
  return stream;
}

void BitmapFile::ReadTwoBitRows(std::span<unsigned char> into) {
  const uint64_t stored = RowStride(description_.width, 2);
  const auto spread = static_cast<size_t>(RowStride(description_.width, 4));
  std::vector<unsigned char> row(static_cast<size_t>(stored));
  for (uint32_t y = 0; y < description_.height; ++y) {
    source_->Read(description_.pixelOffset + y * stored, row);
    SpreadTwoBitRow(row.data(), into.data() + y * spread, description_.width);
  }
}

// Entries of 3 bytes become entries of 4. The fourth byte of an entry is reserved; some writers
// leave chance values there.
void BitmapFile::ReadTable(std::span<unsigned char> into) {
  const size_t stride = description_.tableEntryBytes;
  const size_t entries = std::min<size_t>(into.size() / 4, description_.tableEntries);
  std::vector<unsigned char> stored(entries * stride);
  source_->Read(description_.tableOffset, stored);
  for (size_t i = 0; i < entries; ++i) {
    std::copy_n(stored.begin() + static_cast<std::ptrdiff_t>(i * stride), 3,
                into.begin() + static_cast<std::ptrdiff_t>(i * 4));
  }
}

}  // namespace dibkit::host
