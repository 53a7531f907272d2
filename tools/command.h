// SPDX-License-Identifier: Apache-2.0
//
// What main and the subcommands share.
#ifndef DIBKIT_TOOLS_COMMAND_H
#define DIBKIT_TOOLS_COMMAND_H

#include <functional>

namespace CLI {
class App;
}

namespace dibkit::tool {

// Options that every subcommand has.
struct CommonOptions {
  bool quiet = false;  // no progress, no remarks; errors still appear
};

// The subcommand that the command line chose; returns the exit code.
using Work = std::function<int()>;

// Each adds its subcommand to `app`; parsing then stores what to do in `work`. All references are
// used until `work` has run.
void AddInfo(CLI::App& app, const CommonOptions& common, Work& work);
void AddResample(CLI::App& app, const CommonOptions& common, Work& work);
void AddNormalize(CLI::App& app, Work& work);
void AddTo24(CLI::App& app, Work& work);
void AddTo16(CLI::App& app, Work& work);
void AddQuantize(CLI::App& app, Work& work);
void AddGrey(CLI::App& app, Work& work);

}  // namespace dibkit::tool

#endif  // DIBKIT_TOOLS_COMMAND_H
