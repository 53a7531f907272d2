// SPDX-License-Identifier: Apache-2.0
#include "resample/route.h"

#include <algorithm>

#include "dibkit/host/dib_layout.h"

namespace dibkit::host {
namespace {

bool IsPalette(uint16_t bitCount) { return bitCount == 4 || bitCount == 8; }

uint64_t ImageBytes(PixelSize size, uint16_t bits) {
  return LayoutOf(size.width, size.height, bits).blockBytes;
}

// ConvertResolution widens palettes itself, to levels or colours, and reduces colours again.
uint64_t RawBytes(PixelSize size, PixelSize result, uint16_t bitCount, bool isGrey) {
  if (!IsPalette(bitCount)) {
    return ImageBytes(result, bitCount);
  }
  if (isGrey) {
    return ImageBytes(result, 8) + (bitCount == 8 ? 0 : ImageBytes(size, 8));
  }
  return ImageBytes(size, 24) + ImageBytes(result, 24) + ImageBytes(result, 8);
}

}  // namespace

Route RouteOf(PixelSize size, uint16_t bitCount, bool isGrey, PelsPerMetre from,
              const ResampleRequest& request) {
  Route route;
  route.reduction = PlanReduction(size, from, request.dpi, request.maxPixels);
  route.widens = bitCount == 16 || bitCount == 32;
  route.kind = request.grey ? SampleKind::kGrey : SampleKind::kOwn;
  const bool hasBlocks = route.reduction.HasBlocks();
  if (bitCount == 1 && !request.grey) {
    route.samples = route.thresholds = hasBlocks;
    route.levelBits = hasBlocks ? 8 : 1;
    return route;
  }
  const bool isGreyResult = request.grey || (IsPalette(bitCount) && isGrey);
  route.levelBits = isGreyResult ? 8 : 24;
  route.picksPalette = IsPalette(bitCount) && !isGreyResult;
  // What the conversion takes as it stands.
  const bool isTaken = isGreyResult ? bitCount == 8 && isGrey : !IsPalette(bitCount);
  route.samples = hasBlocks || !isTaken;
  return route;
}

uint64_t ResampledBytes(PixelSize size, uint16_t bitCount, bool isGrey, int32_t xPelsPerMeter,
                        int32_t yPelsPerMeter, const ResampleRequest& request) {
  const PelsPerMetre from{xPelsPerMeter, yPelsPerMeter};
  const PixelSize result = ResampledSize(size, xPelsPerMeter, yPelsPerMeter, request);
  if (request.raw) {
    return RawBytes(size, result, bitCount, isGrey);
  }
  const Route route = RouteOf(size, bitCount, isGrey, from, request);
  const uint64_t widened = route.widens ? ImageBytes(size, 24) : 0;
  const uint64_t levels = ImageBytes(result, route.levelBits);
  const uint64_t means =
      route.samples ? ImageBytes(route.reduction.blocks, route.levelBits) : uint64_t{0};
  const uint64_t stored = route.thresholds     ? ImageBytes(result, 1)
                          : route.picksPalette ? ImageBytes(result, 8)
                                               : 0;
  const uint64_t interpolating = route.EndsWithMeans() ? means : means + levels;
  return widened + std::max(interpolating, levels + stored);
}

}  // namespace dibkit::host
