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

// The larger of a page and its result on each axis: no image in between is larger.
host::PixelSize Larger(host::PixelSize a, host::PixelSize b) {
  return {std::max(a.width, b.width), std::max(a.height, b.height)};
}

// Images that resampling makes beside source and result, the largest that there can be: greys of
// two colours, 24 bits of a palette. A page of 1 bit stays so on the whole way where nothing falls
// to a half.
uint64_t BytesBetween(const host::PageDescription& page, host::PixelSize result,
                      const host::ResampleOptions& options) {
  const bool isDeep = page.bitCount == 16 || page.bitCount == 32;
  const uint64_t widened = isDeep ? ImageBytes(SizeOf(page), 24) : 0;
  const bool halves = 2 * uint64_t{result.width} <= page.width + uint64_t{1} ||
                      2 * uint64_t{result.height} <= page.height + uint64_t{1};
  const host::PixelSize means =
      halves ? Larger(result, {page.width / 2 + 1, page.height / 2 + 1}) : SizeOf(page);
  const bool isGrey = options.grey || page.colour.starts_with("grey");
  if (page.bitCount == 1) {
    return halves || options.grey ? ImageBytes(means, 8) + ImageBytes(result, 8) : 0;
  }
  if (IsPalette(page)) {
    return isGrey ? ImageBytes(means, 8) : ImageBytes(means, 24) + ImageBytes(result, 24);
  }
  return widened + (halves || options.grey ? ImageBytes(means, options.grey ? 8 : 24) : 0);
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

uint64_t CostOfResampling(const host::PageDescription& page, host::PixelSize size,
                          const host::ResampleOptions& options) {
  return std::max(BytesToRead(page), SourceBytes(page) + BytesBetween(page, size, options) +
                                         ImageBytes(size, ResampledBits(page, options)));
}

unsigned ResampledBits(const host::PageDescription& page, const host::ResampleOptions& options) {
  if (page.bitCount == 1 && !options.grey) {
    return 1;
  }
  return IsPalette(page) || options.grey ? 8 : 24;
}

}  // namespace dibkit::tool
