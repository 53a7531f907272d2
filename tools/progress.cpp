// SPDX-License-Identifier: Apache-2.0
#include "progress.h"

#include <unistd.h>

#include <cstdio>
#include <string>

#include "signals.h"

namespace dibkit::tool {
namespace {

constexpr int kBarColumns = 50;

bool shown = false;

}  // namespace

void BeginProgress(bool quiet) { shown = !quiet && isatty(STDERR_FILENO) == 1; }

int ReportProgress(unsigned short percent) {
  if (shown) {
    const int filled = percent * kBarColumns / 100;
    const std::string bar = std::string(static_cast<size_t>(filled), '#') +
                            std::string(static_cast<size_t>(kBarColumns - filled), '.');
    std::fprintf(stderr, "\r[%s] %2d %%", bar.c_str(), percent);
    std::fflush(stderr);
  }
  return Interrupted() ? 0 : 1;
}

void EndProgress() {
  if (shown) {
    std::fprintf(stderr, "\r\033[K");
    std::fflush(stderr);
    shown = false;
  }
}

}  // namespace dibkit::tool
