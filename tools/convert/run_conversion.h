// SPDX-License-Identifier: Apache-2.0
//
// A conversion over all inputs that the command line names.
#ifndef DIBKIT_TOOLS_CONVERT_RUN_CONVERSION_H
#define DIBKIT_TOOLS_CONVERT_RUN_CONVERSION_H

#include "command_line/arguments.h"
#include "convert/conversion.h"
#include "convert/conversion_options.h"

namespace dibkit::tool {

// Returns the exit code. `subcommand` is for messages. Throws UsageError, Failure and FileError
// before any work has begun, and where the report cannot be written.
int RunConversion(const std::string& subcommand, const Conversion& conversion,
                  ConversionOptions options, const Arguments& arguments);

}  // namespace dibkit::tool

#endif  // DIBKIT_TOOLS_CONVERT_RUN_CONVERSION_H
