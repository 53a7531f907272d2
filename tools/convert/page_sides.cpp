// SPDX-License-Identifier: Apache-2.0
#include "convert/page_sides.h"

namespace dibkit::tool {

void DescribeBefore(PageSide& side, host::ImageFormat format, const host::PageDescription& page,
                    const PagePlan& plan) {
  side.format = host::FormatName(format);
  side.width = page.width;
  side.height = page.height;
  side.bits = page.storedBits;
  side.dpiX = plan.fromDpiX;
  side.dpiY = plan.fromDpiY;
}

void DescribeAfter(PageSide& side, host::ImageFormat format, const host::Page& page) {
  side.format = host::FormatName(format);
  side.width = page.Width();
  side.height = page.Height();
  side.bits = page.BitCount();
  side.dpiX = page.DpiX();
  side.dpiY = page.DpiY();
}

}  // namespace dibkit::tool
