// SPDX-License-Identifier: Apache-2.0
//
// Programs that are ended by a signal in the middle of something, see interrupted.cpp.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "batch/report/report_line.h"
#include "file_tree.h"

namespace dibkit::tool {
namespace {

using test::FileTree;
using test::ReadText;
using test::TemporaryDirectory;
using Clock = std::chrono::steady_clock;
using Names = std::vector<std::string>;

class Child {
 public:
  // `ignored`: a signal that the starter ignores, or 0.
  Child(const std::string& way, const std::string& path, int ignored = 0) {
    EXPECT_EQ(pipe2(out_, O_CLOEXEC), 0);
    EXPECT_EQ(pipe2(err_, O_CLOEXEC), 0);
    process_ = fork();
    if (process_ == 0) {
      dup2(out_[1], STDOUT_FILENO);
      dup2(err_[1], STDERR_FILENO);
      if (ignored != 0) {
        std::signal(ignored, SIG_IGN);
      }
      execl(DIBKIT_INTERRUPTED, DIBKIT_INTERRUPTED, way.c_str(), path.c_str(), nullptr);
      _exit(127);
    }
    close(out_[1]);
    close(err_[1]);
  }
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;
  ~Child() {
    if (process_ > 0) {
      kill(process_, SIGKILL);
      waitpid(process_, nullptr, 0);
    }
    close(out_[0]);
    close(err_[0]);
  }

  void WaitUntilReady() const {
    char text[6];
    ASSERT_EQ(read(out_[0], text, sizeof text), 6);
    // Into the call that it announced.
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
  }
  void StopReading() {
    close(out_[0]);
    out_[0] = -1;
  }
  void Send(int signal) {
    sent_ = Clock::now();
    kill(process_, signal);
  }
  bool Lives() const { return waitpid(process_, nullptr, WNOHANG) == 0; }

  // Its exit code; 1000 + n when signal n killed it, -1 when it does not end.
  int Wait() {
    int status = 0;
    const auto deadline = Clock::now() + std::chrono::seconds(30);
    while (waitpid(process_, &status, WNOHANG) == 0) {
      if (Clock::now() > deadline) {
        return -1;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    seconds_ = std::chrono::duration<double>(Clock::now() - sent_).count();
    process_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
  }
  // From the last signal to the end.
  double Seconds() const { return seconds_; }
  std::string Errors() const {
    char text[70'000];
    const ssize_t got = read(err_[0], text, sizeof text);
    return {text, static_cast<size_t>(std::max<ssize_t>(got, 0))};
  }

 private:
  pid_t process_ = -1;
  int out_[2] = {-1, -1};
  int err_[2] = {-1, -1};
  Clock::time_point sent_;
  double seconds_ = 0;
};

constexpr double kPrompt = 0.2;
constexpr int kAttempts = 3;  // for machines that have much else to do

// Interrupts a program that is busy in some way: it ends in time with 128 + n, tells of it once and
// leaves only the files that were there.
void ExpectPromptEnd(const std::string& way, int signal, bool makesPipe = false) {
  double best = 1e9;
  for (int i = 0; i < kAttempts && best >= kPrompt; ++i) {
    const TemporaryDirectory directory;
    const std::string path = directory.Path("file");
    ASSERT_TRUE(!makesPipe || mkfifo(path.c_str(), 0600) == 0);
    // Somebody who never writes, but for a program that waits for somebody.
    const int writer = way == "read" ? open(path.c_str(), O_RDWR | O_CLOEXEC) : -1;
    Child child(way, path);
    child.WaitUntilReady();
    child.Send(signal);
    EXPECT_EQ(child.Wait(), 128 + signal);
    EXPECT_EQ(child.Errors(), "dibkit: interrupted\n");
    EXPECT_EQ(directory.Names(), makesPipe ? Names{"file"} : Names{});
    best = std::min(best, child.Seconds());
    close(writer);
  }
  EXPECT_LT(best, kPrompt);
}

TEST(Interrupted, InTheReadingOfAPipe) { ExpectPromptEnd("read", SIGINT, true); }

TEST(Interrupted, InTheOpeningOfAPipe) { ExpectPromptEnd("open", SIGTERM, true); }

TEST(Interrupted, InTheWritingOfSeveralFilesByThreadsThatListenToNobody) {
  ExpectPromptEnd("write", SIGINT);
}

TEST(Interrupted, ByEachSignal) {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGALRM, SIGUSR1, SIGUSR2, SIGXCPU}) {
    ExpectPromptEnd("write", signal);
  }
}

TEST(Interrupted, AProgramThatListensEndsByItself) {
  const TemporaryDirectory directory;
  const std::string path = directory.Path("fi\nle");
  Child child("obey", path);
  child.WaitUntilReady();
  child.Send(SIGTERM);
  EXPECT_EQ(child.Wait(), 128 + SIGTERM);
  EXPECT_EQ(child.Errors(), "dibkit: " + directory.Path("fi\\nle") + ": interrupted\n");
  EXPECT_TRUE(directory.Names().empty());
}

TEST(Interrupted, ASecondSignalEndsTheWait) {
  double best = 1e9;
  for (int i = 0; i < kAttempts && best >= 0.07; ++i) {
    const TemporaryDirectory directory;
    Child child("write", directory.Path("file"));
    child.WaitUntilReady();
    child.Send(SIGINT);
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    child.Send(SIGTERM);
    EXPECT_EQ(child.Wait(), 128 + SIGINT);
    EXPECT_EQ(child.Errors(), "dibkit: interrupted\n");
    EXPECT_TRUE(directory.Names().empty());
    best = std::min(best, child.Seconds());
  }
  EXPECT_LT(best, 0.07);
}

TEST(Interrupted, ManySignalsAtOnceAreOne) {
  const TemporaryDirectory directory;
  Child child("write", directory.Path("file"));
  child.WaitUntilReady();
  for (int i = 0; i < 50; ++i) {
    child.Send(i % 2 == 0 ? SIGINT : SIGTERM);
  }
  const int code = child.Wait();
  EXPECT_TRUE(code == 128 + SIGINT || code == 128 + SIGTERM) << code;
  EXPECT_EQ(child.Errors(), "dibkit: interrupted\n");
  EXPECT_TRUE(directory.Names().empty());
}

TEST(Interrupted, TheLastWordsAreSaid) {
  const FileTree tree;
  Child child("words", tree.Path("report"));
  child.WaitUntilReady();
  child.Send(SIGTERM);
  EXPECT_EQ(child.Wait(), 128 + SIGTERM);
  const auto record = ParseReportLine(ReadText(tree.Path("report")));
  ASSERT_TRUE(record);
  EXPECT_EQ(record->status, PageStatus::kInterrupted);
}

TEST(Interrupted, EndlessLastWordsAreCutShort) {
  const TemporaryDirectory directory;
  Child child("endless-words", directory.Path("file"));
  child.WaitUntilReady();
  child.Send(SIGTERM);
  EXPECT_EQ(child.Wait(), 128 + SIGTERM);
  EXPECT_GT(child.Seconds(), 0.4);
  EXPECT_LT(child.Seconds(), 5);
  EXPECT_TRUE(directory.Names().empty());
}

TEST(Interrupted, InPrintingThatNobodyReads) {
  const TemporaryDirectory directory;
  Child child("print", directory.Path("file"));
  child.WaitUntilReady();
  child.Send(SIGTERM);
  EXPECT_EQ(child.Wait(), 128 + SIGTERM);
  EXPECT_LT(child.Seconds(), 5);
  EXPECT_TRUE(directory.Names().empty());
}

TEST(Interrupted, ByTheLimitOfAFilesSize) {
  const TemporaryDirectory directory;
  Child child("file-size", directory.Path("file"));
  EXPECT_EQ(child.Wait(), 128 + SIGXFSZ);
  EXPECT_EQ(child.Errors(), "dibkit: " + directory.Path("file") + ": interrupted\n");
  EXPECT_TRUE(directory.Names().empty());
}

TEST(Interrupted, ByTheLimitOfTheTime) {
  const TemporaryDirectory directory;
  Child child("cpu-time", directory.Path("file"));
  EXPECT_EQ(child.Wait(), 128 + SIGXCPU);
  EXPECT_TRUE(directory.Names().empty());
}

TEST(Interrupted, QuietlyByAnOutputThatNobodyReads) {
  const TemporaryDirectory directory;
  Child child("standard-output", directory.Path("file"));
  child.WaitUntilReady();
  child.StopReading();
  EXPECT_EQ(child.Wait(), 128 + SIGPIPE);
  EXPECT_EQ(child.Errors(), "");
  EXPECT_TRUE(directory.Names().empty());
}

TEST(Interrupted, NotByASignalThatTheStarterIgnores) {
  for (const int signal : {SIGHUP, SIGINT, SIGPIPE}) {
    const TemporaryDirectory directory;
    Child child("write", directory.Path("file"), signal);
    child.WaitUntilReady();
    child.Send(signal);
    std::this_thread::sleep_for(std::chrono::milliseconds(250));
    EXPECT_TRUE(child.Lives());
    child.Send(SIGTERM);
    EXPECT_EQ(child.Wait(), 128 + SIGTERM);
    EXPECT_TRUE(directory.Names().empty());
  }
}

TEST(Interrupted, ChildrenTakeTheirSignalsThemselves) {
  Child child("child", "");
  child.WaitUntilReady();
  child.Send(SIGTERM);
  EXPECT_EQ(child.Wait(), 128 + SIGTERM);
}

TEST(Interrupted, NotWhenAllIsDoneInTime) {
  Child child("nothing", "");
  EXPECT_EQ(child.Wait(), 0);
  EXPECT_EQ(child.Errors(), "");
}

}  // namespace
}  // namespace dibkit::tool
