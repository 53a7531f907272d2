// SPDX-License-Identifier: Apache-2.0
//
// What this process writes to one of its standard streams.
#ifndef DIBKIT_TESTS_TOOL_BATCH_CAPTURED_OUTPUT_H
#define DIBKIT_TESTS_TOOL_BATCH_CAPTURED_OUTPUT_H

#include <string>

namespace dibkit::test {

enum class StreamKind { kFile, kTerminal };

// Puts a file or a terminal in the place of a standard stream as long as it lives.
class CapturedOutput {
 public:
  CapturedOutput(int stream, StreamKind kind, unsigned short columns = 80);
  CapturedOutput(const CapturedOutput&) = delete;
  CapturedOutput& operator=(const CapturedOutput&) = delete;
  ~CapturedOutput();

  // All that was written so far.
  std::string Text();
  // Of a terminal.
  void Resize(unsigned short columns);

 private:
  void OpenTerminal(unsigned short columns);

  int stream_;
  int saved_ = -1;
  int reader_ = -1;  // the file, or the terminal's other end
  StreamKind kind_;
  std::string text_;
};

// What a terminal of so many columns shows after `text`: its lines, without blanks at their ends.
// Knows carriage return, line feed and "wipe to the end of the line".
std::string Screen(const std::string& text, size_t columns);

}  // namespace dibkit::test

#endif  // DIBKIT_TESTS_TOOL_BATCH_CAPTURED_OUTPUT_H
