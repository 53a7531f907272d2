// SPDX-License-Identifier: Apache-2.0
//
// Signals and the progress bar. Each test waits for a sign of the process before it sends anything.
#include <gtest/gtest.h>

#include <csignal>

#include "process.h"

namespace dibkit::test {
namespace {

using Names = std::vector<std::string>;

// A conversion to 900 million pixels: long enough to be interrupted on any machine.
Start LongConversion(const TemporaryDirectory& directory) {
  BitmapBuilder file;
  file.width = file.height = 3000;
  Start start;
  start.arguments = {"resample",
                     "--from-dpi",
                     "100",
                     "--dpi",
                     "1000",
                     "--max-pixels",
                     "1000000000",
                     "-o",
                     directory.Path("out.bmp"),
                     directory.Write("in.bmp", file.Build())};
  start.terminal = true;
  return start;
}

void ExpectInterrupted(int signal) {
  const TemporaryDirectory directory;
  Process process(LongConversion(directory));
  ASSERT_TRUE(process.WaitForTerminal(" %"));
  process.Signal(signal);
  const Outcome outcome = process.Wait();
  EXPECT_EQ(outcome.exitCode, 128 + signal);
  EXPECT_EQ(directory.Names(), Names{"in.bmp"});
  // A fast machine may have come to the writing of the result.
  EXPECT_NE(outcome.err.find(".bmp: interrupted\r\n"), std::string::npos) << outcome.err;
}

TEST(Interruption, ControlCEndsAConversionWithoutAFile) { ExpectInterrupted(SIGINT); }

TEST(Interruption, TerminationEndsAConversionWithoutAFile) { ExpectInterrupted(SIGTERM); }

TEST(Interruption, ASignalEndsTheWaitForStandardInput) {
  const TemporaryDirectory directory;
  Start start;
  start.arguments = {"resample", "--dpi", "200", "-o", directory.Path("out.bmp"), "-"};
  start.inputPipe = true;
  Process process(start);
  const Bytes file = BitmapBuilder().Build();
  process.Feed(Bytes(file.begin(), file.begin() + 20));
  process.WaitUntilFed();
  process.Signal(SIGTERM);
  const Outcome outcome = process.Wait();
  EXPECT_EQ(outcome.exitCode, 128 + SIGTERM);
  EXPECT_EQ(outcome.err, "dibkit: interrupted\n");
  EXPECT_TRUE(directory.Names().empty());
}

TEST(Progress, ATerminalSeesABarThatGoesAway) {
  const TemporaryDirectory directory;
  BitmapBuilder file;
  file.width = file.height = 200;
  Start start;
  start.arguments = {"resample",
                     "--dpi",
                     "300",
                     "-o",
                     directory.Path("out.bmp"),
                     directory.Write("in.bmp", file.Build())};
  start.terminal = true;
  const Outcome outcome = RunTool(start);
  EXPECT_EQ(outcome.exitCode, 0);
  EXPECT_NE(outcome.err.find("\r[" + std::string(50, '.') + "]  0 %"), std::string::npos);
  EXPECT_NE(outcome.err.find("\r[" + std::string(25, '#') + std::string(25, '.') + "] 50 %"),
            std::string::npos);
  ASSERT_GE(outcome.err.size(), 4U);
  EXPECT_EQ(outcome.err.substr(outcome.err.size() - 4), "\r\033[K");
}

TEST(Progress, QuietShowsNone) {
  const TemporaryDirectory directory;
  Start start;
  start.arguments = {"resample",
                     "--quiet",
                     "--dpi",
                     "300",
                     "-o",
                     directory.Path("out.bmp"),
                     directory.Write("in.bmp", BitmapBuilder().Build())};
  start.terminal = true;
  const Outcome outcome = RunTool(start);
  EXPECT_EQ(outcome.exitCode, 0);
  EXPECT_EQ(outcome.err, "");
}

}  // namespace
}  // namespace dibkit::test
