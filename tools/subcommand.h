// SPDX-License-Identifier: Apache-2.0
//
// What main and the subcommands share.
#ifndef DIBKIT_TOOLS_SUBCOMMAND_H
#define DIBKIT_TOOLS_SUBCOMMAND_H

#include <functional>
#include <string>
#include <vector>

#include "command_line/arguments.h"
#include "command_line/option.h"

namespace dibkit::tool {

// Options that every subcommand has.
struct CommonOptions {
  bool quiet = false;    // no progress, no remarks; errors still appear
  bool help = false;     // tell the help and do nothing
  bool version = false;  // tell the version and do nothing
};

struct Subcommand {
  std::string name;
  std::string summary;   // one sentence
  std::string operands;  // what stands behind the options in the help
  std::vector<OptionGroup> groups;
  std::vector<std::string> notes;     // paragraphs of the help behind the options
  std::vector<std::string> examples;  // command lines
  // Called once, after the options have got their values. Returns the exit status.
  std::function<int(const Arguments& arguments)> run;
};

// `common` is looked at when a subcommand runs, not before, and must live until then.
Subcommand MakeResample(const CommonOptions& common);
Subcommand MakePrepare(const CommonOptions& common);
Subcommand MakeNormalize(const CommonOptions& common);
Subcommand MakeTo24(const CommonOptions& common);
Subcommand MakeTo16(const CommonOptions& common);
Subcommand MakeQuantize(const CommonOptions& common);
Subcommand MakeGrey(const CommonOptions& common);
Subcommand MakeInfo(const CommonOptions& common);
Subcommand MakeReport();

}  // namespace dibkit::tool

#endif  // DIBKIT_TOOLS_SUBCOMMAND_H
