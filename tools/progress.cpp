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
  return std::string("[") + std::string(filled, '#') + std::string(kBarColumns - filled, '.') +
         "] " + number;
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
  if (shown_ && percent != percent_) {
    percent_ = percent;
    ShowStatusLine(Bar(percent));
  }
}

}  // namespace dibkit::tool
