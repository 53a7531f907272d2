// SPDX-License-Identifier: Apache-2.0
#include "convert/file_outputs.h"

#include <filesystem>

#include "batch/files/directories.h"
#include "batch/report/sha256.h"

namespace dibkit::tool {
namespace {

constexpr const char* kStandardOutput = "-";

bool IsRegularFile(const std::string& path) {
  std::error_code error;
  return path != kStandardOutput && std::filesystem::is_regular_file(path, error);
}

}  // namespace

void FileOutputs::Open(uint32_t number) {
  if (writer_) {
    return;
  }
  path_ = plan_.OutputOf(number);
  if (makesFolders_) {
    MakeDirectoriesFor(path_);
  }
  writer_.emplace(path_, save_);
}

void FileOutputs::Add(const host::Page& page) {
  writer_->Add(page);
  added_ = true;
}

void FileOutputs::PassOver() {
  if (plan_.IsNumbered()) {
    writer_.reset();
  }
}

std::string FileOutputs::Complete(bool hashed) {
  if (!added_) {
    return "";
  }
  const std::string finished = writer_->Finish();
  std::string sha256;
  if (hashed && !finished.empty()) {
    sha256 = Sha256OfFile(finished, save_.cancelled);
  }
  writer_->Commit();
  writer_.reset();
  added_ = false;
  complete_.push_back(path_);
  return sha256;
}

void FileOutputs::Withdraw() {
  writer_.reset();
  for (const std::string& path : complete_) {
    std::error_code error;
    if (IsRegularFile(path)) {
      std::filesystem::remove(path, error);
    }
  }
  complete_.clear();
}

}  // namespace dibkit::tool
