// SPDX-License-Identifier: Apache-2.0
//
// Signals and the progress bar. Each test waits for a sign of the process before it sends anything.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <thread>

#include "page_folder.h"

namespace dibkit::test {
namespace {

using Arguments = std::vector<std::string>;
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

// ---- many files
// ----------------------------------------------------------------------------------

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kPromptly{100};
// What a busy machine may add.
const std::chrono::milliseconds kForTheMachine{IsSanitized() ? 900 : 200};

// Pages of which each takes a few tenths of a second.
void MakeLongPages(const TemporaryDirectory& directory, int count) {
  std::filesystem::create_directory(directory.Path("scans"));
  for (int i = 0; i < count; ++i) {
    BitmapBuilder page;
    page.width = 1000 + i;
    page.height = 1000;
    directory.Write("scans/" + std::to_string(i) + ".bmp", page.Build());
  }
}

Arguments LongRun(const TemporaryDirectory& directory, const std::string& out) {
  return {"resample",
          "--dpi",
          "1500",
          "--output-dir",
          out,
          "--report",
          directory.Path("report"),
          "--recursive",
          directory.Path("scans")};
}

// Waits until a page has arrived in `folder`.
void WaitForPage(const std::string& folder) {
  const auto deadline = Clock::now() + std::chrono::seconds(30);
  const auto arrived = [&] {
    std::error_code none;
    for (const auto& entry : std::filesystem::directory_iterator(folder, none)) {
      if (entry.path().extension() == ".bmp") {
        return true;
      }
    }
    return false;
  };
  while (!arrived() && Clock::now() < deadline) {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
}

size_t CountOf(const std::vector<nlohmann::json>& report, const std::string& status) {
  return static_cast<size_t>(std::count_if(
      report.begin(), report.end(), [&](const auto& line) { return line.at("status") == status; }));
}

TEST(Interruption, ARunOverManyFilesStopsPromptlyAndIsTakenUpAgain) {
  const TemporaryDirectory directory;
  MakeLongPages(directory, 6);
  for (const int signal : {SIGINT, SIGTERM}) {
    std::filesystem::remove_all(directory.Path("out"));
    std::filesystem::remove(directory.Path("report"));
    Start start;
    start.arguments = LongRun(directory, directory.Path("out"));
    start.arguments.insert(start.arguments.end(), {"--jobs", "2"});
    Process process(start);
    WaitForPage(directory.Path("out"));
    const auto begin = Clock::now();
    process.Signal(signal);
    const Outcome outcome = process.Wait();
    EXPECT_LT(Clock::now() - begin, kPromptly + kForTheMachine);
    EXPECT_EQ(outcome.exitCode, 128 + signal);
    EXPECT_NE(outcome.err.find("dibkit: interrupted\n"), std::string::npos) << outcome.err;
    EXPECT_NE(outcome.err.find(" not done\n"), std::string::npos) << outcome.err;
    // What is there is whole, and told as done; what was in work is told too.
    const auto files = FilesBelow(directory.Path("out"));
    const auto report = ReadReport(directory.Path("report"));
    EXPECT_GE(files.size(), 1U);
    EXPECT_LT(files.size(), 6U);
    EXPECT_EQ(CountOf(report, "done"), files.size());
    EXPECT_GE(CountOf(report, "interrupted"), 1U);
    for (const auto& [name, bytes] : files) {
      EXPECT_TRUE(name.ends_with(".bmp")) << name;
    }

    start.arguments.push_back("--skip-existing");
    EXPECT_EQ(RunTool(start).exitCode, 0);
    EXPECT_EQ(RunTool({"report", directory.Path("report")}).exitCode, 0);
  }
  ASSERT_EQ(RunTool(LongRun(directory, directory.Path("whole"))).exitCode, 0);
  EXPECT_EQ(FilesBelow(directory.Path("out")), FilesBelow(directory.Path("whole")));
}

// At any moment: nothing half is ever left.
TEST(Interruption, LeavesNoHalfFileAtAnyMoment) {
  const TemporaryDirectory directory;
  MakeLongPages(directory, 3);
  ASSERT_EQ(RunTool(LongRun(directory, directory.Path("whole"))).exitCode, 0);
  const auto whole = FilesBelow(directory.Path("whole"));
  for (int milliseconds = 0; milliseconds < 600; milliseconds += 60) {
    std::filesystem::remove_all(directory.Path("out"));
    Start start;
    start.arguments = LongRun(directory, directory.Path("out"));
    Process process(start);
    std::this_thread::sleep_for(std::chrono::milliseconds(20 + milliseconds));
    process.Signal(SIGTERM);
    const int code = process.Wait().exitCode;
    EXPECT_TRUE(code == 0 || code == 128 + SIGTERM) << code;
    for (const auto& [name, bytes] : FilesBelow(directory.Path("out"))) {
      ASSERT_TRUE(whole.contains(name)) << name;
      EXPECT_EQ(bytes, whole.at(name));
    }
  }
}

// Conversions without a callback, too.
TEST(Interruption, EverySubcommandStopsPromptly) {
  const TemporaryDirectory directory;
  BitmapBuilder file;
  file.bitCount = 24;
  file.width = file.height = 8000;
  const std::string in = directory.Write("in.bmp", file.Build());
  for (const Arguments& subcommand :
       {Arguments{"to16"}, Arguments{"quantize"}, Arguments{"grey", "--rule", "minmax"}}) {
    Start start;
    start.arguments = subcommand;
    start.arguments.insert(start.arguments.end(), {"-o", directory.Path("out.bmp"), in});
    Process process(start);
    std::this_thread::sleep_for(std::chrono::milliseconds(IsSanitized() ? 600 : 60));
    const auto begin = Clock::now();
    process.Signal(SIGINT);
    const Outcome outcome = process.Wait();
    EXPECT_LT(Clock::now() - begin, kPromptly + kForTheMachine) << subcommand[0];
    EXPECT_TRUE(outcome.exitCode == 128 + SIGINT || outcome.exitCode == 0) << outcome.exitCode;
    std::filesystem::remove(directory.Path("out.bmp"));
    EXPECT_EQ(directory.Names(), Names{"in.bmp"});
  }
}

TEST(Interruption, AReaderThatLeavesEndsItWithoutAWord) {
  const TemporaryDirectory directory;
  const std::string in = directory.Write("in.bmp", BitmapBuilder().Build());
  const std::string call = std::string(DIBKIT_TOOL) + " ";
  for (const std::string& rest : {"info " + in, "normalize -o - " + in, std::string("--help")}) {
    const std::string script = "{ sleep 0.1; " + call + rest + " 2>" + directory.Path("err") +
                               "; echo $? >" + directory.Path("code") + "; } | true";
    ASSERT_EQ(std::system(script.c_str()), 0);  // NOLINT(concurrency-mt-unsafe)
    EXPECT_EQ(ReadFile(directory.Path("code")), (Bytes{'1', '4', '1', '\n'}));
    EXPECT_TRUE(ReadFile(directory.Path("err")).empty());
    std::filesystem::remove(directory.Path("code"));
  }
}

// ---- progress
// ------------------------------------------------------------------------------------

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
