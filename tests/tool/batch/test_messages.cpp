// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

#include <chrono>
#include <thread>
#include <vector>

#include "batch/terminal/messages.h"
#include "captured_output.h"

namespace dibkit::tool {
namespace {

using test::CapturedOutput;
using test::Screen;
using test::StreamKind;

constexpr size_t kColumns = 80;

TEST(Messages, AreOneLineEachWithTheirControlCharactersEscaped) {
  CapturedOutput error(STDERR_FILENO, StreamKind::kFile);
  Message("dibkit: a.tif: no memory");
  Message("evil\033[2J\nname");
  EXPECT_EQ(error.Text(), "dibkit: a.tif: no memory\nevil\\x1B[2J\\nname\n");
}

TEST(Messages, AppearAboveTheStatusLine) {
  CapturedOutput error(STDERR_FILENO, StreamKind::kTerminal, kColumns);
  ShowStatusLine("[####......] 4/10 files, 12 pages");
  Message("dibkit: a.tif: no memory");
  EXPECT_EQ(Screen(error.Text(), kColumns),
            "dibkit: a.tif: no memory\n[####......] 4/10 files, 12 pages");
  ShowStatusLine("[#####.....] 5/10");
  EXPECT_EQ(Screen(error.Text(), kColumns), "dibkit: a.tif: no memory\n[#####.....] 5/10");
  ShowStatusLine("");
  EXPECT_EQ(Screen(error.Text(), kColumns), "dibkit: a.tif: no memory\n");
}

TEST(Messages, AFileGetsNoStatusLine) {
  CapturedOutput error(STDERR_FILENO, StreamKind::kFile);
  ShowStatusLine("[####......]");
  Message("one");
  ShowStatusLine("");
  EXPECT_EQ(error.Text(), "one\n");
}

TEST(Messages, OfManyThreadsDoNotMix) {
  constexpr int kThreads = 8;
  constexpr int kLines = 200;
  CapturedOutput error(STDERR_FILENO, StreamKind::kFile);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([t] {
      for (int i = 0; i < kLines; ++i) {
        Message(std::string(40, static_cast<char>('a' + t)));
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  const std::string text = error.Text();
  ASSERT_EQ(text.size(), size_t{41} * kThreads * kLines);
  for (size_t at = 0; at < text.size(); at += 41) {
    EXPECT_EQ(text.substr(at, 41), std::string(40, text[at]) + "\n");
  }
}

TEST(Messages, AHastyOneTakesTheStatusLineAway) {
  CapturedOutput error(STDERR_FILENO, StreamKind::kTerminal, kColumns);
  ShowStatusLine("[####......]");
  HastyMessage("dibkit: interrupted");
  EXPECT_EQ(Screen(error.Text(), kColumns), "dibkit: interrupted\n");
}

// Standard error is a pipe that nobody reads, full to the brim.
class FullPipe {
 public:
  FullPipe() : saved_(dup(STDERR_FILENO)) {
    EXPECT_EQ(pipe2(ends_, O_CLOEXEC), 0);
    fcntl(ends_[1], F_SETFL, O_NONBLOCK);
    const std::vector<char> bytes(4096);
    while (write(ends_[1], bytes.data(), bytes.size()) > 0) {
    }
    fcntl(ends_[1], F_SETFL, 0);
    dup2(ends_[1], STDERR_FILENO);
  }
  FullPipe(const FullPipe&) = delete;
  FullPipe& operator=(const FullPipe&) = delete;
  ~FullPipe() {
    dup2(saved_, STDERR_FILENO);
    close(ends_[1]);
    close(saved_);
    close(ends_[0]);
  }
  void Drain() const {
    char bytes[4096];
    pollfd wait{ends_[0], POLLIN, 0};
    while (poll(&wait, 1, 200) == 1 && read(ends_[0], bytes, sizeof bytes) > 0) {
    }
  }

 private:
  int ends_[2] = {-1, -1};
  int saved_;
};

double SecondsForAHastyMessage() {
  const auto start = std::chrono::steady_clock::now();
  HastyMessage("dibkit: interrupted");
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

TEST(Messages, AHastyOneGivesUpWhereNobodyReads) {
  double seconds = 0;
  {
    const FullPipe pipe;
    seconds = SecondsForAHastyMessage();
  }
  EXPECT_LT(seconds, 0.2);
}

TEST(Messages, AHastyOneGivesUpWhereAnotherThreadIsStuckInPrinting) {
  double seconds = 0;
  {
    const FullPipe pipe;
    std::thread stuck([] { Message("this waits for a reader"); });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    seconds = SecondsForAHastyMessage();
    pipe.Drain();
    stuck.join();
  }
  EXPECT_LT(seconds, 0.2);
}

TEST(Messages, TheWidthIsThatOfTheTerminal) {
  unsigned before = 0;
  unsigned after = 0;
  unsigned ofAFile = 0;
  {
    CapturedOutput error(STDERR_FILENO, StreamKind::kTerminal, 33);
    before = TerminalColumns();
    error.Resize(120);
    after = TerminalColumns();
  }
  {
    const CapturedOutput error(STDERR_FILENO, StreamKind::kFile);
    ofAFile = TerminalColumns();
  }
  EXPECT_EQ(before, 33U);
  EXPECT_EQ(after, 120U);
  EXPECT_EQ(ofAFile, 80U);
}

}  // namespace
}  // namespace dibkit::tool
