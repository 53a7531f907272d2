// SPDX-License-Identifier: Apache-2.0
//
// Remarks about a file that is read all the same.
#ifndef DIBKIT_TOOLS_WARNINGS_H
#define DIBKIT_TOOLS_WARNINGS_H

#include <string>

#include "batch/terminal/messages.h"

namespace dibkit::tool {

// Of one file: tells the first few, as damaged files make codecs talk, and what they repeat once.
// For one thread.
class Warnings {
 public:
  Warnings(const std::string& file, bool quiet) : file_(file), left_(quiet ? 0 : kMost) {}

  void Tell(const std::string& text) {
    if (left_ != 0 && text != last_) {
      --left_;
      last_ = text;
      Message("dibkit: " + file_ + ": warning: " + text +
              (left_ == 0 ? "; further warnings are not shown" : ""));
    }
  }

 private:
  static constexpr unsigned kMost = 3;

  const std::string file_;
  unsigned left_;
  std::string last_;
};

}  // namespace dibkit::tool

#endif  // DIBKIT_TOOLS_WARNINGS_H
