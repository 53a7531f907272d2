// SPDX-License-Identifier: Apache-2.0
#include "batch/files/canonical_paths.h"

#include <filesystem>

namespace dibkit::tool {
namespace {

namespace fs = std::filesystem;

// A path that cannot be followed, such as a ring of links, is taken by its name.
std::string Resolved(const fs::path& path) {
  std::error_code error;
  const fs::path absolute = fs::absolute(path, error);
  const fs::path resolved = fs::weakly_canonical(error ? path : absolute, error);
  return (error ? absolute.lexically_normal() : resolved).string();
}

}  // namespace

const std::string& CanonicalPaths::Folder(const std::string& folder) {
  const auto [entry, fresh] = folders_.try_emplace(folder);
  if (fresh) {
    entry->second = Resolved(folder.empty() ? "." : folder);
  }
  return entry->second;
}

std::string CanonicalPaths::Of(const std::string& path) {
  const fs::path whole(path);
  const fs::path name = whole.filename();
  std::error_code error;
  if (name.empty() || name == "." || name == ".." ||
      fs::symlink_status(whole, error).type() == fs::file_type::symlink) {
    return Resolved(whole);
  }
  return (fs::path(Folder(whole.parent_path().string())) / name).string();
}

}  // namespace dibkit::tool
