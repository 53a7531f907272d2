// SPDX-License-Identifier: Apache-2.0
//
// The options of a subcommand: what the parser reads and the help tells.
#ifndef DIBKIT_TOOLS_COMMAND_LINE_OPTION_H
#define DIBKIT_TOOLS_COMMAND_LINE_OPTION_H

#include <functional>
#include <string>
#include <vector>

#include "batch/usage_error.h"

namespace dibkit::tool {

struct Option {
  std::string name;   // "--dpi"
  char letter;        // 'o' where -o is the same option, otherwise 0
  std::string value;  // what its value is called in the help; empty: it takes none
  std::string help;   // sentences
  // Keeps the value ("" where there is none); throws UsageError.
  std::function<void(const std::string& value)> take;
  bool ends = false;  // what stands behind it is not looked at
};

struct OptionGroup {
  std::string title;
  std::vector<Option> options;
};

// An option that is there or not.
inline Option Flag(const std::string& name, char letter, const std::string& help, bool& into) {
  return {name, letter, "", help, [&into](const std::string&) { into = true; }};
}

// An option whose value is kept as it is.
inline Option Text(const std::string& name, char letter, const std::string& value,
                   const std::string& help, std::string& into) {
  return {name, letter, value, help, [&into](const std::string& text) { into = text; }};
}

}  // namespace dibkit::tool

#endif  // DIBKIT_TOOLS_COMMAND_LINE_OPTION_H
