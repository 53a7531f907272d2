// SPDX-License-Identifier: Apache-2.0
#include "command_line/arguments.h"

#include <map>

#include "batch/terminal/escaped_name.h"
#include "command_line/nearest.h"

namespace dibkit::tool {
namespace {

class Reader {
 public:
  Reader(std::span<const std::string> words, const std::vector<OptionGroup>& groups)
      : words_(words) {
    for (const OptionGroup& group : groups) {
      for (const Option& option : group.options) {
        options_.push_back(&option);
      }
    }
  }

  Arguments Read() {
    while (at_ < words_.size() && !ended_) {
      const size_t begin = at_;
      const std::string& word = words_[at_++];
      if (word == "--") {
        Append(arguments_.operands, at_, words_.size());
        break;
      }
      if (word.size() < 2 || word[0] != '-') {
        arguments_.operands.push_back(word);
        continue;
      }
      if (word[1] == '-') {
        ReadLong(word);
      } else {
        ReadLetters(word);
      }
      Append(arguments_.options, begin, at_);
    }
    return std::move(arguments_);
  }

 private:
  void Append(std::vector<std::string>& to, size_t begin, size_t end) const {
    const auto part = words_.subspan(begin, end - begin);
    to.insert(to.end(), part.begin(), part.end());
  }

  void ReadLong(const std::string& word) {
    const size_t equals = word.find('=');
    const std::string name = word.substr(0, equals);
    const Option* option = nullptr;
    for (const Option* candidate : options_) {
      option = candidate->name == name ? candidate : option;
    }
    if (option == nullptr) {
      RefuseUnknown(name, name);
    }
    if (equals == std::string::npos) {
      Take(*option, name, option->value.empty() ? "" : NextWord(name));
    } else if (option->value.empty()) {
      throw UsageError("the option " + name + " takes no value");
    } else {
      Take(*option, name, word.substr(equals + 1));
    }
  }

  void ReadLetters(const std::string& word) {
    for (size_t i = 1; i < word.size() && !ended_; ++i) {
      const std::string name = std::string("-") + word[i];
      const Option* option = nullptr;
      for (const Option* candidate : options_) {
        option = candidate->letter == word[i] ? candidate : option;
      }
      if (option == nullptr) {
        RefuseUnknown(word.size() > 2 ? word : name, "-" + word);
      }
      if (!option->value.empty()) {
        Take(*option, name, i + 1 < word.size() ? word.substr(i + 1) : NextWord(name));
        return;
      }
      Take(*option, name, "");
    }
  }

  [[noreturn]] void RefuseUnknown(const std::string& name, const std::string& meant) const {
    std::vector<std::string> names;
    for (const Option* option : options_) {
      names.push_back(option->name);
    }
    throw UsageError("unknown option " + EscapedName(name) + DidYouMean(meant, names));
  }

  const std::string& NextWord(const std::string& name) {
    if (at_ == words_.size()) {
      throw UsageError("the option " + name + " wants a value");
    }
    return words_[at_++];
  }

  void Take(const Option& option, const std::string& name, const std::string& value) {
    if (!option.value.empty() && value.empty()) {
      throw UsageError("the option " + name + " wants a value");
    }
    const auto [earlier, first] = taken_.emplace(&option, value);
    if (!first && earlier->second != value) {
      throw UsageError("the option " + name + " is given twice, as '" +
                       EscapedName(earlier->second) + "' and as '" + EscapedName(value) + "'");
    }
    option.take(value);
    ended_ = option.ends;
  }

  std::span<const std::string> words_;
  std::vector<const Option*> options_;
  size_t at_ = 0;
  bool ended_ = false;
  Arguments arguments_;
  std::map<const Option*, std::string> taken_;
};

}  // namespace

Arguments ReadArguments(std::span<const std::string> words,
                        const std::vector<OptionGroup>& groups) {
  return Reader(words, groups).Read();
}

}  // namespace dibkit::tool
