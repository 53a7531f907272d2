// SPDX-License-Identifier: Apache-2.0
#include "command_line/choice.h"

#include "batch/terminal/escaped_name.h"
#include "command_line/nearest.h"

namespace dibkit::tool {

void RefuseChoice(const std::string& option, const std::string& value,
                  const std::vector<std::string>& words) {
  throw UsageError(option + " takes one of " + Joined(words, ", ") + ", not '" +
                   EscapedName(value) + "'" + DidYouMean(value, words));
}

std::string Joined(const std::vector<std::string>& words, const std::string& separator) {
  std::string text;
  for (const std::string& word : words) {
    text += (text.empty() ? "" : separator) + word;
  }
  return text;
}

}  // namespace dibkit::tool
