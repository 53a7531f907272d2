// SPDX-License-Identifier: Apache-2.0
#include "process.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <stdexcept>
#include <thread>

namespace dibkit::test {
namespace {

using Clock = std::chrono::steady_clock;
constexpr std::chrono::seconds kPatience{60};

std::string ReadText(const std::string& path) {
  const Bytes bytes = ReadFile(path);
  return std::string(bytes.begin(), bytes.end());
}

void Redirect(int number, int source) {
  if (source < 0 || dup2(source, number) < 0) {
    _exit(126);
  }
}

int CreateFile(const std::string& path) {
  return open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
}

}  // namespace

Process::Process(const Start& start) {
  if (start.inputPipe && pipe2(pipe_, O_CLOEXEC) != 0) {
    throw std::runtime_error("no pipe");
  }
  if (start.terminal) {
    terminal_ = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (terminal_ < 0 || grantpt(terminal_) != 0 || unlockpt(terminal_) != 0) {
      throw std::runtime_error("no terminal");
    }
  }
  child_ = fork();
  if (child_ < 0) {
    throw std::runtime_error("no process");
  }
  if (child_ == 0) {
    RunChild(start);
  }
  if (start.inputPipe) {
    close(pipe_[0]);
  }
}

void Process::RunChild(const Start& start) {
  Redirect(STDIN_FILENO, start.inputPipe ? pipe_[0] : open(start.inputPath.c_str(), O_RDONLY));
  Redirect(STDOUT_FILENO, start.outputPath.empty() ? CreateFile(directory_.Path("out"))
                                                   : open(start.outputPath.c_str(), O_WRONLY));
  Redirect(STDERR_FILENO, start.terminal ? open(ptsname(terminal_), O_RDWR | O_NOCTTY)
                                         : CreateFile(directory_.Path("err")));
  if (!start.folder.empty() && chdir(start.folder.c_str()) != 0) {
    _exit(125);
  }
  if (start.addressSpace) {
    const rlimit limit{static_cast<rlim_t>(*start.addressSpace),
                       static_cast<rlim_t>(*start.addressSpace)};
    setrlimit(RLIMIT_AS, &limit);
  }
  std::vector<std::string> words{DIBKIT_TOOL};
  words.insert(words.end(), start.arguments.begin(), start.arguments.end());
  std::vector<char*> pointers;
  for (std::string& word : words) {
    pointers.push_back(word.data());
  }
  pointers.push_back(nullptr);
  execv(pointers[0], pointers.data());
  _exit(127);
}

Process::~Process() {
  if (child_ > 0) {
    kill(child_, SIGKILL);
    waitpid(child_, nullptr, 0);
  }
  if (terminal_ >= 0) {
    close(terminal_);
  }
  if (pipe_[1] >= 0) {
    close(pipe_[1]);
  }
}

void Process::Feed(const Bytes& bytes) {
  if (write(pipe_[1], bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size())) {
    throw std::runtime_error("the process does not read");
  }
}

void Process::WaitUntilFed() {
  int waiting = 1;
  const auto deadline = Clock::now() + kPatience;
  while (waiting != 0 && Clock::now() < deadline) {
    ioctl(pipe_[1], FIONREAD, &waiting);
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  // It has taken the last bytes; give it the time to come back for more.
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
}

void Process::CloseInput() {
  close(pipe_[1]);
  pipe_[1] = -1;
}

// Reads what is there now; false at the end.
bool Process::DrainTerminal() {
  pollfd wait{terminal_, POLLIN, 0};
  while (poll(&wait, 1, 20) > 0) {
    char text[4096];
    const ssize_t got = read(terminal_, text, sizeof text);
    if (got <= 0) {
      return false;
    }
    terminalText_.append(text, static_cast<size_t>(got));
  }
  return true;
}

bool Process::WaitForTerminal(const std::string& text) {
  const auto deadline = Clock::now() + kPatience;
  // The terminal reads as ended until the process has opened it.
  while (Clock::now() < deadline) {
    const bool open = DrainTerminal();
    if (terminalText_.find(text) != std::string::npos) {
      return true;
    }
    if (!open) {
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  }
  return false;
}

void Process::Signal(int number) { kill(child_, number); }

Outcome Process::Wait() {
  const auto deadline = Clock::now() + kPatience;
  int status = 0;
  rusage usage{};
  while (wait4(child_, &status, WNOHANG, &usage) == 0) {
    if (Clock::now() > deadline) {
      throw std::runtime_error("the process hangs");
    }
    if (terminal_ >= 0) {
      DrainTerminal();
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  child_ = -1;
  Outcome outcome;
  outcome.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  outcome.peakKilobytes = static_cast<uint64_t>(usage.ru_maxrss);
  const auto names = directory_.Names();
  for (const std::string& name : names) {
    (name == "out" ? outcome.out : outcome.err) = ReadText(directory_.Path(name));
  }
  if (terminal_ >= 0) {
    DrainTerminal();
    outcome.err = terminalText_;
  }
  return outcome;
}

bool Outcome::Tells(const std::string& text) const {
  std::string unbroken;
  for (const char c : out) {
    if ((c != '\n' && c != ' ') || !unbroken.ends_with(' ')) {
      unbroken += c == '\n' ? ' ' : c;
    }
  }
  return unbroken.find(text) != std::string::npos;
}

Outcome RunTool(const Start& start) { return Process(start).Wait(); }

Outcome RunTool(const std::vector<std::string>& arguments) {
  Start start;
  start.arguments = arguments;
  return RunTool(start);
}

bool IsSanitized() {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  return true;
#else
  return false;
#endif
}

}  // namespace dibkit::test
