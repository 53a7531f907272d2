// SPDX-License-Identifier: Apache-2.0
//
// A file of any format is opened as pages. Each page is refused with a PageError, or it is what its
// description says, keeps within its limits, and comes back with the same pixels from every
// lossless format that is built in. Opened raw, it goes through the library's functions as it
// stands.
#include <algorithm>
#include <sstream>
#include <string>

#include "check.h"
#include "dibkit/host/document.h"

namespace {

namespace host = dibkit::host;

using dibfuzz::Bytes;
using dibfuzz::Check;

constexpr uint64_t kMostPixels = 1 << 16;
constexpr uint32_t kMostPages = 4;

Bytes RowsOf(const host::Page& page) {
  const host::PageRows rows = page.Rows();
  const size_t bytes = (size_t{rows.Width()} * rows.BitCount() + 7) / 8;  // padding may be anything
  Bytes all;
  for (uint32_t y = 0; y < rows.Height(); ++y) {
    const auto row = rows.Row(y).first(bytes);
    all.insert(all.end(), row.begin(), row.end());
  }
  return all;
}

void ExpectDescribed(const host::PageDescription& told, const host::Page& page) {
  Check(told.width == page.Width() && told.height == page.Height(), "the size is as described");
  Check(told.bitCount == page.BitCount(), "the depth is as described");
  Check(uint64_t{told.width} * told.height <= kMostPixels, "the limit holds");
}

// At 24 bits, where every format means the same.
void ExpectSameThrough(host::ImageFormat format, const host::Page& page, const Bytes& pixels) {
  std::ostringstream stream;
  page.Save(stream, {.format = format, .compression = host::UsualCompression(format, 24)});
  const std::string file = stream.str();
  host::Page back =
      host::Page::FromBytes({reinterpret_cast<const uint8_t*>(file.data()), file.size()});
  back.To24();
  Check(RowsOf(back) == pixels, "the pixels come back");
}

void Try(host::Document& document, uint32_t index) {
  const host::PageDescription told = document.Describe(index);
  host::Page page = document.Read(index);
  ExpectDescribed(told, page);
  Check(RowsOf(document.Read(index)) == RowsOf(page), "reading again gives the same");
  page.To24();
  const Bytes pixels = RowsOf(page);
  for (const host::ImageFormat format : host::BuiltInFormats()) {
    if (format != host::ImageFormat::kJpeg) ExpectSameThrough(format, page, pixels);
  }
}

// What the library makes of pages as they stand: each step makes a plain page, or says why not.
void TryRaw(std::span<const uint8_t> bytes) {
  const std::initializer_list<void (*)(host::Page&)> steps{
      [](host::Page& page) { page.Normalize(); },
      [](host::Page& page) { page.To24(); },
      [](host::Page& page) { page.To16(); },
      [](host::Page& page) { page.ToGrey(); },
      [](host::Page& page) { page.Quantize(); },
      [](host::Page& page) { page.Resample({.dpi = 100, .fromDpi = 150}); }};
  for (const auto step : steps) {
    try {
      host::Page page = host::Page::FromBytes(bytes, {.maxPixels = kMostPixels, .raw = true});
      step(page);
      Check(page.IsPlain(), "the page is plain");
      RowsOf(page);
    } catch (const host::PageError& error) {
      Check(*error.what() != '\0', "the error says something");
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  try {
    host::Document document = host::Document::FromBytes({data, size}, {.maxPixels = kMostPixels});
    const uint32_t pages = std::min(document.PageCount(), kMostPages);
    for (uint32_t index = 0; index < pages; ++index) {
      try {
        Try(document, index);
      } catch (const host::PageError& error) {
        Check(*error.what() != '\0', "the error says something");
      }
    }
  } catch (const host::PageError& error) {
    Check(*error.what() != '\0', "the error says something");
  }
  TryRaw({data, size});
  dibfuzz::TakeResult(nullptr);
  return 0;
}
