// SPDX-License-Identifier: Apache-2.0
#include "handed_rows.h"

#include <algorithm>

namespace ocr {
namespace {

namespace host = dibkit::host;
using Row = std::span<const unsigned char>;

constexpr size_t kEntryBytes = 4;

// Whether the set bits of a 1-bit page are its lighter pixels.
bool SetIsWhite(Row table) {
  const auto lightness = [table](size_t entry) {
    const unsigned char* colour = table.data() + entry * kEntryBytes;
    return colour[0] + colour[1] + colour[2];
  };
  return lightness(1) >= lightness(0);
}

void Invert(Row from, unsigned char* to) {
  std::transform(from.begin(), from.end(), to,
                 [](unsigned char byte) { return static_cast<unsigned char>(~byte); });
}

// Blue, green, red into red, green, blue; what is left of the last bytes is padding.
void SwapChannels(Row from, unsigned char* to) {
  for (size_t i = 0; i + 2 < from.size(); i += 3) {
    to[i] = from[i + 2];
    to[i + 1] = from[i + 1];
    to[i + 2] = from[i];
  }
}

}  // namespace

bool IsPlainGrey(const host::PageRows& rows) {
  const Row table = rows.Table();
  if (rows.BitCount() != 8 || !rows.HasGreyTable()) {
    return false;
  }
  for (size_t level = 0; level * kEntryBytes < table.size(); ++level) {
    if (table[level * kEntryBytes] != level) {
      return false;
    }
  }
  return true;
}

HandedRows::HandedRows(const host::PageRows& rows)
    : topRow_(rows.Row(0).data()),
      bytesPerPixel_(static_cast<int>(rows.BitCount() / 8)),
      bytesPerLine_(-static_cast<int>(rows.Row(0).size())) {
  if (rows.BitCount() == 24) {
    Copy(rows, SwapChannels);
  } else if (rows.BitCount() == 1 && !SetIsWhite(rows.Table())) {
    Copy(rows, Invert);
  } else if (rows.BitCount() != 1 && !IsPlainGrey(rows)) {
    throw host::PageError(host::PageFault::kUnsupported, "the page is not of 1, 8 or 24 bits");
  }
}

template <typename CopyRow>
void HandedRows::Copy(const host::PageRows& rows, CopyRow copyRow) {
  const size_t rowBytes = rows.Row(0).size();
  copy_.resize(rowBytes * rows.Height());
  for (uint32_t y = 0; y < rows.Height(); ++y) {
    copyRow(rows.Row(y), copy_.data() + y * rowBytes);
  }
  topRow_ = copy_.data();
  bytesPerLine_ = static_cast<int>(rowBytes);
}

}  // namespace ocr
