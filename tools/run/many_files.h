// SPDX-License-Identifier: Apache-2.0
//
// The work on all files of a plan.
#ifndef DIBKIT_TOOLS_RUN_MANY_FILES_H
#define DIBKIT_TOOLS_RUN_MANY_FILES_H

#include <vector>

#include "batch/files/plan.h"
#include "convert/conversion.h"
#include "convert/conversion_options.h"

namespace dibkit::tool {

// Makes them on as many threads as the options say, with progress, report and a summary of several.
// Returns the exit code. Throws where the report cannot be written.
int RunFilesOf(const std::vector<PlannedFile>& plan, const Conversion& conversion,
               const ConversionOptions& options);

}  // namespace dibkit::tool

#endif  // DIBKIT_TOOLS_RUN_MANY_FILES_H
