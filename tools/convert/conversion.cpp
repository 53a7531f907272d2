// SPDX-License-Identifier: Apache-2.0
#include "convert/conversion.h"

#include "failure.h"

namespace dibkit::tool {

PagePlan PlanOf(const Conversion& conversion, const host::PageDescription& page) {
  if (!page.obstacle.empty()) {
    throw Failure(page.obstacle);
  }
  return conversion.plan(page);
}

}  // namespace dibkit::tool
