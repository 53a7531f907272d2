// SPDX-License-Identifier: Apache-2.0
#include "bitmap/stored_rows.h"

#include <algorithm>
#include <limits>
#include <string>
#include <vector>

#include "bitmap/presentation.h"
#include "dibkit/host/dib_layout.h"

namespace dibkit::host {
namespace {

// What a pipe keeps at a time.
constexpr uint64_t kPieceBytes = uint64_t{1} << 20;

// Bytes behind the last pixel of a row.
uint64_t PaddingBytes(const BitmapDescription& bitmap) {
  const uint64_t pixels = (uint64_t{bitmap.bitCount} * bitmap.width + 7) / 8;
  return RowStride(bitmap.width, bitmap.bitCount) - pixels;
}

uint32_t ReadPiece(ByteSource& file, const BitmapDescription& bitmap, uint64_t at,
                   std::span<unsigned char> into) {
  const uint32_t missing = RequireRows(file, bitmap, at + into.size());
  file.Read(bitmap.pixelOffset + at, into.first(into.size() - missing));
  const auto absent = into.last(missing);
  std::fill(absent.begin(), absent.end(), static_cast<unsigned char>(0));
  file.ForgetBefore(bitmap.pixelOffset + at + into.size());
  return missing;
}

uint32_t ReadStraight(ByteSource& file, const BitmapDescription& bitmap,
                      std::span<unsigned char> into) {
  uint32_t missing = 0;
  for (uint64_t at = 0; !into.empty();) {
    const auto piece =
        into.first(static_cast<size_t>(std::min<uint64_t>(kPieceBytes, into.size())));
    missing = ReadPiece(file, bitmap, at, piece);
    into = into.subspan(piece.size());
    at += piece.size();
  }
  return missing;
}

}  // namespace

uint32_t RequireRows(ByteSource& file, const BitmapDescription& bitmap, uint64_t bytes) {
  // The sum wraps for the largest claims; no file is that long.
  constexpr uint64_t kNoLimit = std::numeric_limits<uint64_t>::max();
  const uint64_t end =
      bytes > kNoLimit - bitmap.pixelOffset ? kNoLimit : bitmap.pixelOffset + bytes;
  const uint64_t size = file.SizeUpTo(end);
  if (size < end) {
    if (bytes == bitmap.pixelBytes && end - size <= PaddingBytes(bitmap)) {
      return static_cast<uint32_t>(end - size);
    }
    const uint64_t held = size - std::min(size, bitmap.pixelOffset);
    throw ImageError(ImageFault::kRowsTruncated,
                     "the rows need " + std::to_string(bitmap.pixelBytes) +
                         " bytes, but the file holds " + std::to_string(held) + " of them");
  }
  return 0;
}

uint32_t ReadRows(ByteSource& file, const BitmapDescription& bitmap, uint16_t bitCount, bool turned,
                  std::span<unsigned char> into) {
  if (bitmap.bitCount == bitCount && !turned) {
    return ReadStraight(file, bitmap, into);
  }
  const uint64_t stored = RowStride(bitmap.width, bitmap.bitCount);
  const auto made = static_cast<size_t>(RowStride(bitmap.width, bitCount));
  const uint64_t rowsAtOnce = std::clamp<uint64_t>(kPieceBytes / stored, 1, bitmap.height);
  std::vector<unsigned char> piece(static_cast<size_t>(rowsAtOnce * stored));
  uint32_t missing = 0;
  for (uint64_t y = 0; y < bitmap.height; y += rowsAtOnce) {
    const uint64_t rows = std::min(rowsAtOnce, bitmap.height - y);
    missing = ReadPiece(file, bitmap, y * stored,
                        std::span(piece).first(static_cast<size_t>(rows * stored)));
    for (uint64_t i = 0; i < rows; ++i) {
      const uint64_t to = turned ? bitmap.height - 1 - (y + i) : y + i;
      PresentRow(piece.data() + i * stored, into.data() + to * made, bitmap, bitCount);
    }
  }
  return missing;
}

}  // namespace dibkit::host
