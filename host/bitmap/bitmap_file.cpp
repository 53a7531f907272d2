// SPDX-License-Identifier: Apache-2.0
#include "dibkit/host/bitmap_file.h"

#include <algorithm>
#include <limits>
#include <string>
#include <utility>

#include "bitmap/fax_rows.h"
#include "bitmap/presentation.h"
#include "bitmap/rle24.h"
#include "bitmap/run_length.h"
#include "bitmap/stored_rows.h"
#include "dibkit/host/dib_layout.h"
#include "dibkit/host/locked_block.h"

namespace dibkit::host {
namespace {

constexpr const char* kPaddingMissing = "the file lacks padding at its end";

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

// Up to where the library's functions read when they take a stream for rows.
uint64_t PaddedBytes(const BitmapDescription& bitmap, const Presentation& form) {
  return std::max(form.blockBytes, LayoutOf(bitmap.width, bitmap.height, form.bitCount).blockBytes);
}

OwnedBlock NewBlock(uint64_t bytes) {
  OwnedBlock block(GlobalAlloc(GHND, static_cast<unsigned>(bytes)));
  if (!block) {
    throw ImageError(ImageFault::kNoMemory, "no memory for " + std::to_string(bytes) + " bytes");
  }
  return block;
}

}  // namespace

BitmapFile::BitmapFile(std::unique_ptr<ByteSource> source, uint64_t maxPixels)
    : source_(std::move(source)), description_(DescribeBitmap(*source_, maxPixels)) {
  if (description_.offsetMissing) {
    Remark("the file does not say where its pixels begin; they are taken to follow the table");
  }
  if (description_.moreImages) {
    Remark("the file is an array of bitmaps; the first of them is read");
  }
  if (description_.missingBytes != 0) {
    Remark(kPaddingMissing);
  }
}

BitmapFile BitmapFile::Open(const std::string& path, const CancelHook& cancelled,
                            uint64_t maxPixels) {
  return BitmapFile(OpenSource(path, cancelled), maxPixels);
}

void BitmapFile::CheckConvertible() const {
  const BitmapDescription& bitmap = description_;
  if (IsEmbedded(bitmap)) {
    const std::string name = CompressionName(bitmap.compression);
    throw ImageError(ImageFault::kCompressionNotConvertible, "the pixels are an embedded " + name +
                                                                 " file, and " + name +
                                                                 " files are not built in here");
  }
  // A run-length image takes room for its rows as soon as it is expanded.
  const DibLayout layout = LayoutOf(bitmap.width, bitmap.height, bitmap.bitCount);
  if (bitmap.height > std::numeric_limits<int32_t>::max() ||
      layout.blockBytes > std::numeric_limits<unsigned>::max()) {
    FailTooLarge(layout.blockBytes);
  }
  if (KeepsStream(bitmap)) {
    CheckStream(bitmap.pixelBytes);
  }
  CheckBlock(PresentationOf(bitmap, bitmap.pixelBytes));
}

bool BitmapFile::HasGreyTable() {
  if (description_.bitCount == 0 || description_.bitCount > 8) {
    return false;
  }
  std::vector<unsigned char> table = ReadTable();
  table.resize(std::min(table.size(), size_t{4} << description_.bitCount));
  for (size_t at = 0; at < table.size(); at += 4) {
    if (table[at] != table[at + 1] || table[at] != table[at + 2]) {
      return false;
    }
  }
  return !table.empty();
}

OwnedBlock BitmapFile::ReadDib() { return ReadBlock(Form::kStored); }

OwnedBlock BitmapFile::ReadBottomUpDib() { return ReadBlock(Form::kBottomUp); }

OwnedBlock BitmapFile::ReadPaddedDib() { return ReadBlock(Form::kPadded); }

OwnedBlock BitmapFile::ReadBlock(Form wanted) {
  CheckConvertible();
  const std::vector<unsigned char> table = ReadTable();
  source_->ForgetBefore(description_.pixelOffset);
  const std::vector<unsigned char> stream = ReadStream();
  const Presentation form = PresentationOf(description_, stream.size(), wanted == Form::kBottomUp);
  CheckBlock(form);
  OwnedBlock block =
      NewBlock(wanted == Form::kPadded ? PaddedBytes(description_, form) : form.blockBytes);
  const LockedBlock lock(block.get());
  WritePresentedHeader(lock.Bytes(), description_, form);
  std::copy_n(table.begin(), std::min<size_t>(table.size(), size_t{form.tableEntries} * 4),
              lock.Bytes().begin() + kInfoHeaderBytes);
  const auto pixels = lock.Bytes().subspan(static_cast<size_t>(form.pixelOffset));
  if (KeepsStream(description_)) {
    std::copy(stream.begin(), stream.end(), pixels.begin());
  } else {
    FillRows(stream, description_.topDown && !form.topDown, form.bitCount,
             pixels.first(static_cast<size_t>(form.pixelBytes)));
  }
  return block;
}

void BitmapFile::FillRows(std::span<const unsigned char> stream, bool turned, uint16_t bitCount,
                          std::span<unsigned char> rows) {
  const BitmapDescription& bitmap = description_;
  if (bitmap.compression == BitmapCompression::kRle24) {
    ExpandRle24(stream, bitmap.width, bitmap.height, rows);
  } else if (bitmap.compression == BitmapCompression::kHuffman) {
    ExpandFax(stream, rows);
  } else if (ReadRows(*source_, bitmap, bitCount, turned, rows) != 0) {
    Remark(kPaddingMissing);
  }
}

void BitmapFile::ExpandFax(std::span<const unsigned char> stream, std::span<unsigned char> rows) {
  const FaxOutcome outcome = DecodeFax(stream, description_.width, description_.height, rows);
  if (outcome.damaged == outcome.rows) {
    throw ImageError(ImageFault::kDamaged, "the fax pixels are damaged from the start");
  }
  if (outcome.damaged != 0) {
    Remark("the fax pixels have damaged rows: " + std::to_string(outcome.damaged) + " of " +
           std::to_string(outcome.rows));
  }
  if (outcome.rows < description_.height) {
    Remark("the fax pixels end after " + std::to_string(outcome.rows) + " of " +
           std::to_string(description_.height) + " rows");
  }
}

// Nothing is said twice, however often the file is read.
void BitmapFile::Remark(const std::string& text) {
  if (std::find(remarks_.begin(), remarks_.end(), text) == remarks_.end()) {
    remarks_.push_back(text);
  }
}

// Empty where the pixel area holds rows.
std::vector<unsigned char> BitmapFile::ReadStream() {
  const BitmapDescription& bitmap = description_;
  if (HasRows(bitmap)) {
    return {};
  }
  std::vector<unsigned char> stored(static_cast<size_t>(bitmap.pixelBytes));
  source_->Read(bitmap.pixelOffset, stored);
  source_->ForgetBefore(bitmap.pixelOffset + bitmap.pixelBytes);
  if (!KeepsStream(bitmap)) {
    return stored;
  }
  std::vector<unsigned char> stream =
      StraightenedStream(stored, bitmap.width, bitmap.height, bitmap.bitCount);
  CheckStream(stream.size());
  return stream;
}

// At most the 256 entries that a depth can address. Those of 3 bytes become entries of 4; the
// fourth byte is reserved, and some writers leave chance values there.
std::vector<unsigned char> BitmapFile::ReadTable() {
  constexpr uint32_t kMostEntries = 256;
  const size_t stride = description_.tableEntryBytes;
  const size_t entries = std::min(kMostEntries, description_.tableEntries);
  std::vector<unsigned char> stored(entries * stride);
  source_->Read(description_.tableOffset, stored);
  std::vector<unsigned char> table(entries * 4);
  for (size_t i = 0; i < entries; ++i) {
    std::copy_n(stored.begin() + static_cast<std::ptrdiff_t>(i * stride), 3,
                table.begin() + static_cast<std::ptrdiff_t>(i * 4));
  }
  return table;
}

}  // namespace dibkit::host
