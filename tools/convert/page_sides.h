// SPDX-License-Identifier: Apache-2.0
//
// A page before and after its conversion, for the report.
#ifndef DIBKIT_TOOLS_CONVERT_PAGE_SIDES_H
#define DIBKIT_TOOLS_CONVERT_PAGE_SIDES_H

#include "batch/report/page_record.h"
#include "convert/conversion.h"

namespace dibkit::tool {

// Fills `side`, but for its path, with what the headers told.
void DescribeBefore(PageSide& side, host::ImageFormat format, const host::PageDescription& page,
                    const PagePlan& plan);

// Fills `side`, but for its path, with what was made.
void DescribeAfter(PageSide& side, host::ImageFormat format, const host::Page& page);

}  // namespace dibkit::tool

#endif  // DIBKIT_TOOLS_CONVERT_PAGE_SIDES_H
