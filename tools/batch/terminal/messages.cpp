// SPDX-License-Identifier: Apache-2.0
#include "batch/terminal/messages.h"

#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <mutex>
#include <thread>

#include "batch/terminal/escaped_name.h"

namespace dibkit::tool {
namespace {

constexpr const char* kWipe = "\r\033[K";
constexpr std::chrono::milliseconds kHaste{20};

// Never destroyed: threads may still print while the process ends.
struct StandardError {
  std::mutex mutex;
  std::string status;  // the line that is shown at the bottom
};

StandardError& TheStandardError() {
  static auto* const standardError = new StandardError;
  return *standardError;
}

// There is nobody to tell when this fails.
void Put(std::string_view text) {
  while (!text.empty()) {
    const ssize_t put = write(STDERR_FILENO, text.data(), text.size());
    if (put < 0 && errno != EINTR) {
      return;
    }
    text.remove_prefix(put > 0 ? static_cast<size_t>(put) : 0);
  }
}

// One write for all, so that lines of several processes do not mix.
void PutLine(std::string_view text, const std::string& status) {
  const std::string line = EscapedName(text) + "\n";
  Put(status.empty() ? line : kWipe + line + status);
}

bool LockSoon(std::unique_lock<std::mutex>& lock) {
  constexpr std::chrono::milliseconds kStep{1};
  for (auto waited = kStep; !lock.try_lock(); waited += kStep) {
    if (waited > kHaste) {
      return false;
    }
    std::this_thread::sleep_for(kStep);
  }
  return true;
}

}  // namespace

void Message(std::string_view text) {
  StandardError& standardError = TheStandardError();
  const std::lock_guard guard(standardError.mutex);
  PutLine(text, standardError.status);
}

void HastyMessage(std::string_view text) {
  StandardError& standardError = TheStandardError();
  std::unique_lock lock(standardError.mutex, std::defer_lock);
  pollfd wait{STDERR_FILENO, POLLOUT, 0};
  if (!LockSoon(lock) || poll(&wait, 1, static_cast<int>(kHaste.count())) != 1) {
    return;
  }
  if (!standardError.status.empty()) {
    Put(kWipe);
    standardError.status.clear();
  }
  PutLine(text, "");
}

void ShowStatusLine(const std::string& line) {
  StandardError& standardError = TheStandardError();
  const std::lock_guard guard(standardError.mutex);
  if (isatty(STDERR_FILENO) != 1 || (line.empty() && standardError.status.empty())) {
    return;
  }
  standardError.status = line;
  // Over the old line and then wiped behind, which flickers less than wiping first.
  Put(line.empty() ? kWipe : "\r" + line + "\033[K");
}

unsigned TerminalColumns() {
  constexpr unsigned kUsual = 80;
  winsize size{};
  const bool told = ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
  return told ? size.ws_col : kUsual;
}

}  // namespace dibkit::tool
