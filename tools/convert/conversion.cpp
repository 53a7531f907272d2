// SPDX-License-Identifier: Apache-2.0
#include "convert/conversion.h"

#include <limits>
#include <string>

#include "convert/cost.h"
#include "dibkit/host/pixel_limit.h"
#include "failure.h"

namespace dibkit::tool {
namespace {

// More than that is no matter of memory that may become free.
void CheckBlock(const char* what, host::PixelSize size, unsigned bits) {
  if (ImageBytes(size, bits) > std::numeric_limits<uint32_t>::max()) {
    throw Failure(std::string("the ") + what + " of " + std::to_string(size.width) + " x " +
                  std::to_string(size.height) +
                  " pixels would need more bytes than one block can hold");
  }
}

}  // namespace

PagePlan PlanOf(const Conversion& conversion, const host::PageDescription& page,
                uint64_t maxPixels) {
  if (!page.obstacle.empty()) {
    throw Failure(page.obstacle);
  }
  host::CheckPixels(page.width, page.height, maxPixels);
  CheckBlock("image", {page.width, page.height}, page.bitCount);
  const PagePlan plan = conversion.plan(page);
  CheckBlock("result", {plan.width, plan.height}, plan.bits);
  return plan;
}

PagePlan InFormat(PagePlan plan, host::ImageFormat format) {
  if (plan.keepsDepth && plan.bits == 16 && format != host::ImageFormat::kBmp) {
    plan.bits = 24;
    plan.bytes += ImageBytes({plan.width, plan.height}, plan.bits);
  }
  return plan;
}

}  // namespace dibkit::tool
