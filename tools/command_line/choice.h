// SPDX-License-Identifier: Apache-2.0
//
// Options whose value is one of a few words.
#ifndef DIBKIT_TOOLS_COMMAND_LINE_CHOICE_H
#define DIBKIT_TOOLS_COMMAND_LINE_CHOICE_H

#include <string>
#include <utility>
#include <vector>

#include "command_line/option.h"

namespace dibkit::tool {

// Throws the UsageError for a `value` that is not among `words`.
[[noreturn]] void RefuseChoice(const std::string& option, const std::string& value,
                               const std::vector<std::string>& words);

// The words with a bar between them, as the help shows them.
std::string Joined(const std::vector<std::string>& words, const std::string& separator);

template <typename Value>
using Choices = std::vector<std::pair<std::string, Value>>;

// The help shows `choices`; `aliases` are taken too.
template <typename Value, typename Into>
Option Choice(const std::string& name, const std::string& help, const Choices<Value>& choices,
              Into& into, const Choices<Value>& aliases = {}) {
  std::vector<std::string> words;
  for (const auto& [word, value] : choices) {
    words.push_back(word);
  }
  Choices<Value> all = choices;
  all.insert(all.end(), aliases.begin(), aliases.end());
  return {name, 0, Joined(words, "|"), help, [&into, name, all, words](const std::string& value) {
            for (const auto& [word, meaning] : all) {
              if (word == value) {
                into = meaning;
                return;
              }
            }
            RefuseChoice(name, value, words);
          }};
}

}  // namespace dibkit::tool

#endif  // DIBKIT_TOOLS_COMMAND_LINE_CHOICE_H
