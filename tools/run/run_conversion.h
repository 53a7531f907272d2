// SPDX-License-Identifier: Apache-2.0
//
// A conversion over all inputs that the command line names.
#ifndef DIBKIT_TOOLS_RUN_RUN_CONVERSION_H
#define DIBKIT_TOOLS_RUN_RUN_CONVERSION_H

#include <functional>
#include <string>

#include "command_line/arguments.h"
#include "convert/conversion.h"
#include "convert/conversion_options.h"

namespace dibkit::tool {

// What the options of a subcommand ask for.
using MakeConversionOf = std::function<Conversion(const ConversionOptions& options)>;

// Returns the exit code. `subcommand` is for messages; `make` may throw UsageError. Throws
// UsageError, Failure and FileError before any work has begun, and where the report cannot be
// written.
int RunConversion(const std::string& subcommand, const MakeConversionOf& make,
                  ConversionOptions options, const Arguments& arguments);

}  // namespace dibkit::tool

#endif  // DIBKIT_TOOLS_RUN_RUN_CONVERSION_H
