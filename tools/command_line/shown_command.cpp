// SPDX-License-Identifier: Apache-2.0
#include "command_line/shown_command.h"

#include <algorithm>
#include <cctype>

namespace dibkit::tool {
namespace {

bool IsPlain(char c) {
  constexpr const char* kHarmless = "_-+=:,./@%";
  // Bytes of other alphabets mean nothing to a shell.
  return std::isalnum(static_cast<unsigned char>(c)) != 0 || static_cast<signed char>(c) < 0 ||
         std::string(kHarmless).find(c) != std::string::npos;
}

std::string Quoted(const std::string& word) {
  if (!word.empty() && std::all_of(word.begin(), word.end(), IsPlain)) {
    return word;
  }
  std::string quoted = "'";
  for (const char c : word) {
    quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  }
  return quoted + "'";
}

}  // namespace

std::string ShownCommand(const std::string& subcommand, const std::vector<std::string>& options,
                         const std::vector<std::string>& rest) {
  std::string line = "dibkit " + subcommand;
  for (const auto& words : {options, rest}) {
    for (const std::string& word : words) {
      line += ' ';
      line += Quoted(word);
    }
  }
  return line;
}

}  // namespace dibkit::tool
