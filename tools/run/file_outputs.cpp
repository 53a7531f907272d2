// SPDX-License-Identifier: Apache-2.0
#include "run/file_outputs.h"

#include <filesystem>

#include "batch/files/directories.h"

namespace dibkit::tool {
namespace {

constexpr const char* kStandardOutput = "-";

bool IsRegularFile(const std::string& path) {
  std::error_code error;
  return path != kStandardOutput && std::filesystem::is_regular_file(path, error);
}

}  // namespace

std::shared_ptr<ResultFile> FileOutputs::For(uint32_t number) {
  if (joined_) {
    return joined_;
  }
  const std::string path = plan_.OutputOf(number);
  if (makesFolders_) {
    MakeDirectoriesFor(path);
  }
  auto file = std::make_shared<ResultFile>(path, save_);
  if (!plan_.IsNumbered()) {
    joined_ = file;
  }
  return file;
}

void FileOutputs::Commit(ResultFile& file) {
  file.Commit();
  complete_.push_back(file.Path());
}

void FileOutputs::Withdraw() {
  joined_.reset();
  for (const std::string& path : complete_) {
    std::error_code error;
    if (IsRegularFile(path)) {
      std::filesystem::remove(path, error);
    }
  }
  complete_.clear();
}

}  // namespace dibkit::tool
