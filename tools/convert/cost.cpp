// SPDX-License-Identifier: Apache-2.0
#include "convert/cost.h"

#include <algorithm>

#include "dibkit/host/dib_layout.h"

namespace dibkit::tool {
namespace {

host::PixelSize SizeOf(const host::PageDescription& page) { return {page.width, page.height}; }

uint64_t SourceBytes(const host::PageDescription& page) {
  return ImageBytes(SizeOf(page), page.bitCount);
}

uint64_t BytesToRead(const host::PageDescription& page) {
  return SourceBytes(page) + page.workBytes;
}

bool IsPalette(const host::PageDescription& page) {
  return page.bitCount == 4 || page.bitCount == 8;
}

// Copies that resampling makes beside source and result. What is no grey page may have colours in
// its palette: it is then resampled at 24 bits, and its colours are reduced again.
uint64_t BytesBetween(const host::PageDescription& page, host::PixelSize result) {
  if (page.bitCount == 16 || page.bitCount == 32) {
    return ImageBytes(SizeOf(page), 24);
  }
  if (!IsPalette(page)) {
    return 0;
  }
  if (page.colour.starts_with("grey")) {
    return page.bitCount == 8 ? 0 : ImageBytes(SizeOf(page), 8);
  }
  return ImageBytes(SizeOf(page), 24) + ImageBytes(result, 24);
}

}  // namespace

uint64_t ImageBytes(host::PixelSize size, unsigned bits) {
  return host::LayoutOf(size.width, size.height, static_cast<uint16_t>(bits)).blockBytes;
}

uint64_t CostAtDepth(const host::PageDescription& page, unsigned bits, bool by24) {
  const uint64_t between = by24 && page.bitCount != 24 ? ImageBytes(SizeOf(page), 24) : 0;
  const bool copies = by24 || page.bitCount != bits;
  const uint64_t result = copies ? ImageBytes(SizeOf(page), bits) : 0;
  return std::max(BytesToRead(page), SourceBytes(page) + between + result);
}

uint64_t CostOfResampling(const host::PageDescription& page, host::PixelSize size) {
  return std::max(BytesToRead(page), SourceBytes(page) + BytesBetween(page, size) +
                                         ImageBytes(size, ResampledBits(page)));
}

unsigned ResampledBits(const host::PageDescription& page) {
  if (page.bitCount == 1) {
    return 1;
  }
  return IsPalette(page) ? 8 : 24;
}

}  // namespace dibkit::tool
