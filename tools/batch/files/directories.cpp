// SPDX-License-Identifier: Apache-2.0
#include "batch/files/directories.h"

#include <filesystem>

#include "batch/terminal/escaped_name.h"
#include "dibkit/host/errors.h"

namespace dibkit::tool {

void MakeDirectoriesFor(const std::string& path) {
  const std::filesystem::path folder = std::filesystem::path(path).parent_path();
  std::error_code error;
  if (folder.empty() || std::filesystem::is_directory(folder, error)) {
    return;
  }
  std::filesystem::create_directories(folder, error);
  if (error) {
    throw host::FileError("cannot make the folder " + EscapedName(folder.string()), error.value());
  }
}

}  // namespace dibkit::tool
