// SPDX-License-Identifier: Apache-2.0
#include "dibkit/host/output_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>

#include "file/descriptor.h"

namespace dibkit::host {
namespace {

constexpr unsigned kNewFileMode = 0666;  // less the umask
constexpr unsigned kModeBits = 07777;
constexpr int kNameAttempts = 100;

// The file behind a chain of symbolic links; the name as it is where there is none yet.
std::string Resolve(const std::string& path) {
  std::error_code error;
  const std::filesystem::path resolved = std::filesystem::canonical(path, error);
  return error ? path : resolved.string();
}

std::string TemporaryName(const std::string& target, int attempt) {
  const std::string name =
      ".dibkit-" + std::to_string(getpid()) + "-" + std::to_string(attempt) + ".tmp";
  return (std::filesystem::path(target).parent_path() / name).string();
}

}  // namespace

OutputFile::OutputFile(const std::string& path, CancelHook cancelled) : cancelled_(cancelled) {
  if (path == "-") {
    descriptor_ = STDOUT_FILENO;
    return;
  }
  struct stat status {};
  const bool exists = stat(path.c_str(), &status) == 0;
  if (exists && S_ISDIR(status.st_mode)) {
    throw FileError("cannot write", EISDIR);
  }
  if (!exists || S_ISREG(status.st_mode)) {
    target_ = Resolve(path);
    CreateBeside(target_, exists ? status.st_mode & kModeBits : kNewFileMode);
    if (exists) {
      // The creation above left out what the umask takes away.
      static_cast<void>(fchmod(descriptor_, status.st_mode & kModeBits));
    }
    return;
  }
  descriptor_ = open(path.c_str(), O_WRONLY | O_CLOEXEC);
  if (descriptor_ < 0) {
    throw FileError("cannot write", errno);
  }
}

void OutputFile::CreateBeside(const std::string& target, unsigned mode) {
  for (int attempt = 0; attempt < kNameAttempts; ++attempt) {
    temporary_ = TemporaryName(target, attempt);
    descriptor_ = open(temporary_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
    if (descriptor_ >= 0) {
      return;
    }
    if (errno != EEXIST) {
      break;
    }
  }
  throw FileError("cannot write", errno);
}

OutputFile::~OutputFile() {
  if (descriptor_ > STDERR_FILENO) {
    close(descriptor_);
  }
  if (!temporary_.empty()) {
    unlink(temporary_.c_str());
  }
}

void OutputFile::StopIfCancelled() const {
  if (cancelled_ != nullptr && cancelled_()) {
    throw Cancelled();
  }
}

void OutputFile::Write(std::span<const unsigned char> bytes) {
  while (!bytes.empty()) {
    StopIfCancelled();
    const ssize_t put = write(descriptor_, bytes.data(), std::min(bytes.size(), kTransferBytes));
    if (put < 0) {
      if (errno == EINTR) {
        continue;
      }
      throw FileError("cannot write", errno);
    }
    bytes = bytes.subspan(static_cast<size_t>(put));
  }
}

void OutputFile::Commit() {
  StopIfCancelled();
  if (descriptor_ > STDERR_FILENO) {
    const int descriptor = descriptor_;
    descriptor_ = -1;
    if (close(descriptor) != 0) {
      throw FileError("cannot write", errno);
    }
  }
  if (!temporary_.empty()) {
    if (rename(temporary_.c_str(), target_.c_str()) != 0) {
      throw FileError("cannot write", errno);
    }
    temporary_.clear();
  }
}

}  // namespace dibkit::host
