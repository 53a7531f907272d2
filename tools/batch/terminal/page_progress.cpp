// SPDX-License-Identifier: Apache-2.0
#include "batch/terminal/page_progress.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "batch/terminal/messages.h"

namespace dibkit::tool {
namespace {

constexpr std::chrono::milliseconds kBetweenDraws{100};
constexpr unsigned kMostBarColumns = 50;
constexpr unsigned kLeastBarColumns = 5;  // a shorter one says nothing

std::string Duration(double seconds) {
  constexpr double kMost = 359'999;  // 99:59:59
  const auto all = static_cast<unsigned>(std::min(std::ceil(seconds), kMost));
  char text[32];
  if (all < 3600) {
    std::snprintf(text, sizeof text, "%u:%02u", all / 60, all % 60);
  } else {
    std::snprintf(text, sizeof text, "%u:%02u:%02u", all / 3600, all / 60 % 60, all % 60);
  }
  return text;
}

std::string Rate(double pagesPerSecond) {
  char text[48];
  std::snprintf(text, sizeof text, "%.*f", pagesPerSecond < 1 ? 2 : 1, pagesPerSecond);
  return text;
}

std::string FiguresText(const ProgressFigures& figures) {
  std::string text = std::to_string(figures.filesDone) + "/" + std::to_string(figures.files) +
                     (figures.files == 1 ? " file" : " files");
  if (figures.pages > 0) {
    text += ", " + std::to_string(figures.pages) + (figures.pages == 1 ? " page" : " pages") +
            ", " + Rate(figures.pagesPerSecond) + " pages/s";
  }
  if (figures.secondsLeft >= 0) {
    text += ", " + Duration(figures.secondsLeft) + " left";
  }
  return text;
}

std::string Bar(double share, unsigned columns) {
  const auto filled = static_cast<size_t>(std::clamp(share, 0.0, 1.0) * columns);
  return std::string(1, '[').append(filled, '#').append(columns - filled, '.').append("] ");
}

}  // namespace

std::string ProgressLine(const ProgressFigures& figures, unsigned columns) {
  constexpr size_t kBarFrame = 3;  // brackets and a blank
  std::string line = FiguresText(figures);
  if (line.size() + kBarFrame + kLeastBarColumns <= columns) {
    const auto room = static_cast<unsigned>(columns - line.size() - kBarFrame);
    line = Bar(figures.share, std::min(room, kMostBarColumns)) + line;
  }
  return line.substr(0, columns);
}

PageProgress::PageProgress(size_t files, bool quiet)
    : shown_(!quiet && isatty(STDERR_FILENO) == 1),
      start_(Clock::now()),
      nextDraw_(start_.time_since_epoch().count()),
      shares_(shown_ ? files : 0) {
  DrawIfDue();
}

PageProgress::~PageProgress() {
  if (shown_) {
    ShowStatusLine("");
  }
}

void PageProgress::Update(size_t file, double share) {
  if (shown_) {
    shares_[file].store(static_cast<float>(std::clamp(share, 0.0, 1.0)), std::memory_order_relaxed);
    DrawIfDue();
  }
}

void PageProgress::PageDone() {
  ++pages_;
  DrawIfDue();
}

void PageProgress::FileDone(size_t file) {
  ++done_;
  Update(file, 1);
}

void PageProgress::FileSkipped(size_t file) {
  ++skipped_;
  Update(file, 0);
}

// Whoever comes first when the time has come draws; others find the next time set.
void PageProgress::DrawIfDue() {
  if (!shown_) {
    return;
  }
  const Clock::time_point now = Clock::now();
  Clock::rep due = nextDraw_.load(std::memory_order_relaxed);
  const Clock::rep next = Clock::time_point(now + kBetweenDraws).time_since_epoch().count();
  if (now.time_since_epoch().count() >= due && nextDraw_.compare_exchange_strong(due, next)) {
    Draw(now);
  }
}

void PageProgress::Draw(Clock::time_point now) {
  const size_t skipped = skipped_;
  const auto files = static_cast<double>(shares_.size());
  const auto worked = files - static_cast<double>(skipped);
  double share = 0;
  for (const auto& part : shares_) {
    share += static_cast<double>(part.load(std::memory_order_relaxed));
  }
  const double seconds = std::chrono::duration<double>(now - start_).count();
  ProgressFigures figures;
  figures.files = shares_.size();
  figures.filesDone = done_ + skipped;
  figures.pages = pages_;
  figures.share = files > 0 ? (share + static_cast<double>(skipped)) / files : 1;
  figures.pagesPerSecond = seconds > 0 ? static_cast<double>(figures.pages) / seconds : 0;
  figures.secondsLeft = share > 0 ? seconds * (worked - share) / share : -1;
  // The last column is left free: some terminals wrap when it is written to.
  ShowStatusLine(ProgressLine(figures, std::max(TerminalColumns(), 2U) - 1));
}

}  // namespace dibkit::tool
