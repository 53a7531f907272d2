// SPDX-License-Identifier: Apache-2.0
//
// What resampling makes of a page, told from its headers.
#ifndef DIBKIT_TOOLS_CONVERT_RESAMPLING_H
#define DIBKIT_TOOLS_CONVERT_RESAMPLING_H

#include <cstdint>
#include <string>

#include "convert/conversion.h"
#include "dibkit/host/resolution.h"

namespace dibkit::tool {

// Throws Failure and ImageError for a page that cannot be resampled so.
PagePlan PlanResampling(const host::PageDescription& page, const host::ResampleOptions& options);

// Likewise.
PagePlan PlanPreparing(const host::PageDescription& page, const host::PrepareOptions& options);

// Why no resampling at all can be done; empty when it can. `maxPixels` is what --max-pixels says.
std::string WhyNotResampled(const host::PageDescription& page, uint64_t maxPixels);

// A resolution as a file says it: "3000/10 x 300 per inch", "none".
std::string ExactText(const host::Resolution& resolution);
// One side of it: "3000/10", "300".
std::string ExactText(host::Rational value);
// "none", "inch", "centimetre", "metre".
const char* UnitName(host::ResolutionUnit unit);

}  // namespace dibkit::tool

#endif  // DIBKIT_TOOLS_CONVERT_RESAMPLING_H
