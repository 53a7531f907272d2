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
  if (plan_.IsNumbered()) {
    Commit();
  }
}

void FileOutputs::PassOver() {
  if (plan_.IsNumbered()) {
    writer_.reset();
  }
}

void FileOutputs::Complete() {
  if (added_) {
    Commit();
  }
}

void FileOutputs::Commit() {
  writer_->Commit();
  writer_.reset();
  added_ = false;
  complete_.push_back(path_);
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

std::string HashOfOutput(const std::string& path, const host::CancelHook& cancelled) {
  return IsRegularFile(path) ? Sha256OfFile(path, cancelled) : std::string();
}

}  // namespace dibkit::tool
