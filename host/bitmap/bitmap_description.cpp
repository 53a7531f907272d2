// SPDX-License-Identifier: Apache-2.0
#include "dibkit/host/bitmap_description.h"

#include <algorithm>
#include <optional>
#include <string>

#include "bitmap/fields.h"
#include "bitmap/little_endian.h"
#include "bitmap/stored_rows.h"
#include "dibkit/host/dib_layout.h"
#include "dibkit/host/pixel_limit.h"

namespace dibkit::host {
namespace {

constexpr uint32_t kMaskBytes = 4;
constexpr uint64_t kNoEnd = std::numeric_limits<uint64_t>::max();

[[noreturn]] void Fail(ImageFault fault, const std::string& message) {
  throw ImageError(fault, message);
}

std::string Number(uint64_t value) { return std::to_string(value); }

// The bytes of the headers; fields that a short header lacks read as 0.
struct RawHeader {
  std::array<unsigned char, kLongestHeaderBytes> bytes{};
  uint32_t begin = kFileHeaderBytes;  // in the file
  uint32_t size = 0;
  uint32_t pixelOffset = 0;
  bool moreImages = false;

  uint16_t Word(size_t at) const { return Load16(bytes.data() + at); }
  uint32_t Long(size_t at) const { return Load32(bytes.data() + at); }
  int32_t SignedLong(size_t at) const { return LoadSigned32(bytes.data() + at); }

  bool IsCore() const { return size == kCoreHeaderBytes; }
  bool IsOs2() const { return size == 16 || size == 64; }
};

bool IsHeaderSize(uint32_t size) {
  constexpr uint32_t kSizes[] = {12, 16, 40, 52, 56, 64, 108, 124};
  return std::find(std::begin(kSizes), std::end(kSizes), size) != std::end(kSizes);
}

bool IsDepth(uint16_t bits) {
  return bits == 1 || bits == 2 || bits == 4 || bits == 8 || bits == 16 || bits == 24 || bits == 32;
}

void RequireSize(ByteSource& file, uint64_t end) {
  const uint64_t size = file.SizeUpTo(end);
  if (size < end) {
    Fail(ImageFault::kHeaderTruncated,
         "the file ends inside its headers, after " + Number(size) + " bytes");
  }
}

bool BeginsWith(std::span<const unsigned char> start, const char (&magic)[3]) {
  return start[0] == magic[0] && start[1] == magic[1];
}

// An OS/2 array of bitmaps begins with a header of its own, as long as the file header that
// follows; the offsets of its images count from the start of the file all the same.
void PassArrayHeader(ByteSource& file, std::span<unsigned char> start, RawHeader& header) {
  RequireSize(file, kFileHeaderBytes + start.size());
  header.moreImages = Load32(start.data() + kNextImageField) != 0;
  header.begin += kFileHeaderBytes;
  file.Read(kFileHeaderBytes, start);
  if (!BeginsWith(start, "BM")) {
    Fail(ImageFault::kNotABitmap, "the first image of the array is not a bitmap");
  }
}

RawHeader ReadHeaders(ByteSource& file) {
  std::array<unsigned char, kFileHeaderBytes + 4> start{};
  const auto there = static_cast<size_t>(file.SizeUpTo(start.size()));
  file.Read(0, std::span(start).first(there));
  const bool isArray = BeginsWith(start, "BA");
  if (!isArray && !BeginsWith(start, "BM")) {
    Fail(ImageFault::kNotABitmap, "not a bitmap file");
  }
  RequireSize(file, start.size());
  RawHeader header;
  if (isArray) {
    PassArrayHeader(file, start, header);
  }
  header.pixelOffset = Load32(start.data() + kPixelOffsetField);
  header.size = Load32(start.data() + kFileHeaderBytes);
  if (!IsHeaderSize(header.size)) {
    Fail(ImageFault::kHeaderSize, "there is no bitmap header of " + Number(header.size) + " bytes");
  }
  RequireSize(file, uint64_t{header.begin} + header.size);
  file.Read(header.begin, std::span(header.bytes).first(header.size));
  return header;
}

void ReadCoreFields(const RawHeader& header, BitmapDescription& bitmap) {
  bitmap.width = header.Word(kCoreWidth);
  bitmap.height = header.Word(kCoreHeight);
  bitmap.bitCount = header.Word(kCoreBitCount);
}

void ReadInfoFields(const RawHeader& header, BitmapDescription& bitmap) {
  const int32_t width = header.SignedLong(kBiWidth);
  const int64_t height = header.SignedLong(kBiHeight);
  if (width < 0) {
    Fail(ImageFault::kWidth, "the width is " + std::to_string(width));
  }
  bitmap.width = static_cast<uint32_t>(width);
  bitmap.topDown = height < 0;
  bitmap.height = static_cast<uint32_t>(height < 0 ? -height : height);
  bitmap.bitCount = header.Word(kBiBitCount);
  bitmap.xPelsPerMeter = header.SignedLong(kBiXPelsPerMeter);
  bitmap.yPelsPerMeter = header.SignedLong(kBiYPelsPerMeter);
}

void CheckDimensions(const BitmapDescription& bitmap, uint16_t planes) {
  if (bitmap.width == 0) {
    Fail(ImageFault::kWidth, "the width is 0");
  }
  if (bitmap.height == 0) {
    Fail(ImageFault::kHeight, "the height is 0");
  }
  if (planes != 1) {
    Fail(ImageFault::kPlanes, "the number of planes is " + Number(planes) + ", not 1");
  }
}

// What the number in the header means behind a header of its size.
std::optional<BitmapCompression> CompressionOf(const RawHeader& header) {
  const bool os2 = header.IsOs2();
  switch (header.Long(kBiCompression)) {
    case 0:
      return BitmapCompression::kNone;
    case 1:
      return BitmapCompression::kRle8;
    case 2:
      return BitmapCompression::kRle4;
    case 3:
      return os2 ? BitmapCompression::kHuffman : BitmapCompression::kBitFields;
    case 4:
      return os2 ? BitmapCompression::kRle24 : BitmapCompression::kJpeg;
    case 5:
      return os2 ? std::nullopt : std::optional(BitmapCompression::kPng);
    case 6:
      return os2 ? std::nullopt : std::optional(BitmapCompression::kAlphaBitFields);
    default:
      return std::nullopt;
  }
}

bool FitsDepth(BitmapCompression compression, uint16_t bits) {
  switch (compression) {
    case BitmapCompression::kNone:
      return bits != 0;
    case BitmapCompression::kRle8:
      return bits == 8;
    case BitmapCompression::kRle4:
      return bits == 4;
    case BitmapCompression::kBitFields:
    case BitmapCompression::kAlphaBitFields:
      return bits == 16 || bits == 32;
    case BitmapCompression::kRle24:
      return bits == 24;
    case BitmapCompression::kHuffman:
      return bits == 1;
    case BitmapCompression::kJpeg:
    case BitmapCompression::kPng:
      return true;
  }
  return false;
}

bool IsFile(BitmapCompression compression) {
  return compression == BitmapCompression::kJpeg || compression == BitmapCompression::kPng;
}

void ReadFormat(const RawHeader& header, BitmapDescription& bitmap) {
  const auto compression = CompressionOf(header);
  if (!compression) {
    Fail(ImageFault::kCompression,
         "there is no compression number " + Number(header.Long(kBiCompression)));
  }
  bitmap.compression = *compression;
  if (!IsDepth(bitmap.bitCount) && !(bitmap.bitCount == 0 && IsFile(*compression))) {
    Fail(ImageFault::kDepth, "there is no bitmap of " + Number(bitmap.bitCount) + " bits");
  }
  if (!FitsDepth(*compression, bitmap.bitCount)) {
    Fail(ImageFault::kCompression, std::string(CompressionName(*compression)) +
                                       " compression does not exist at " + Number(bitmap.bitCount) +
                                       " bits");
  }
  if (bitmap.topDown && !HasRows(bitmap)) {
    Fail(ImageFault::kCompressedTopDown, "a compressed bitmap cannot be stored top row first");
  }
}

uint32_t MaskCount(const RawHeader& header, BitmapCompression compression) {
  if (compression == BitmapCompression::kAlphaBitFields) {
    return 4;
  }
  if (compression == BitmapCompression::kBitFields) {
    return header.size >= 56 ? 4 : 3;
  }
  return 0;
}

// Masks stand inside the longer headers and behind the 40-byte one. Sets the table's offset too.
void ReadMasks(ByteSource& file, RawHeader& header, BitmapDescription& bitmap) {
  const uint32_t count = MaskCount(header, bitmap.compression);
  const uint64_t end =
      std::max<uint64_t>(header.size, count == 0 ? 0 : kBiMasks + count * kMaskBytes);
  RequireSize(file, header.begin + end);
  file.Read(header.begin, std::span(header.bytes).first(static_cast<size_t>(end)));
  for (uint32_t i = 0; i < count; ++i) {
    bitmap.masks[i] = header.Long(kBiMasks + i * kMaskBytes);
  }
  bitmap.tableOffset = header.begin + end;
}

// Entries that the header says; 0: it does not.
uint32_t ClaimedEntries(const RawHeader& header) {
  return header.IsCore() ? 0 : header.Long(kBiColorsUsed);
}

// Entries that the depth has.
uint32_t UsualEntries(const BitmapDescription& bitmap) {
  return bitmap.bitCount >= 1 && bitmap.bitCount <= 8 ? 1U << bitmap.bitCount : 0;
}

// Some writers leave the offset 0: their pixels follow the table.
void PlaceStart(const RawHeader& header, BitmapDescription& bitmap) {
  bitmap.pixelOffset = header.pixelOffset;
  bitmap.offsetMissing = header.pixelOffset == 0;
  if (bitmap.offsetMissing) {
    const uint32_t claimed = ClaimedEntries(header);
    const uint64_t entries = claimed != 0 ? claimed : UsualEntries(bitmap);
    bitmap.pixelOffset = bitmap.tableOffset + entries * bitmap.tableEntryBytes;
  }
  if (bitmap.pixelOffset < bitmap.tableOffset) {
    Fail(ImageFault::kPixelOffset,
         "the pixels would begin at byte " + Number(bitmap.pixelOffset) + ", inside the headers");
  }
}

void PlaceTable(const RawHeader& header, BitmapDescription& bitmap) {
  bitmap.tableEntryBytes = header.IsCore() ? 3 : 4;
  PlaceStart(header, bitmap);
  const uint64_t room = (bitmap.pixelOffset - bitmap.tableOffset) / bitmap.tableEntryBytes;
  const uint32_t claimed = ClaimedEntries(header);
  if (claimed > room) {
    Fail(ImageFault::kTableSize, "the colour table should have " + Number(claimed) +
                                     " entries, but there is room for " + Number(room));
  }
  bitmap.tableEntries = claimed != 0
                            ? claimed
                            : static_cast<uint32_t>(std::min<uint64_t>(UsualEntries(bitmap), room));
}

void RequireStart(ByteSource& file, const BitmapDescription& bitmap) {
  if (file.SizeUpTo(bitmap.pixelOffset + 1) <= bitmap.pixelOffset) {
    Fail(ImageFault::kPixelOffset, "the pixels would begin at byte " + Number(bitmap.pixelOffset) +
                                       ", behind the end of the file");
  }
}

// A pipe would have to keep what it counts, so its rows are looked for as they are read.
void PlaceRows(ByteSource& file, BitmapDescription& bitmap) {
  bitmap.pixelBytes = LayoutOf(bitmap.width, bitmap.height, bitmap.bitCount).rowsBytes;
  if (file.IsInPlace()) {
    RequireStart(file, bitmap);
    bitmap.missingBytes = RequireRows(file, bitmap, bitmap.pixelBytes);
  }
}

// The longest stream that any writer makes: a record for each pixel, and room for the end and a
// move of each row.
uint64_t MostStreamBytes(const BitmapDescription& bitmap) {
  constexpr uint64_t kRowBytes = 8;
  const uint64_t recordBytes = bitmap.compression == BitmapCompression::kRle24 ? 4 : 2;
  return (recordBytes * bitmap.width + kRowBytes) * (uint64_t{bitmap.height} + 1);
}

void RequireStream(const BitmapDescription& bitmap, uint32_t claimed, uint64_t wanted) {
  if (claimed != 0 && bitmap.pixelBytes < wanted) {
    Fail(ImageFault::kStreamTruncated, "the compressed pixels need " + Number(claimed) +
                                           " bytes, but the file holds " +
                                           Number(bitmap.pixelBytes) + " of them");
  }
}

// An embedded file knows itself where it ends, and its codec reads it piece by piece.
void PlaceEmbedded(ByteSource& file, const RawHeader& header, BitmapDescription& bitmap) {
  const uint32_t claimed = header.Long(kBiSizeImage);
  const uint64_t wanted = claimed != 0 ? claimed : kNoEnd - bitmap.pixelOffset;
  bitmap.pixelBytes = wanted;
  if (file.IsInPlace()) {
    RequireStart(file, bitmap);
    bitmap.pixelBytes = file.SizeUpTo(bitmap.pixelOffset + wanted) - bitmap.pixelOffset;
    RequireStream(bitmap, claimed, wanted);
  }
}

void PlaceStream(ByteSource& file, const RawHeader& header, BitmapDescription& bitmap) {
  constexpr uint64_t kMostGapBytes = uint64_t{16} << 20;
  if (!file.IsInPlace() && bitmap.pixelOffset > kMostGapBytes) {
    Fail(ImageFault::kPixelOffset,
         "the pixels would begin at byte " + Number(bitmap.pixelOffset) + ", too late for a pipe");
  }
  RequireStart(file, bitmap);
  const uint32_t claimed = header.Long(kBiSizeImage);
  const uint64_t most = MostStreamBytes(bitmap);
  const uint64_t wanted = claimed != 0 ? std::min<uint64_t>(claimed, most) : most;
  bitmap.pixelBytes = file.SizeUpTo(bitmap.pixelOffset + wanted) - bitmap.pixelOffset;
  RequireStream(bitmap, claimed, wanted);
}

void PlacePixels(ByteSource& file, const RawHeader& header, BitmapDescription& bitmap) {
  if (HasRows(bitmap)) {
    PlaceRows(file, bitmap);
  } else if (IsEmbedded(bitmap)) {
    PlaceEmbedded(file, header, bitmap);
  } else {
    PlaceStream(file, header, bitmap);
  }
}

}  // namespace

bool HasRows(const BitmapDescription& bitmap) {
  return bitmap.compression == BitmapCompression::kNone ||
         bitmap.compression == BitmapCompression::kBitFields ||
         bitmap.compression == BitmapCompression::kAlphaBitFields;
}

bool IsEmbedded(const BitmapDescription& bitmap) { return IsFile(bitmap.compression); }

const char* CompressionName(BitmapCompression compression) {
  switch (compression) {
    case BitmapCompression::kNone:
      return "none";
    case BitmapCompression::kRle8:
      return "RLE8";
    case BitmapCompression::kRle4:
      return "RLE4";
    case BitmapCompression::kBitFields:
      return "bit-field";
    case BitmapCompression::kAlphaBitFields:
      return "alpha bit-field";
    case BitmapCompression::kRle24:
      return "RLE24";
    case BitmapCompression::kHuffman:
      return "fax";
    case BitmapCompression::kJpeg:
      return "JPEG";
    case BitmapCompression::kPng:
      return "PNG";
  }
  return "unknown";
}

BitmapDescription DescribeBitmap(ByteSource& file, uint64_t maxPixels) {
  RawHeader header = ReadHeaders(file);
  BitmapDescription bitmap{};
  bitmap.headerBytes = header.size;
  bitmap.moreImages = header.moreImages;
  if (header.IsCore()) {
    ReadCoreFields(header, bitmap);
    CheckDimensions(bitmap, header.Word(kCorePlanes));
  } else {
    ReadInfoFields(header, bitmap);
    CheckDimensions(bitmap, header.Word(kBiPlanes));
  }
  ReadFormat(header, bitmap);
  CheckPixels(bitmap.width, bitmap.height, maxPixels);
  ReadMasks(file, header, bitmap);
  PlaceTable(header, bitmap);
  PlacePixels(file, header, bitmap);
  return bitmap;
}

}  // namespace dibkit::host
