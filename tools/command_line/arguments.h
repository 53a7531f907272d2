// SPDX-License-Identifier: Apache-2.0
//
// The words behind a subcommand into options and inputs.
#ifndef DIBKIT_TOOLS_COMMAND_LINE_ARGUMENTS_H
#define DIBKIT_TOOLS_COMMAND_LINE_ARGUMENTS_H

#include <span>
#include <string>
#include <vector>

#include "command_line/option.h"

namespace dibkit::tool {

struct Arguments {
  std::vector<std::string> operands;  // the words that are no option's
  std::vector<std::string> options;   // the others, as they stand
};

// Hands each option its value and returns the words as they are and in their order: nothing in them
// is expanded. An option stands anywhere, as --name VALUE, --name=VALUE, -n VALUE or
// -nVALUE, flags of one letter together as -qf; "-" is a word like any other, and so is everything
// behind "--". Throws UsageError for an option that does not exist, lacks its value, has one too
// many, or is given twice with different values.
Arguments ReadArguments(std::span<const std::string> words, const std::vector<OptionGroup>& groups);

}  // namespace dibkit::tool

#endif  // DIBKIT_TOOLS_COMMAND_LINE_ARGUMENTS_H
