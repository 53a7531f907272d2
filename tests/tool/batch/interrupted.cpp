// SPDX-License-Identifier: Apache-2.0
//
// A program that is busy in the way its first argument says until a signal ends it. It prints
// "ready" once it is. Its second argument is a file, where it needs one.
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstring>
#include <functional>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "batch/jobs/interruption.h"
#include "batch/report/report_writer.h"
#include "batch/terminal/messages.h"
#include "dibkit/host/byte_source.h"
#include "dibkit/host/output_file.h"
#include "failure.h"

namespace {

using namespace dibkit;

void SayReady() {
  if (write(STDOUT_FILENO, "ready\n", 6) != 6) {
    _exit(99);
  }
}

[[noreturn]] void Spin() {
  static std::atomic<unsigned> count{0};
  for (;;) {
    ++count;
  }
}

// Waits for the first bytes of a pipe that somebody holds open.
void ReadPipe(const std::string& path) {
  const auto source = host::OpenSource(path, tool::Interrupted);
  SayReady();
  source->SizeUpTo(1);
}

// Waits for somebody to open the other end of a pipe.
void OpenPipe(const std::string& path) {
  SayReady();
  host::OpenSource(path, tool::Interrupted);
}

// Writes into files for ever, and listens to nobody.
void WriteOnAndOn(const std::string& path) {
  const std::array<unsigned char, 4096> bytes{};
  for (int t = 0; t < 2; ++t) {
    std::thread([=] {
      host::OutputFile file(path + std::to_string(t));
      for (uint64_t i = 0;; ++i) {
        file.WriteAt(i % 64 * bytes.size(), bytes);
      }
    }).detach();
  }
  host::OutputFile file(path);
  file.Write(bytes);
  SayReady();
  Spin();
}

// Writes a file until the hook says that it is enough, as the command does.
void Obey(const std::string& path) {
  host::OutputFile file(path, tool::Interrupted);
  SayReady();
  const std::array<unsigned char, 4096> bytes{};
  for (uint64_t i = 0;; ++i) {
    file.WriteAt(i % 64 * bytes.size(), bytes);
  }
}

void SayLastWords(const std::string& path) {
  static tool::ReportWriter report(path);
  const tool::LastWords words([] {
    tool::PageRecord record;
    record.input.path = "a.tif";
    record.status = tool::PageStatus::kInterrupted;
    report.Add(record);
  });
  SayReady();
  Spin();
}

void SayEndlessLastWords(const std::string& path) {
  const host::OutputFile file(path);
  const tool::LastWords words(Spin);
  SayReady();
  Spin();
}

void FillAFile(const std::string& path) {
  const rlimit limit{100'000, RLIM_INFINITY};
  setrlimit(RLIMIT_FSIZE, &limit);
  host::OutputFile file(path);
  SayReady();
  const std::vector<unsigned char> bytes(1000);
  for (;;) {
    file.Write(bytes);
  }
}

void UseUpTheTime(const std::string& path) {
  const rlimit limit{1, RLIM_INFINITY};
  setrlimit(RLIMIT_CPU, &limit);
  const host::OutputFile file(path);
  SayReady();
  Spin();
}

// Nobody reads any more after "ready".
void WriteToStandardOutput(const std::string& path) {
  const host::OutputFile file(path);
  host::OutputFile output("-");
  SayReady();
  const std::array<unsigned char, 4096> bytes{};
  for (;;) {
    output.Write(bytes);
  }
}

// Prints into a pipe that nobody reads.
void GetStuckInPrinting(const std::string& path) {
  const host::OutputFile file(path);
  SayReady();
  for (;;) {
    tool::Message("message");
  }
}

// A child that was started takes its signals itself: fails when it does not.
void StartAChild(const std::string& /*path*/) {
  const pid_t child = fork();
  if (child == 0) {
    execl("/bin/sh", "sh", "-c", "kill -TERM $$; sleep 5", nullptr);
    _exit(127);
  }
  int status = 0;
  waitpid(child, &status, 0);
  if (!WIFSIGNALED(status) || WTERMSIG(status) != SIGTERM) {
    _exit(98);
  }
  SayReady();
  Spin();
}

const std::map<std::string, std::function<void(const std::string&)>> kWays{
    {"read", ReadPipe},
    {"open", OpenPipe},
    {"write", WriteOnAndOn},
    {"obey", Obey},
    {"words", SayLastWords},
    {"endless-words", SayEndlessLastWords},
    {"file-size", FillAFile},
    {"cpu-time", UseUpTheTime},
    {"standard-output", WriteToStandardOutput},
    {"print", GetStuckInPrinting},
    {"child", StartAChild},
    {"nothing", [](const std::string&) {}},
};

}  // namespace

int main(int argc, char** argv) {
  tool::WatchForSignals();
  if (argc != 3 || !kWays.contains(argv[1])) {
    return tool::EXIT_CODE_USAGE;
  }
  try {
    kWays.at(argv[1])(argv[2]);
  } catch (const std::exception&) {
    if (tool::Interrupted()) {
      tool::TellInterrupted(argv[2]);
      return tool::EXIT_CODE_SIGNAL + tool::CaughtSignal();
    }
    return tool::EXIT_CODE_FAILED;
  }
  return tool::EXIT_CODE_DONE;
}
