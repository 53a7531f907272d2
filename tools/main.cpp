// SPDX-License-Identifier: Apache-2.0
//
// The command dibkit: reads the command line and runs one subcommand.
#include <CLI/CLI.hpp>
#include <cstdio>

#include "command.h"
#include "dibkit/version.h"
#include "failure.h"
#include "signals.h"

using namespace dibkit::tool;

namespace {

// CLI11 has an exit code for each kind of error; here they are all wrong usage.
int ReportParseResult(const CLI::App& app, const CLI::ParseError& result) {
  if (result.get_exit_code() == 0) {
    return app.exit(result);
  }
  std::fprintf(stderr, "dibkit: %s\nRun dibkit --help for the usage.\n", result.what());
  return EXIT_CODE_USAGE;
}

int Run(int argc, char** argv) {
  CommonOptions common;
  Work work;
  CLI::App app("Raster operations on Windows bitmap files", "dibkit");
  app.set_version_flag("--version", "dibkit " DIBKIT_VERSION_STRING);
  app.add_flag("--quiet", common.quiet, "No progress and no remarks on standard error");
  app.require_subcommand(1);
  app.fallthrough();
  AddResample(app, common, work);
  AddNormalize(app, work);
  AddTo24(app, work);
  AddTo16(app, work);
  AddQuantize(app, work);
  AddGrey(app, work);
  AddInfo(app, common, work);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& result) {
    return ReportParseResult(app, result);
  }
  return work();
}

}  // namespace

int main(int argc, char** argv) {
  CatchSignals();
  return Guard("", [&] { return Run(argc, argv); });
}
