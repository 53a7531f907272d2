// SPDX-License-Identifier: Apache-2.0
#include "command_line/help_text.h"

#include <algorithm>

namespace dibkit::tool {
namespace {

constexpr size_t kColumns = 80;
constexpr size_t kNameIndent = 2;
constexpr size_t kTextColumn = 26;

std::string NamesOf(const Option& option) {
  const std::string letter =
      option.letter == 0 ? std::string() : std::string("-") + option.letter + ", ";
  return letter + option.name + (option.value.empty() ? "" : " " + option.value);
}

}  // namespace

std::string Wrapped(const std::string& text, size_t indent, size_t column) {
  std::string lines;
  bool first = true;
  size_t at = 0;
  while (at < text.size()) {
    const size_t end = std::min(text.find_first_of(" \n", at), text.size());
    const size_t length = end - at;
    const bool breaks = at > 0 && text[at - 1] == '\n';
    if (!first && (breaks || column + 1 + length > kColumns)) {
      lines += '\n';
      lines += std::string(indent, ' ');
      column = indent;
    } else if (!first) {
      lines += ' ';
      ++column;
    }
    lines += text.substr(at, length);
    column += length;
    first = false;
    at = end + 1;
  }
  return lines;
}

std::string EntryList(const std::string& title, const std::vector<HelpEntry>& entries) {
  std::string list = title + ":\n";
  for (const HelpEntry& entry : entries) {
    std::string line = std::string(kNameIndent, ' ') + entry.name;
    // Two blanks at least keep name and text apart.
    if (line.size() + 2 > kTextColumn) {
      line += '\n';
      line += std::string(kTextColumn, ' ');
    } else {
      line.resize(kTextColumn, ' ');
    }
    list += line + Wrapped(entry.text, kTextColumn, kTextColumn) + "\n";
  }
  return list;
}

std::string OptionList(const OptionGroup& group) {
  std::vector<HelpEntry> entries;
  for (const Option& option : group.options) {
    entries.push_back({NamesOf(option), option.help});
  }
  return EntryList(group.title, entries);
}

}  // namespace dibkit::tool
