// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <set>
#include <sstream>
#include <thread>
#include <vector>

#include "batch/report/report_line.h"
#include "batch/report/report_writer.h"
#include "captured_output.h"
#include "dibkit/host/errors.h"
#include "file_tree.h"

namespace dibkit::tool {
namespace {

using test::CapturedOutput;
using test::FileTree;
using test::ReadText;
using test::StreamKind;

PageRecord Record(const std::string& input) {
  PageRecord record;
  record.input.path = input;
  return record;
}

TEST(ReportWriter, IsThereBeforeTheFirstPageAndGrowsByALineEach) {
  const FileTree tree;
  const std::string path = tree.Path("run.jsonl");
  ReportWriter writer(path);
  EXPECT_EQ(ReadText(path), "");
  writer.Add(Record("a"));
  EXPECT_EQ(ReadText(path), ReportLine(Record("a")));
  writer.Add(Record("b"));
  writer.Close();
  EXPECT_EQ(ReadText(path), ReportLine(Record("a")) + ReportLine(Record("b")));
}

TEST(ReportWriter, AddsToAReportThatIsThere) {
  const FileTree tree;
  const std::string path = tree.Write("run.jsonl", "{\"old\":1}\n");
  ReportWriter(path).Add(Record("a"));
  EXPECT_EQ(ReadText(path), "{\"old\":1}\n" + ReportLine(Record("a")));
}

TEST(ReportWriter, EndsALineThatWasCutOffBeforeItsOwn) {
  const FileTree tree;
  const std::string path = tree.Write("run.jsonl", "{\"input\":\"a");
  ReportWriter writer(path);
  writer.Add(Record("a"));
  writer.Add(Record("b"));
  EXPECT_EQ(ReadText(path), "{\"input\":\"a\n" + ReportLine(Record("a")) + ReportLine(Record("b")));
}

TEST(ReportWriter, SaysWhyItCannotWrite) {
  const FileTree tree;
  try {
    ReportWriter writer(tree.Path("none/run.jsonl"));
    FAIL();
  } catch (const host::FileError& error) {
    EXPECT_EQ(error.ErrorNumber(), ENOENT);
    EXPECT_STREQ(error.what(), "cannot write the report: No such file or directory");
  }
  ReportWriter full("/dev/full");
  EXPECT_THROW(full.Add(Record("a")), host::FileError);
}

TEST(ReportWriter, WritesToStandardOutput) {
  CapturedOutput output(STDOUT_FILENO, StreamKind::kFile);
  ReportWriter writer("-");
  writer.Add(Record("a"));
  writer.Close();
  writer.Add(Record("b"));
  EXPECT_EQ(output.Text(), ReportLine(Record("a")) + ReportLine(Record("b")));
}

TEST(ReportWriter, PipesAreFineToo) {
  const FileTree tree;
  ASSERT_EQ(mkfifo(tree.Path("pipe").c_str(), 0600), 0);
  const int reader = open(tree.Path("pipe").c_str(), O_RDONLY | O_NONBLOCK);
  ReportWriter writer(tree.Path("pipe"));
  writer.Add(Record("a"));
  EXPECT_NO_THROW(writer.Close());
  char text[200];
  const ssize_t got = read(reader, text, sizeof text);
  EXPECT_EQ(std::string(text, static_cast<size_t>(got)), ReportLine(Record("a")));
  close(reader);
}

// In a child, for which a file may have 100 bytes: 1 when the second line fails, 2 when the one
// behind it, shorter, does too.
[[noreturn]] void WriteTooMuch(const std::string& path) {
  std::signal(SIGXFSZ, SIG_IGN);
  const rlimit limit{100, RLIM_INFINITY};
  setrlimit(RLIMIT_FSIZE, &limit);
  ReportWriter writer(path);
  try {
    writer.Add(Record(std::string(30, 'a')));
    writer.Add(Record(std::string(50, 'b')));
    _exit(0);
  } catch (const host::FileError&) {
  }
  const rlimit more{1000, RLIM_INFINITY};
  setrlimit(RLIMIT_FSIZE, &more);
  writer.Add(Record("c"));
  _exit(1);
}

TEST(ReportWriter, ALineThatWasCutByAFullDiskSpoilsNoOther) {
  const FileTree tree;
  const std::string path = tree.Path("run.jsonl");
  const pid_t child = fork();
  if (child == 0) {
    WriteTooMuch(path);
  }
  int status = 0;
  waitpid(child, &status, 0);
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 1);
  const std::string whole = ReportLine(Record(std::string(30, 'a')));
  const std::string cut = ReportLine(Record(std::string(50, 'b'))).substr(0, 100 - whole.size());
  EXPECT_EQ(ReadText(path), whole + cut + "\n" + ReportLine(Record("c")));
}

TEST(ReportWriter, LinesOfManyThreadsAndWritersStayWhole) {
  const FileTree tree;
  const std::string path = tree.Path("run.jsonl");
  ReportWriter first(path);
  ReportWriter second(path);
  std::vector<std::thread> threads;
  for (int t = 0; t < 8; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < 100; ++i) {
        (t % 2 == 0 ? first : second).Add(Record(std::to_string(t) + "/" + std::to_string(i)));
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  std::set<std::string> inputs;
  std::istringstream text(ReadText(path));
  for (std::string line; std::getline(text, line);) {
    const auto record = ParseReportLine(line);
    ASSERT_TRUE(record) << line;
    inputs.insert(record->input.path);
  }
  EXPECT_EQ(inputs.size(), 800U);
}

}  // namespace
}  // namespace dibkit::tool
