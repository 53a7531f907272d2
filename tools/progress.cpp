// SPDX-License-Identifier: Apache-2.0
#include "progress.h"

#include <unistd.h>

#include <cstdio>
#include <string>

#include "batch/terminal/messages.h"

namespace dibkit::tool {
namespace {

constexpr int kBarColumns = 50;

std::string Bar(int percent) {
  const auto filled = static_cast<size_t>(percent * kBarColumns / 100);
  char number[16];
  std::snprintf(number, sizeof number, "%2d %%", percent);
  return std::string(1, '[')
      .append(filled, '#')
      .append(kBarColumns - filled, '.')
      .append("] ")
      .append(number);
}

}  // namespace

PercentBar::PercentBar(bool quiet) : shown_(!quiet && isatty(STDERR_FILENO) == 1) {}

PercentBar::~PercentBar() {
  if (shown_) {
    ShowStatusLine("");
  }
}

void PercentBar::Show(double share) {
  const int percent = static_cast<int>(share * 100);
  int before = percent_;
  while (shown_ && percent > before) {
    if (percent_.compare_exchange_weak(before, percent)) {
      ShowStatusLine(Bar(percent));
      return;
    }
  }
}

}  // namespace dibkit::tool
