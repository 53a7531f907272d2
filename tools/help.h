// SPDX-License-Identifier: Apache-2.0
//
// dibkit help, --help and --version: what the command tells of itself.
#ifndef DIBKIT_TOOLS_HELP_H
#define DIBKIT_TOOLS_HELP_H

#include <string>
#include <vector>

#include "subcommand.h"

namespace dibkit::tool {

// Of the whole command.
std::string HelpText(const std::vector<Subcommand>& subcommands, const OptionGroup& common);

// Of one subcommand.
std::string HelpText(const Subcommand& subcommand, const OptionGroup& common);

// The version, and the file formats that are built in with their codecs.
std::string VersionText();

}  // namespace dibkit::tool

#endif  // DIBKIT_TOOLS_HELP_H
