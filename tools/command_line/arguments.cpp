// SPDX-License-Identifier: Apache-2.0
//
// The only file that knows the option parser, which takes long to compile.
#include "command_line/arguments.h"

#include <CLI/CLI.hpp>
#include <algorithm>

#include "batch/terminal/escaped_name.h"
#include "command_line/nearest.h"

namespace dibkit::tool {
namespace {

using Words = std::vector<std::string>;

std::string NamesOf(const Option& option) {
  return option.letter == 0 ? option.name : std::string("-") + option.letter + "," + option.name;
}

void RequireOneValue(const Option& option, const Words& values) {
  if (values[0].empty()) {
    throw UsageError("the option " + option.name + " wants a value");
  }
  const auto other = std::find_if(values.begin(), values.end(),
                                  [&](const std::string& value) { return value != values[0]; });
  if (other != values.end()) {
    throw UsageError("the option " + option.name + " is given twice, as '" +
                     EscapedName(values[0]) + "' and as '" + EscapedName(*other) + "'");
  }
}

void AddFlag(CLI::App& app, const Option& option) {
  app.add_flag_callback(NamesOf(option), [&option] { option.take(""); })->disable_flag_override();
}

void AddValue(CLI::App& app, const Option& option) {
  const auto take = [&option](const Words& values) {
    RequireOneValue(option, values);
    option.take(values[0]);
    return true;
  };
  app.add_option(NamesOf(option), take)->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
}

[[noreturn]] void RefuseUnknown(const std::string& word, const std::vector<OptionGroup>& groups) {
  std::vector<std::string> names;
  for (const OptionGroup& group : groups) {
    for (const Option& option : group.options) {
      names.push_back(option.name);
    }
  }
  const std::string name = word.substr(0, word.find('='));
  throw UsageError("unknown option " + EscapedName(name) +
                   DidYouMean(name.starts_with("--") ? name : "-" + name, names));
}

// What the parser did not take: the operands, and options that do not exist. What stands behind
// "--" is an operand whatever it looks like.
Words OperandsOf(const Words& rest, const std::vector<OptionGroup>& groups) {
  const auto mark = std::find(rest.begin(), rest.end(), "--");
  Words operands(rest.begin(), mark);
  for (const std::string& word : operands) {
    if (word.size() > 1 && word[0] == '-') {
      RefuseUnknown(word, groups);
    }
  }
  if (mark != rest.end()) {
    operands.insert(operands.end(), mark + 1, rest.end());
  }
  return operands;
}

// The words that are left when the operands are taken out, in their order.
Words WithoutOperands(std::span<const std::string> words, const Words& operands) {
  Words others;
  auto next = operands.begin();
  for (const std::string& word : words) {
    if (next != operands.end() && word == *next) {
      ++next;
    } else if (word != "--") {
      others.push_back(word);
    }
  }
  return others;
}

// What the parser says begins with the option's names, "-o,--output: ..." or "--dpi: ...".
[[noreturn]] void RefuseValue(const std::string& message, bool isMissing) {
  const std::string names = message.substr(0, message.find_first_of(": "));
  const std::string name =
      names.substr(names.find("--") == std::string::npos ? 0 : names.find("--"));
  throw UsageError("the option " + name + (isMissing ? " wants a value" : " takes no value"));
}

// Words up to and with the first option that ends them all, such as --help.
std::span<const std::string> UpToEnd(std::span<const std::string> words,
                                     const std::vector<OptionGroup>& groups) {
  for (size_t i = 0; i < words.size() && words[i] != "--"; ++i) {
    for (const OptionGroup& group : groups) {
      for (const Option& option : group.options) {
        if (option.ends &&
            (words[i] == option.name || words[i] == std::string("-") + option.letter)) {
          return words.subspan(i, 1);
        }
      }
    }
  }
  return words;
}

}  // namespace

Arguments ReadArguments(std::span<const std::string> words,
                        const std::vector<OptionGroup>& groups) {
  CLI::App app;
  app.set_help_flag();
  app.allow_extras();
  for (const OptionGroup& group : groups) {
    for (const Option& option : group.options) {
      option.value.empty() ? AddFlag(app, option) : AddValue(app, option);
    }
  }
  const auto read = UpToEnd(words, groups);
  try {
    // The parser takes them from the back.
    app.parse(Words(read.rbegin(), read.rend()));
  } catch (const CLI::ArgumentMismatch& error) {
    RefuseValue(error.what(), std::string(error.what()).find("override") == std::string::npos);
  } catch (const CLI::ParseError& error) {
    throw UsageError(error.what());
  }
  Arguments arguments;
  arguments.operands = OperandsOf(app.remaining(), groups);
  arguments.options = WithoutOperands(read, arguments.operands);
  return arguments;
}

}  // namespace dibkit::tool
