// SPDX-License-Identifier: Apache-2.0
//
// Names of files that are equal when the files are.
#ifndef DIBKIT_TOOLS_BATCH_FILES_CANONICAL_PATHS_H
#define DIBKIT_TOOLS_BATCH_FILES_CANONICAL_PATHS_H

#include <string>
#include <unordered_map>

namespace dibkit::tool {

// Keeps what it has learnt of folders, so that many files of a folder cost one look each. For one
// thread, and for a time in which nobody moves folders.
class CanonicalPaths {
 public:
  // Absolute, without symbolic links, "." and "..", as far as the path exists.
  std::string Of(const std::string& path);

 private:
  const std::string& Folder(const std::string& folder);

  std::unordered_map<std::string, std::string> folders_;
};

}  // namespace dibkit::tool

#endif  // DIBKIT_TOOLS_BATCH_FILES_CANONICAL_PATHS_H
