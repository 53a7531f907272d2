// SPDX-License-Identifier: Apache-2.0
#include "resample/reduction.h"

#include <algorithm>
#include <numeric>

#include "dibkit/host/resolution.h"

namespace dibkit::host {
namespace {

constexpr uint64_t kMostDpi = 65535;

// The ratio that is left is from / (side * dpi) on each axis; one dpi serves both.
struct Told {
  uint64_t x;
  uint64_t y;
  uint64_t dpi;
};

Told TellingOf(Dpi from, unsigned dpi, BlockSize block) {
  const Told told{uint64_t{from.x} * block.rows, uint64_t{from.y} * block.columns,
                  uint64_t{dpi} * block.columns * block.rows};
  const uint64_t divisor = std::gcd(std::gcd(told.x, told.y), told.dpi);
  return {told.x / divisor, told.y / divisor, told.dpi / divisor};
}

bool CanBeTold(const Told& told) { return std::max({told.x, told.y, told.dpi}) <= kMostDpi; }

}  // namespace

Reduction PlanReduction(PixelSize size, PelsPerMetre from, unsigned dpi, uint64_t maxPixels) {
  const Dpi axes{DotsPerInch(from.x), DotsPerInch(from.y)};
  Reduction plan;
  plan.block = {BlockSide(axes.x, dpi), BlockSide(axes.y, dpi)};
  Told told = TellingOf(axes, dpi, plan.block);
  if (!CanBeTold(told)) {
    // Axes of absurd and unequal resolutions: squares can always be told.
    plan.block.columns = plan.block.rows = std::min(plan.block.columns, plan.block.rows);
    told = TellingOf(axes, dpi, plan.block);
  }
  plan.from = {static_cast<unsigned>(told.x), static_cast<unsigned>(told.y)};
  plan.dpi = static_cast<unsigned>(told.dpi);
  plan.blocks = {(size.width + plan.block.columns - 1) / plan.block.columns,
                 (size.height + plan.block.rows - 1) / plan.block.rows};
  const PixelSize wanted = SizeOfConversion(size, from, dpi, maxPixels);
  const PixelSize made = SizeOfConversion(
      plan.blocks, {PelsPerMeter(plan.from.x), PelsPerMeter(plan.from.y)}, plan.dpi, maxPixels);
  // A block that the edge cuts short is left out where it would make one pixel more.
  plan.blocks.width -= made.width > wanted.width ? 1 : 0;
  plan.blocks.height -= made.height > wanted.height ? 1 : 0;
  return plan;
}

}  // namespace dibkit::host
