// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <thread>
#include <vector>

#include "batch/terminal/messages.h"
#include "batch/terminal/page_progress.h"
#include "captured_output.h"

namespace dibkit::tool {
namespace {

using test::CapturedOutput;
using test::Screen;
using test::StreamKind;

ProgressFigures Half() {
  ProgressFigures figures;
  figures.files = 200;
  figures.filesDone = 100;
  figures.pages = 340;
  figures.share = 0.5;
  figures.pagesPerSecond = 5.25;
  figures.secondsLeft = 65;
  return figures;
}

std::string Bar(size_t filled, size_t empty) {
  return std::string(1, '[').append(filled, '#').append(empty, '.').append("]");
}

TEST(ProgressLine, ShowsFilesPagesRateAndTimeLeft) {
  EXPECT_EQ(ProgressLine(Half(), 110),
            Bar(25, 25) + " 100/200 files, 340 pages, 5.2 pages/s, 1:05 left");
}

TEST(ProgressLine, SaysNothingThatIsNotKnownYet) {
  ProgressFigures figures;
  figures.files = 1;
  EXPECT_EQ(ProgressLine(figures, 40), Bar(0, 29) + " 0/1 file");
}

TEST(ProgressLine, TellsSmallRatesAndLongTimes) {
  ProgressFigures figures = Half();
  figures.pages = 1;
  figures.pagesPerSecond = 0.04;
  figures.secondsLeft = 7384.2;
  EXPECT_EQ(ProgressLine(figures, 60),
            "[####....] 100/200 files, 1 page, 0.04 pages/s, 2:03:05 left");
}

TEST(ProgressLine, NeverIsWiderThanTheTerminal) {
  for (unsigned columns = 0; columns < 130; ++columns) {
    EXPECT_LE(ProgressLine(Half(), columns).size(), columns);
  }
  EXPECT_EQ(ProgressLine(Half(), 20), "100/200 files, 340 p");
}

TEST(PageProgress, IsDrawnOverItselfAndWipedInTheEnd) {
  CapturedOutput error(STDERR_FILENO, StreamKind::kTerminal, 60);
  {
    PageProgress progress(4, false);
    EXPECT_EQ(Screen(error.Text(), 60), Bar(0, 47) + " 0/4 files");
    std::this_thread::sleep_for(std::chrono::milliseconds(120));
    progress.FileDone(2);
    EXPECT_EQ(Screen(error.Text(), 60).substr(0, 7), "[######");
    EXPECT_NE(Screen(error.Text(), 60).find("] 1/4 files, 0:01 left"), std::string::npos);
  }
  EXPECT_EQ(Screen(error.Text(), 60), "");
}

TEST(PageProgress, FollowsTheWidthOfTheTerminal) {
  CapturedOutput error(STDERR_FILENO, StreamKind::kTerminal, 60);
  PageProgress progress(4, false);
  error.Resize(13);
  std::this_thread::sleep_for(std::chrono::milliseconds(120));
  progress.PageDone();
  const std::string screen = Screen(error.Text(), 60);
  EXPECT_EQ(screen, "0/4 files, 1");
}

TEST(PageProgress, IsDrawnAtMostTenTimesASecond) {
  CapturedOutput error(STDERR_FILENO, StreamKind::kTerminal);
  const auto start = std::chrono::steady_clock::now();
  std::string text;
  {
    PageProgress progress(2, false);
    std::vector<std::thread> threads;
    for (size_t file = 0; file < 2; ++file) {
      threads.emplace_back([&progress, file, start] {
        while (std::chrono::steady_clock::now() - start < std::chrono::milliseconds(450)) {
          progress.Update(file, 0.5);
        }
      });
    }
    for (std::thread& thread : threads) {
      thread.join();
    }
    text = error.Text();
  }
  const double seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  const auto draws = std::count(text.begin(), text.end(), '\r');
  EXPECT_GE(draws, 2);
  EXPECT_LE(static_cast<double>(draws), seconds * 10 + 2);
}

TEST(PageProgress, SkippedFilesCountButTellNothingOfTheTime) {
  CapturedOutput error(STDERR_FILENO, StreamKind::kTerminal);
  PageProgress progress(100, false);
  for (size_t file = 0; file < 90; ++file) {
    progress.FileSkipped(file);
  }
  std::this_thread::sleep_for(std::chrono::milliseconds(120));
  progress.PageDone();
  const std::string text = Screen(error.Text(), 80);
  EXPECT_NE(text.find("90/100 files, 1 page, "), std::string::npos) << text;
  EXPECT_EQ(text.find("left"), std::string::npos) << text;
}

TEST(PageProgress, ThereIsNoneWhereItIsNotWanted) {
  CapturedOutput terminal(STDERR_FILENO, StreamKind::kTerminal);
  { PageProgress(3, true).FileDone(0); }
  EXPECT_EQ(terminal.Text(), "");
  CapturedOutput file(STDERR_FILENO, StreamKind::kFile);
  { PageProgress(3, false).FileDone(0); }
  EXPECT_EQ(file.Text(), "");
}

TEST(PageProgress, MessagesOfAllThreadsStayWhole) {
  CapturedOutput error(STDERR_FILENO, StreamKind::kTerminal);
  std::string text;
  {
    PageProgress progress(40, false);
    std::vector<std::thread> threads;
    for (size_t t = 0; t < 4; ++t) {
      threads.emplace_back([&progress, t] {
        for (size_t i = 0; i < 10; ++i) {
          progress.FileDone(t * 10 + i);
          Message("message " + std::to_string(t));
          std::this_thread::sleep_for(std::chrono::milliseconds(15));
        }
      });
    }
    for (std::thread& thread : threads) {
      thread.join();
    }
  }
  const std::string screen = Screen(error.Text(), 80);
  EXPECT_EQ(std::count(screen.begin(), screen.end(), '\n'), 40);
  for (size_t at = 0; at < screen.size(); at += 10) {
    EXPECT_EQ(screen.substr(at, 8), "message ");
  }
}

}  // namespace
}  // namespace dibkit::tool
