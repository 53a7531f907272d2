// SPDX-License-Identifier: Apache-2.0
//
// A file that appears whole or not at all.
#ifndef DIBKIT_HOST_OUTPUT_FILE_H
#define DIBKIT_HOST_OUTPUT_FILE_H

#include <span>
#include <string>

#include "dibkit/host/errors.h"

namespace dibkit::host {

// Writes to a temporary name beside the target and renames it in Commit; without Commit the
// temporary file goes away and the target stays as it was. A symbolic link keeps its place, the
// file that it names is replaced, and an existing file hands its permissions on. "-" (standard
// output) and targets that are not regular files, such as devices and pipes, are written directly.
class OutputFile {
 public:
  // Throws FileError.
  explicit OutputFile(const std::string& path, CancelHook cancelled = nullptr);
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;
  ~OutputFile();

  // Throws FileError or Cancelled; the file is then of no further use.
  void Write(std::span<const unsigned char> bytes);

  // Puts the file in place. Throws FileError or Cancelled.
  void Commit();

 private:
  void CreateBeside(const std::string& target, unsigned mode);
  void StopIfCancelled() const;

  int descriptor_ = -1;
  std::string target_;
  std::string temporary_;  // empty when written directly
  CancelHook cancelled_;
};

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_OUTPUT_FILE_H
