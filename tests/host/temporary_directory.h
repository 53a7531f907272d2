// SPDX-License-Identifier: Apache-2.0
#ifndef DIBKIT_TESTS_HOST_TEMPORARY_DIRECTORY_H
#define DIBKIT_TESTS_HOST_TEMPORARY_DIRECTORY_H

#include <string>
#include <vector>

#include "bitmap_builder.h"

namespace dibkit::test {

// A directory of its own for a test, removed with all that is in it.
class TemporaryDirectory {
 public:
  TemporaryDirectory();
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
  ~TemporaryDirectory();

  // The path of `name` inside.
  std::string Path(const std::string& name) const { return path_ + "/" + name; }
  // Writes a file and returns its path.
  std::string Write(const std::string& name, const Bytes& bytes) const;
  // Names of the files that are there, sorted.
  std::vector<std::string> Names() const;

 private:
  std::string path_;
};

Bytes ReadFile(const std::string& path);

}  // namespace dibkit::test

#endif  // DIBKIT_TESTS_HOST_TEMPORARY_DIRECTORY_H
