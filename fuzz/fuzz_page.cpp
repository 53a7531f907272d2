// SPDX-License-Identifier: Apache-2.0
//
// A file of any format is opened as pages. Each page is refused with a PageError, or it is what its
// description says, keeps within its limits, and comes back with the same pixels from every
// lossless format that is built in.
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
  Bytes all;
  for (uint32_t y = 0; y < rows.Height(); ++y) {
    all.insert(all.end(), rows.Row(y).begin(), rows.Row(y).end());
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
  page.Save(stream, {.format = format});
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
  dibfuzz::TakeResult(nullptr);
  return 0;
}
