// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "dibkit/version.h"
#include "process.h"

namespace dibkit::test {
namespace {

TEST(CommandLine, TellsItsVersion) {
  const Outcome outcome = RunTool({"--version"});
  EXPECT_EQ(outcome.exitCode, 0);
  EXPECT_EQ(outcome.out.substr(0, outcome.out.find('\n')), "dibkit " DIBKIT_VERSION_STRING);
  EXPECT_EQ(outcome.err, "");
}

TEST(CommandLine, HelpsOnStandardOutput) {
  for (const auto& arguments : std::vector<std::vector<std::string>>{
           {"--help"}, {"resample", "--help"}, {"info", "--help"}}) {
    const Outcome outcome = RunTool(arguments);
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_NE(outcome.out.find("Usage:"), std::string::npos);
    EXPECT_EQ(outcome.err, "");
  }
}

TEST(CommandLine, WrongUsageIsStatusTwoWithoutOutput) {
  const TemporaryDirectory directory;
  const std::string in = directory.Write("in.bmp", BitmapBuilder().Build());
  const std::string out = directory.Path("out.bmp");
  for (const auto& arguments : std::vector<std::vector<std::string>>{
           {},
           {"shrink"},
           {"info"},
           {"info", "--colour", in},
           {"resample", "-o", out, in},
           {"resample", "--dpi", "200", in},
           {"resample", "--dpi", "200", in, out},
           {"resample", "--dpi", "200", "-o", out, in, in + "2"},
           {"resample", "--dpi", "200", "-o", out},
           {"resample", "--dpi", "200", "-o", out, "--output-dir", directory.Path("d"), in},
           {"resample", "--dpi", "200", "-o", directory.Path("out.pgn"), in},
           {"resample", "--dpi", "0", "-o", out, in},
           {"resample", "--dpi", "65536", "-o", out, in},
           {"resample", "--dpi", "-1", "-o", out, in},
           {"resample", "--dpi", "200.5", "-o", out, in},
           {"resample", "--dpi", "many", "-o", out, in},
           {"resample", "--dpi", "200", "--from-dpi", "0", "-o", out, in},
           {"resample", "--dpi", "200", "--from-dpi", "65536", "-o", out, in},
           {"resample", "--dpi", "200", "--threshold", "-1", "-o", out, in},
           {"resample", "--dpi", "200", "--threshold", "257", "-o", out, in},
           {"resample", "--dpi", "200", "--max-pixels", "0", "-o", out, in},
           {"resample", "--dpi", "200", "--max-pixels", "-5", "-o", out, in}}) {
    const Outcome outcome = RunTool(arguments);
    EXPECT_EQ(outcome.exitCode, 2) << testing::PrintToString(arguments);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err.substr(0, 8), "dibkit: ");
    EXPECT_EQ(directory.Names(), std::vector<std::string>{"in.bmp"});
  }
}

TEST(CommandLine, TheLimitsOfTheNumbersAreAccepted) {
  const TemporaryDirectory directory;
  BitmapBuilder file;
  file.width = file.height = 1;
  const std::string in = directory.Write("in.bmp", file.Build());
  const std::string out = directory.Path("out.bmp");
  EXPECT_EQ(RunTool({"resample", "--dpi", "1", "--from-dpi", "1", "-fo", out, in}).exitCode, 0);
  EXPECT_EQ(RunTool({"resample", "--dpi", "65535", "--from-dpi", "65535", "-fo", out, in}).exitCode,
            0);
  EXPECT_EQ(RunTool({"resample", "--dpi", "300", "--threshold", "0", "-fo", out, in}).exitCode, 0);
  EXPECT_EQ(RunTool({"resample", "--dpi", "300", "--threshold", "256", "-fo", out, in}).exitCode,
            0);
}

TEST(CommandLine, QuietStandsBeforeOrBehindTheSubcommand) {
  const TemporaryDirectory directory;
  const std::string in = directory.Write("in.bmp", BitmapBuilder().Build());
  const std::string out = directory.Path("out.bmp");
  EXPECT_EQ(RunTool({"--quiet", "resample", "--dpi", "300", "-fo", out, in}).exitCode, 0);
  EXPECT_EQ(RunTool({"resample", "--quiet", "--dpi", "300", "-fo", out, in}).exitCode, 0);
  EXPECT_EQ(RunTool({"info", "--quiet", in}).exitCode, 0);
}

}  // namespace
}  // namespace dibkit::test
