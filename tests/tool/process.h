// SPDX-License-Identifier: Apache-2.0
//
// The command as a process of its own.
#ifndef DIBKIT_TESTS_TOOL_PROCESS_H
#define DIBKIT_TESTS_TOOL_PROCESS_H

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "temporary_directory.h"

namespace dibkit::test {

struct Outcome {
  int exitCode = -1;  // -1 when a signal killed it
  std::string out;
  std::string err;
  uint64_t peakKilobytes = 0;  // resident

  // True when the text is there, broken between words in whatever way.
  bool Tells(const std::string& text) const;
};

// How a process begins. Standard input is empty unless one of the fields says otherwise.
struct Start {
  std::vector<std::string> arguments;
  std::string inputPath = "/dev/null";
  bool inputPipe = false;                  // keeps a pipe open; see Process::Feed
  std::string outputPath;                  // otherwise caught
  std::string folder;                      // to work in; otherwise the test's own
  bool terminal = false;                   // standard error is a terminal
  std::optional<uint64_t> addressSpace{};  // limit in bytes
};

class Process {
 public:
  explicit Process(const Start& start);
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;
  ~Process();

  // Writes to the input pipe.
  void Feed(const Bytes& bytes);
  // Waits until the process has read everything and waits for more.
  void WaitUntilFed();
  void CloseInput();
  // Waits until standard error, a terminal, has shown `text`; false when it ends or a minute passes
  // without.
  bool WaitForTerminal(const std::string& text);
  void Signal(int number);
  // Waits for the end, a minute at most.
  Outcome Wait();

 private:
  void RunChild(const Start& start);
  bool DrainTerminal();

  TemporaryDirectory directory_;
  pid_t child_ = -1;
  int pipe_[2] = {-1, -1};
  int terminal_ = -1;
  std::string terminalText_;
};

// Runs the command to its end.
Outcome RunTool(const Start& start);
Outcome RunTool(const std::vector<std::string>& arguments);

// True under a sanitizer that needs far more memory than the command itself.
bool IsSanitized();

}  // namespace dibkit::test

#endif  // DIBKIT_TESTS_TOOL_PROCESS_H
