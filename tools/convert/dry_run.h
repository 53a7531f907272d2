// SPDX-License-Identifier: Apache-2.0
//
// --dry-run: what would be made.
#ifndef DIBKIT_TOOLS_CONVERT_DRY_RUN_H
#define DIBKIT_TOOLS_CONVERT_DRY_RUN_H

#include <vector>

#include "batch/files/plan.h"
#include "convert/conversion.h"
#include "convert/conversion_options.h"

namespace dibkit::tool {

// Reads the headers of all inputs and prints a line for each, and one for all. What would fail is
// told as when it does. Returns the exit code.
int TellPlan(const std::vector<PlannedFile>& plan, const Conversion& conversion,
             const ConversionOptions& options);

}  // namespace dibkit::tool

#endif  // DIBKIT_TOOLS_CONVERT_DRY_RUN_H
