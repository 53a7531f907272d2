// SPDX-License-Identifier: Apache-2.0
//
// The command dibkit: finds the subcommand, reads its options and runs it.
#include <algorithm>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "batch/jobs/interruption.h"
#include "batch/terminal/escaped_name.h"
#include "batch/terminal/messages.h"
#include "batch/usage_error.h"
#include "command_line/nearest.h"
#include "failure.h"
#include "help.h"
#include "standard_output.h"
#include "subcommand.h"

namespace dibkit::tool {
namespace {

using Words = std::span<const std::string>;

OptionGroup CommonGroup(CommonOptions& common) {
  OptionGroup group{
      "General",
      {Flag("--quiet", 'q', "Shows no progress and no remarks; errors still appear.", common.quiet),
       Flag("--help", 'h', "Tells this help.", common.help),
       Flag("--version", 'V', "Tells the version and the file formats that are built in.",
            common.version)}};
  group.options[1].ends = true;
  group.options[2].ends = true;
  return group;
}

class Command {
 public:
  Command()
      : group_(CommonGroup(common_)),
        subcommands_{MakePrepare(common_), MakeResample(common_), MakeNormalize(common_),
                     MakeTo24(common_),    MakeTo16(common_),     MakeQuantize(common_),
                     MakeGrey(common_),    MakeInfo(common_),     MakeReport()} {}

  int Run(Words words) {
    const auto name = std::find_if(words.begin(), words.end(),
                                   [](const std::string& word) { return word[0] != '-'; });
    const auto before = static_cast<size_t>(name - words.begin());
    const Arguments leading = ReadArguments(words.first(before), {group_});
    if (TellsOfItself([this] { return HelpText(subcommands_, group_); })) {
      return EXIT_CODE_DONE;
    }
    if (name == words.end() || !leading.operands.empty()) {
      throw UsageError("there is no subcommand; the commonest is resample");
    }
    return *name == "help" ? RunHelp(words.subspan(before + 1))
                           : RunSubcommand(*name, words.subspan(before + 1));
  }

  // The subcommand whose help to name when something is wrong; empty before there is one.
  const std::string& Current() const { return current_; }

 private:
  int RunSubcommand(const std::string& name, Words words) {
    const Subcommand& subcommand = Find(name);
    current_ = name;
    std::vector<OptionGroup> groups = subcommand.groups;
    groups.push_back(group_);
    const Arguments arguments = ReadArguments(words, groups);
    if (TellsOfItself([&] { return HelpText(subcommand, group_); })) {
      return EXIT_CODE_DONE;
    }
    return subcommand.run(arguments);
  }

  int RunHelp(Words words) {
    const Arguments arguments = ReadArguments(words, {group_});
    if (arguments.operands.size() > 1) {
      throw UsageError("help takes one subcommand");
    }
    if (arguments.operands.empty() || arguments.operands[0] == "help") {
      Print(HelpText(subcommands_, group_));
    } else {
      Print(HelpText(Find(arguments.operands[0]), group_));
    }
    return EXIT_CODE_DONE;
  }

  const Subcommand& Find(const std::string& name) const {
    std::vector<std::string> names{"help"};
    for (const Subcommand& subcommand : subcommands_) {
      if (subcommand.name == name) {
        return subcommand;
      }
      names.push_back(subcommand.name);
    }
    throw UsageError("unknown subcommand " + EscapedName(name) + DidYouMean(name, names));
  }

  bool TellsOfItself(const std::function<std::string()>& help) const {
    if (common_.help || common_.version) {
      Print(common_.help ? help() : VersionText());
    }
    return common_.help || common_.version;
  }

  CommonOptions common_;
  OptionGroup group_;
  std::vector<Subcommand> subcommands_;
  std::string current_;
};

int Run(const std::vector<std::string>& words) {
  Command command;
  try {
    return command.Run(words);
  } catch (const UsageError& error) {
    Message(std::string("dibkit: ") + error.what());
    const std::string& current = command.Current();
    Message("Run dibkit " + current + (current.empty() ? "" : " ") + "--help for the usage.");
    return EXIT_CODE_USAGE;
  }
}

}  // namespace
}  // namespace dibkit::tool

int main(int argc, char** argv) {
  using namespace dibkit::tool;
  WatchForSignals();
  const std::vector<std::string> words(argv + std::min(argc, 1), argv + argc);
  return Guard("", [&] { return Run(words); });
}
