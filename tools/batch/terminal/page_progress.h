// SPDX-License-Identifier: Apache-2.0
//
// How far a run over many files has come, on the terminal.
#ifndef DIBKIT_TOOLS_BATCH_TERMINAL_PAGE_PROGRESS_H
#define DIBKIT_TOOLS_BATCH_TERMINAL_PAGE_PROGRESS_H

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace dibkit::tool {

// What the line shows.
struct ProgressFigures {
  size_t files = 0;      // in all
  size_t filesDone = 0;  // finished in any way
  uint64_t pages = 0;    // that were made
  double share = 0;      // of all work, 0 to 1
  double pagesPerSecond = 0;
  double secondsLeft = -1;  // negative: not known
};

// At most `columns` columns, the bar shortened first and the end cut then. Plain ASCII.
std::string ProgressLine(const ProgressFigures& figures, unsigned columns);

// One line on standard error, drawn again at most 10 times a second; nothing when standard error is
// no terminal or `quiet`. Wiped with the object's end; one object at a time. All members may be
// called on any thread.
class PageProgress {
 public:
  PageProgress(size_t files, bool quiet);
  PageProgress(const PageProgress&) = delete;
  PageProgress& operator=(const PageProgress&) = delete;
  ~PageProgress();

  // File number `file`, from 0, is done to `share`, 0 to 1. Cheap enough for each row of an image.
  void Update(size_t file, double share);
  // A page of whatever file was made.
  void PageDone();
  void FileDone(size_t file);
  // Not worked on: says nothing about the time that others take.
  void FileSkipped(size_t file);

 private:
  using Clock = std::chrono::steady_clock;

  void DrawIfDue();
  void Draw(Clock::time_point now);

  const bool shown_;
  const Clock::time_point start_;
  std::atomic<Clock::rep> nextDraw_;
  std::vector<std::atomic<float>> shares_;  // of each file that is worked on
  std::atomic<size_t> done_{0};
  std::atomic<size_t> skipped_{0};
  std::atomic<uint64_t> pages_{0};
};

}  // namespace dibkit::tool

#endif  // DIBKIT_TOOLS_BATCH_TERMINAL_PAGE_PROGRESS_H
