// SPDX-License-Identifier: Apache-2.0
//
// Folders and lists of pages in one call.
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>

#include "page_folder.h"

namespace dibkit::test {
namespace {

namespace fs = std::filesystem;
using Arguments = std::vector<std::string>;

class ManyFiles : public testing::Test {
 protected:
  static constexpr int kPages = 12;

  void SetUp() override { MakePages(directory_, "scans", kPages); }

  std::string Path(const std::string& name) const { return directory_.Path(name); }

  // Resamples the folder into `out`.
  Outcome Run(const std::string& out, const Arguments& options = {},
              const Arguments& inputs = {}) const {
    Arguments arguments{"resample", "--dpi", "200", "--output-dir", Path(out)};
    arguments.insert(arguments.end(), options.begin(), options.end());
    if (inputs.empty()) {
      arguments.insert(arguments.end(), {"--recursive", Path("scans")});
    }
    arguments.insert(arguments.end(), inputs.begin(), inputs.end());
    return RunTool(arguments);
  }

  TemporaryDirectory directory_;
};

TEST_F(ManyFiles, AFolderIsMirrored) {
  const Outcome outcome = Run("out");
  EXPECT_EQ(outcome.exitCode, 0);
  EXPECT_EQ(outcome.out, "");
  EXPECT_EQ(outcome.err, "dibkit: 12 files done\n");
  const auto in = FilesBelow(Path("scans"));
  const auto out = FilesBelow(Path("out"));
  ASSERT_EQ(out.size(), in.size());
  for (const auto& [name, bytes] : in) {
    ASSERT_TRUE(out.contains(name)) << name;
    ASSERT_EQ(RunTool({"resample", "--dpi", "200", "-fo", Path("one.bmp"), Path("scans/" + name)})
                  .exitCode,
              0);
    EXPECT_EQ(out.at(name), ReadFile(Path("one.bmp")));
  }
}

TEST_F(ManyFiles, AFolderWantsRecursive) {
  const Outcome outcome = Run("out", {}, {Path("scans")});
  EXPECT_EQ(outcome.exitCode, 2);
  EXPECT_NE(outcome.err.find("--recursive"), std::string::npos) << outcome.err;
  EXPECT_FALSE(fs::exists(Path("out")));
}

TEST_F(ManyFiles, AnyNumberOfJobsMakesTheSameBytes) {
  ASSERT_EQ(Run("one", {"--jobs", "1"}).exitCode, 0);
  const auto one = FilesBelow(Path("one"));
  for (const char* jobs : {"2", "7", "1024"}) {
    ASSERT_EQ(Run(std::string("jobs") + jobs, {"--jobs", jobs}).exitCode, 0);
    EXPECT_EQ(FilesBelow(Path(std::string("jobs") + jobs)), one);
  }
}

TEST_F(ManyFiles, AListNamesInputs) {
  std::string lines;
  std::string zeros;
  for (const auto& [name, bytes] : FilesBelow(Path("scans"))) {
    lines += Path("scans/" + name) + "\n";
    zeros += Path("scans/" + name) + '\0';
  }
  const std::string odd = directory_.Write("scans/li\nne.bmp", BitmapBuilder().Build());
  zeros += odd;
  directory_.Write("lines", Bytes(lines.begin(), lines.end()));
  directory_.Write("zeros", Bytes(zeros.begin(), zeros.end()));
  EXPECT_EQ(Run("out", {"--files-from", Path("lines")}, {odd}).err, "dibkit: 13 files done\n");
  EXPECT_EQ(Run("out0", {"--null", "--files-from", Path("zeros")}, {odd}).err,
            "dibkit: 13 files done\n");
  EXPECT_EQ(FilesBelow(Path("out")).size(), 13U);
  Start start;
  start.arguments = {"normalize", "-q", "--output-dir", Path("stdin"), "--files-from", "-"};
  start.inputPath = Path("lines");
  EXPECT_EQ(RunTool(start).exitCode, 0);
  EXPECT_EQ(FilesBelow(Path("stdin")).size(), 12U);
}

TEST_F(ManyFiles, AFailureIsToldAndTheOthersAreMade) {
  const std::string bad = directory_.Write("scans/page-01.bmp", Bytes{'B', 'M'});
  const Outcome outcome = Run("out", {"--jobs", "1"});
  EXPECT_EQ(outcome.exitCode, 1);
  EXPECT_EQ(outcome.err, "dibkit: " + bad +
                             ": the file ends inside its headers, after 2 bytes\n"
                             "dibkit: 11 files done, 1 failed\n");
  EXPECT_EQ(FilesBelow(Path("out")).size(), 11U);
  EXPECT_EQ(Run("quiet", {"-q"}).err,
            "dibkit: " + bad + ": the file ends inside its headers, after 2 bytes\n");
}

TEST_F(ManyFiles, FailFastStopsAtTheFirstFailure) {
  directory_.Write("scans/inner/most/page-00.bmp", Bytes{'B', 'M'});
  const Outcome outcome = Run("out", {"--jobs", "1", "--fail-fast"});
  EXPECT_EQ(outcome.exitCode, 1);
  EXPECT_NE(outcome.err.find("dibkit: 0 files done, 1 failed, 11 not done\n"), std::string::npos)
      << outcome.err;
  EXPECT_TRUE(FilesBelow(Path("out")).empty());
}

// The run as a whole is worth another try only where each of its failures is.
TEST_F(ManyFiles, FailuresWorthAnotherTryAreToldByTheStatus) {
  if (IsSanitized()) {
    GTEST_SKIP() << "a sanitizer needs the address space for itself";
  }
  BitmapBuilder large;
  large.bitCount = 1;
  large.width = large.height = 12'000;
  directory_.Write("large.bmp", large.Build());
  Start start;
  start.addressSpace = 256U << 20;
  start.arguments = {"to24",
                     "--memory",
                     "100G",
                     "--output-dir",
                     Path("out"),
                     "--jobs",
                     "1",
                     Path("large.bmp"),
                     Path("scans/page-01.bmp")};
  const Outcome retry = RunTool(start);
  EXPECT_EQ(retry.exitCode, 75) << retry.err;
  EXPECT_NE(retry.err.find("dibkit: 1 file done, 1 failed\n"), std::string::npos);
  start.arguments.push_back(directory_.Write("bad.bmp", Bytes{'B', 'M'}));
  start.arguments.push_back("-f");
  EXPECT_EQ(RunTool(start).exitCode, 1);
}

TEST_F(ManyFiles, SkipExistingTakesARunUpAgain) {
  ASSERT_EQ(Run("whole").exitCode, 0);
  directory_.Write("scans/page-01.bmp", Bytes{'B', 'M'});
  ASSERT_EQ(Run("out").exitCode, 1);
  // What is there is not looked at.
  fs::create_directories(Path("out/inner/most"));
  directory_.Write("out/inner/most/page-00.bmp", Bytes{1, 2, 3});
  const Outcome again = Run("out", {"--skip-existing"});
  EXPECT_EQ(again.exitCode, 1);
  EXPECT_NE(again.err.find("dibkit: 0 files done, 1 failed, 11 skipped\n"), std::string::npos)
      << again.err;
  fs::remove(Path("out/inner/most/page-00.bmp"));
  MakePages(directory_, "scans", kPages);
  EXPECT_EQ(Run("out", {"--skip-existing"}).err, "dibkit: 2 files done, 10 skipped\n");
  EXPECT_EQ(FilesBelow(Path("out")), FilesBelow(Path("whole")));
}

TEST_F(ManyFiles, ExistingFilesAreRefusedBeforeAnythingIsMade) {
  fs::create_directory(Path("out"));
  directory_.Write("out/page-01.bmp", Bytes{1});
  directory_.Write("out/page-02.bmp", Bytes{2});
  const Outcome outcome = Run("out");
  EXPECT_EQ(outcome.exitCode, 1);
  EXPECT_EQ(outcome.err,
            "dibkit: " + Path("out/page-01.bmp") +
                " and 1 more exist already: --force replaces, --skip-existing leaves what is "
                "there\n");
  EXPECT_EQ(FilesBelow(Path("out")).size(), 2U);
  EXPECT_EQ(Run("out", {"--force"}).exitCode, 0);
}

TEST_F(ManyFiles, ShardsShareTheListOut) {
  ASSERT_EQ(Run("whole").exitCode, 0);
  const auto whole = FilesBelow(Path("whole"));
  std::map<std::string, Bytes> together;
  for (const char* shard : {"0/5", "1/5", "2/5", "3/5", "4/5"}) {
    fs::remove_all(Path("shard"));
    ASSERT_EQ(Run("shard", {"--shard", shard}).exitCode, 0);
    const auto part = FilesBelow(Path("shard"));
    EXPECT_GE(part.size(), 2U);
    for (const auto& [name, bytes] : part) {
      EXPECT_TRUE(together.emplace(name, bytes).second) << name;
    }
  }
  EXPECT_EQ(together, whole);
}

TEST_F(ManyFiles, ADryRunTellsAllAndMakesNothing) {
  const std::string bad = directory_.Write("scans/page-11.bmp", Bytes{'B', 'M'});
  const auto before = FilesBelow(Path(""));
  const Outcome outcome =
      Run("out", {"--dry-run", "--jobs", "3", "--memory", "1G", "--report", Path("report")});
  EXPECT_EQ(outcome.exitCode, 1);
  EXPECT_EQ(outcome.err, "dibkit: " + bad + ": the file ends inside its headers, after 2 bytes\n");
  EXPECT_EQ(FilesBelow(Path("")), before);
  EXPECT_FALSE(fs::exists(Path("out")));
  EXPECT_NE(outcome.out.find(Path("scans/page-02.bmp") + " -> " + Path("out/page-02.bmp") +
                             ": 1 page, 21 x 13 pixels, 8 bits, 200 dpi, takes "),
            std::string::npos)
      << outcome.out;
  EXPECT_NE(outcome.out.find("\n11 files with 11 pages to make, 1 would fail; 3 jobs, "),
            std::string::npos)
      << outcome.out;
  EXPECT_NE(outcome.out.find(" of memory at most, 1024.0 MiB allowed\n"), std::string::npos)
      << outcome.out;
}

TEST_F(ManyFiles, ADryRunTellsWhatWouldBeSkipped) {
  ASSERT_EQ(Run("out").exitCode, 0);
  fs::remove(Path("out/page-01.bmp"));
  const Outcome outcome = Run("out", {"--dry-run", "--skip-existing"});
  EXPECT_EQ(outcome.exitCode, 0);
  EXPECT_NE(outcome.out.find(Path("scans/page-02.bmp") + ": skipped, its result exists\n"),
            std::string::npos);
  EXPECT_NE(outcome.out.find("\n1 file with 1 page to make, 11 skipped; 1 job, "),
            std::string::npos)
      << outcome.out;
}

TEST_F(ManyFiles, NoInputsAreAnError) {
  fs::create_directory(Path("empty"));
  const Outcome outcome = Run("out", {"--recursive"}, {Path("empty")});
  EXPECT_EQ(outcome.exitCode, 1);
  EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1);
}

// Each test of the other subcommands has one input; the way there is the same.
TEST_F(ManyFiles, EverySubcommandTakesThem) {
  for (const char* name : {"normalize", "to24", "to16", "quantize", "grey"}) {
    const Outcome outcome = RunTool({name, "--jobs", "2", "--output-dir", Path(name), "--recursive",
                                     Path("scans"), Path("scans/page-01.bmp")});
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.err, "dibkit: 12 files done\n");
    EXPECT_EQ(FilesBelow(Path(name)).size(), 12U);
  }
  const Outcome info = RunTool({"info", "--json", "--recursive", Path("scans")});
  EXPECT_EQ(info.exitCode, 0);
  EXPECT_EQ(std::count(info.out.begin(), info.out.end(), '\n'), 12);
}

TEST_F(ManyFiles, ATerminalSeesHowFarTheyAre) {
  Start start;
  start.arguments = {"resample",  "--dpi",       "200",        "--output-dir",
                     Path("out"), "--recursive", Path("scans")};
  start.terminal = true;
  const Outcome outcome = RunTool(start);
  EXPECT_EQ(outcome.exitCode, 0);
  EXPECT_NE(outcome.err.find("/12 files"), std::string::npos) << outcome.err;
  EXPECT_TRUE(outcome.err.ends_with("dibkit: 12 files done\r\n")) << outcome.err;
  start.arguments.insert(start.arguments.end(), {"-q", "-f"});
  EXPECT_EQ(RunTool(start).err, "");
}

}  // namespace
}  // namespace dibkit::test
