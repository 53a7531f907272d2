// SPDX-License-Identifier: Apache-2.0
//
// A temporary directory with files in folders.
#ifndef DIBKIT_TESTS_TOOL_BATCH_FILE_TREE_H
#define DIBKIT_TESTS_TOOL_BATCH_FILE_TREE_H

#include <string>
#include <vector>

#include "temporary_directory.h"

namespace dibkit::test {

// The beginning of a file of each format.
inline const std::string kBmpStart = "BM1234567890";
inline const std::string kTiffStart{"II*\0\x08\0\0\0", 8};
inline const std::string kPngStart = "\x89PNG\r\n\x1A\n";

class FileTree {
 public:
  // Paths inside.
  std::string Path(const std::string& name) const { return directory_.Path(name); }
  // Writes a file, with the folders that it lies in, and returns its path.
  std::string Write(const std::string& name, const std::string& text = "x") const;
  std::string MakeFolder(const std::string& name) const;
  void Link(const std::string& target, const std::string& name) const;

 private:
  TemporaryDirectory directory_;
};

std::string ReadText(const std::string& path);

// While it lives, the working directory is another one.
class WorkingDirectory {
 public:
  explicit WorkingDirectory(const std::string& path);
  WorkingDirectory(const WorkingDirectory&) = delete;
  WorkingDirectory& operator=(const WorkingDirectory&) = delete;
  ~WorkingDirectory();

 private:
  std::string before_;
};

// While it lives, the process is not root, so that permissions mean something.
class OrdinaryUser {
 public:
  OrdinaryUser();
  OrdinaryUser(const OrdinaryUser&) = delete;
  OrdinaryUser& operator=(const OrdinaryUser&) = delete;
  ~OrdinaryUser();

 private:
  bool changed_;
};

}  // namespace dibkit::test

#endif  // DIBKIT_TESTS_TOOL_BATCH_FILE_TREE_H
