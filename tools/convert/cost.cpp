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

}  // namespace

uint64_t ImageBytes(host::PixelSize size, unsigned bits) {
  return host::LayoutOf(size.width, size.height, static_cast<uint16_t>(bits)).blockBytes;
}

uint64_t CostAtDepth(const host::PageDescription& page, unsigned bits, DepthWay way) {
  const bool widens = way == DepthWay::kBy24 && page.bitCount != 24;
  const uint64_t between = widens ? ImageBytes(SizeOf(page), 24) : 0;
  const bool copies = way != DepthWay::kIfOther || page.bitCount != bits;
  const uint64_t result = copies ? ImageBytes(SizeOf(page), bits) : 0;
  return std::max(BytesToRead(page), SourceBytes(page) + between + result);
}

uint64_t CostOfResampling(const host::PageDescription& page, host::PelsPerMetre from,
                          const host::ResampleRequest& request) {
  const bool isGrey = page.colour.starts_with("grey");
  return std::max(
      BytesToRead(page),
      SourceBytes(page) + host::ResampledBytes(SizeOf(page), static_cast<uint16_t>(page.bitCount),
                                               isGrey, from.x, from.y, request));
}

unsigned ResampledBits(const host::PageDescription& page, const host::ResampleRequest& request) {
  if (request.raw && page.bitCount > 8) {
    return page.bitCount;
  }
  if (page.bitCount == 1 && !request.grey) {
    return 1;
  }
  return IsPalette(page) || request.grey ? 8 : 24;
}

}  // namespace dibkit::tool
