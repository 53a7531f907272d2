// SPDX-License-Identifier: Apache-2.0
//
// How failures end: one line on standard error, one exit code.
#ifndef DIBKIT_TOOLS_FAILURE_H
#define DIBKIT_TOOLS_FAILURE_H

#include <cstddef>
#include <functional>
#include <stdexcept>
#include <string>

namespace dibkit::tool {

enum ExitCode {
  EXIT_CODE_DONE = 0,
  EXIT_CODE_FAILED = 1,    // some input failed
  EXIT_CODE_USAGE = 2,     // wrong usage
  EXIT_CODE_RETRY = 75,    // a failure that may pass: disk full, no memory
  EXIT_CODE_SIGNAL = 128,  // plus the number of the signal
};

// An input that the command cannot do what was asked with.
class Failure : public std::runtime_error {
 public:
  explicit Failure(const std::string& message, ExitCode code = EXIT_CODE_FAILED)
      : std::runtime_error(message), code_(code) {}
  ExitCode Code() const { return code_; }

 private:
  ExitCode code_;
};

// The exit code of several inputs.
class CodeTally {
 public:
  void Add(int code) {
    failed_ += code == EXIT_CODE_DONE ? 0 : 1;
    retry_ += code == EXIT_CODE_RETRY ? 1 : 0;
  }
  size_t Failed() const { return failed_; }
  // EXIT_CODE_FAILED when any failed, but EXIT_CODE_RETRY when all that did are worth another try.
  int Code() const {
    if (failed_ == 0) {
      return EXIT_CODE_DONE;
    }
    return failed_ == retry_ ? EXIT_CODE_RETRY : EXIT_CODE_FAILED;
  }

 private:
  size_t failed_ = 0;
  size_t retry_ = 0;
};

// What an exception means.
struct Problem {
  std::string message;  // for people: one line that names no file
  int code = EXIT_CODE_FAILED;
  bool cancelled = false;  // work was stopped, nothing is wrong with it
};

// Of the exception that is being handled; to be called inside a catch block only. The message names
// the option that helps, where there is one.
Problem ProblemInHand();

// Tells it on standard error, behind `subject` (a file name) unless that is empty. Any thread.
void TellProblem(const std::string& subject, const Problem& problem);

// Runs `work` and returns its exit code. An exception becomes one line on standard error, which
// begins with `subject` (a file name) unless that is empty, and an exit code.
int Guard(const std::string& subject, const std::function<int()>& work);

}  // namespace dibkit::tool

#endif  // DIBKIT_TOOLS_FAILURE_H
