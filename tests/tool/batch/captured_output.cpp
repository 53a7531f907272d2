// SPDX-License-Identifier: Apache-2.0
#include "captured_output.h"

#include <fcntl.h>
#include <poll.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdio>
#include <stdexcept>
#include <vector>

namespace dibkit::test {
namespace {

void Require(bool holds, const char* what) {
  if (!holds) {
    throw std::runtime_error(what);
  }
}

}  // namespace

CapturedOutput::CapturedOutput(int stream, StreamKind kind, unsigned short columns)
    : stream_(stream), saved_(dup(stream)), kind_(kind) {
  std::fflush(nullptr);
  if (kind == StreamKind::kTerminal) {
    OpenTerminal(columns);
    return;
  }
  FILE* file = std::tmpfile();
  Require(file != nullptr, "no file");
  reader_ = dup(fileno(file));
  std::fclose(file);
  Require(dup2(reader_, stream_) >= 0, "no stream");
}

void CapturedOutput::OpenTerminal(unsigned short columns) {
  reader_ = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
  Require(reader_ >= 0 && grantpt(reader_) == 0 && unlockpt(reader_) == 0, "no terminal");
  Resize(columns);
  const int terminal = open(ptsname(reader_), O_RDWR | O_NOCTTY | O_CLOEXEC);
  Require(terminal >= 0 && dup2(terminal, stream_) >= 0, "no stream");
  close(terminal);
}

void CapturedOutput::Resize(unsigned short columns) {
  winsize size{};
  size.ws_row = 24;
  size.ws_col = columns;
  Require(ioctl(reader_, TIOCSWINSZ, &size) == 0, "no size");
}

CapturedOutput::~CapturedOutput() {
  std::fflush(nullptr);
  dup2(saved_, stream_);
  close(saved_);
  close(reader_);
}

std::string CapturedOutput::Text() {
  char buffer[4096];
  if (kind_ == StreamKind::kFile) {
    for (ssize_t got = 0;
         (got = pread(reader_, buffer, sizeof buffer, static_cast<off_t>(text_.size()))) > 0;) {
      text_.append(buffer, static_cast<size_t>(got));
    }
    return text_;
  }
  pollfd wait{reader_, POLLIN, 0};
  while (poll(&wait, 1, 50) > 0 && (wait.revents & POLLIN) != 0) {
    const ssize_t got = read(reader_, buffer, sizeof buffer);
    text_.append(buffer, static_cast<size_t>(got > 0 ? got : 0));
  }
  return text_;
}

std::string Screen(const std::string& text, size_t columns) {
  std::vector<std::string> lines{std::string(columns, ' ')};
  size_t column = 0;
  for (size_t at = 0; at < text.size(); ++at) {
    if (text.compare(at, 3, "\033[K") == 0) {
      for (size_t i = column; i < columns; ++i) lines.back()[i] = ' ';
      at += 2;
    } else if (text[at] == '\r') {
      column = 0;
    } else if (text[at] == '\n' || column == columns) {
      lines.emplace_back(columns, ' ');
      column = 0;
      at -= text[at] == '\n' ? 0U : 1U;
    } else {
      lines.back()[column++] = text[at];
    }
  }
  std::string all;
  for (std::string& line : lines) {
    line.erase(line.find_last_not_of(' ') + 1);
    all += (all.empty() ? "" : "\n") + line;
  }
  return all;
}

}  // namespace dibkit::test
