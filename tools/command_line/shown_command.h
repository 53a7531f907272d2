// SPDX-License-Identifier: Apache-2.0
//
// A command line as it would be typed.
#ifndef DIBKIT_TOOLS_COMMAND_LINE_SHOWN_COMMAND_H
#define DIBKIT_TOOLS_COMMAND_LINE_SHOWN_COMMAND_H

#include <string>
#include <vector>

namespace dibkit::tool {

// "dibkit SUBCOMMAND OPTIONS REST", with quotes around words that a shell would not take as they
// are.
std::string ShownCommand(const std::string& subcommand, const std::vector<std::string>& options,
                         const std::vector<std::string>& rest);

}  // namespace dibkit::tool

#endif  // DIBKIT_TOOLS_COMMAND_LINE_SHOWN_COMMAND_H
