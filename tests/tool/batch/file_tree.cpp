// SPDX-License-Identifier: Apache-2.0
#include "file_tree.h"

#include <unistd.h>

#include <filesystem>
#include <stdexcept>

namespace dibkit::test {

namespace fs = std::filesystem;

std::string FileTree::Write(const std::string& name, const std::string& text) const {
  fs::create_directories(fs::path(Path(name)).parent_path());
  return directory_.Write(name, Bytes(text.begin(), text.end()));
}

std::string FileTree::MakeFolder(const std::string& name) const {
  fs::create_directories(Path(name));
  return Path(name);
}

void FileTree::Link(const std::string& target, const std::string& name) const {
  fs::create_symlink(target, Path(name));
}

std::string ReadText(const std::string& path) {
  const Bytes bytes = ReadFile(path);
  return {bytes.begin(), bytes.end()};
}

WorkingDirectory::WorkingDirectory(const std::string& path) : before_(fs::current_path().string()) {
  fs::current_path(path);
}

WorkingDirectory::~WorkingDirectory() { fs::current_path(before_); }

OrdinaryUser::OrdinaryUser() : changed_(geteuid() == 0) {
  constexpr uid_t kNobody = 65534;
  if (changed_ && seteuid(kNobody) != 0) {
    throw std::runtime_error("cannot stop being root");
  }
}

OrdinaryUser::~OrdinaryUser() {
  if (changed_ && seteuid(0) != 0) {
    std::terminate();
  }
}

}  // namespace dibkit::test
