// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "dibkit/version.h"
#include "process.h"

namespace dibkit::test {
namespace {

TEST(CommandLine, TellsItsVersion) {
  const Outcome outcome = RunTool({"--version"});
  EXPECT_EQ(outcome.exitCode, 0);
  EXPECT_EQ(outcome.out, "dibkit " DIBKIT_VERSION_STRING "\n");
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
           {"resample", in, out},
           {"resample", "--dpi", "200", in},
           {"resample", "--dpi", "200", in, out, out},
           {"resample", "--dpi", "0", in, out},
           {"resample", "--dpi", "65536", in, out},
           {"resample", "--dpi", "-1", in, out},
           {"resample", "--dpi", "200.5", in, out},
           {"resample", "--dpi", "many", in, out},
           {"resample", "--dpi", "200", "--from-dpi", "0", in, out},
           {"resample", "--dpi", "200", "--from-dpi", "65536", in, out},
           {"resample", "--dpi", "200", "--threshold", "-1", in, out},
           {"resample", "--dpi", "200", "--threshold", "257", in, out},
           {"resample", "--dpi", "200", "--max-pixels", "0", in, out},
           {"resample", "--dpi", "200", "--max-pixels", "-5", in, out}}) {
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
  EXPECT_EQ(RunTool({"resample", "--dpi", "1", "--from-dpi", "1", in, out}).exitCode, 0);
  EXPECT_EQ(RunTool({"resample", "--dpi", "65535", "--from-dpi", "65535", in, out}).exitCode, 0);
  EXPECT_EQ(RunTool({"resample", "--dpi", "300", "--threshold", "0", in, out}).exitCode, 0);
  EXPECT_EQ(RunTool({"resample", "--dpi", "300", "--threshold", "256", in, out}).exitCode, 0);
}

TEST(CommandLine, QuietStandsBeforeOrBehindTheSubcommand) {
  const TemporaryDirectory directory;
  const std::string in = directory.Write("in.bmp", BitmapBuilder().Build());
  const std::string out = directory.Path("out.bmp");
  EXPECT_EQ(RunTool({"--quiet", "resample", "--dpi", "300", in, out}).exitCode, 0);
  EXPECT_EQ(RunTool({"resample", "--quiet", "--dpi", "300", in, out}).exitCode, 0);
  EXPECT_EQ(RunTool({"info", "--quiet", in}).exitCode, 0);
}

}  // namespace
}  // namespace dibkit::test
