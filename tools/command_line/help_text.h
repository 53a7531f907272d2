// SPDX-License-Identifier: Apache-2.0
//
// How the help is laid out: lines of 80 columns at most, to be read on a terminal or aloud.
#ifndef DIBKIT_TOOLS_COMMAND_LINE_HELP_TEXT_H
#define DIBKIT_TOOLS_COMMAND_LINE_HELP_TEXT_H

#include <string>
#include <vector>

#include "command_line/option.h"

namespace dibkit::tool {

// `text` broken between words; every line but the first is indented by `indent` columns, the first
// begins at column `column`. A line feed in `text` breaks too. Ends without a line feed.
std::string Wrapped(const std::string& text, size_t indent, size_t column = 0);

// "  name  text" with the text of all entries in one column.
struct HelpEntry {
  std::string name;
  std::string text;
};
std::string EntryList(const std::string& title, const std::vector<HelpEntry>& entries);

// The options with their names, values and sentences.
std::string OptionList(const OptionGroup& group);

}  // namespace dibkit::tool

#endif  // DIBKIT_TOOLS_COMMAND_LINE_HELP_TEXT_H
