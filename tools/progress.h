// SPDX-License-Identifier: Apache-2.0
//
// The progress bar of one file on standard error.
#ifndef DIBKIT_TOOLS_PROGRESS_H
#define DIBKIT_TOOLS_PROGRESS_H

#include <atomic>

namespace dibkit::tool {

// Shown on a terminal only, and not when `quiet`; wiped away with the object's end. One object at a
// time, for any number of threads.
class PercentBar {
 public:
  explicit PercentBar(bool quiet);
  PercentBar(const PercentBar&) = delete;
  PercentBar& operator=(const PercentBar&) = delete;
  ~PercentBar();

  // Draws the bar for `share`, 0 to 1, of the work; one that is behind what was shown does nothing.
  void Show(double share);

 private:
  const bool shown_;
  std::atomic<int> percent_{-1};  // that it stands at
};

}  // namespace dibkit::tool

#endif  // DIBKIT_TOOLS_PROGRESS_H
