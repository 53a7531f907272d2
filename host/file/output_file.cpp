// SPDX-License-Identifier: Apache-2.0
#include "dibkit/host/output_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <mutex>
#include <set>
#include <utility>

#include "file/descriptor.h"
#include "file/positioned_io.h"

namespace dibkit::host {
namespace {

constexpr unsigned kNewFileMode = 0666;  // less the umask
constexpr unsigned kModeBits = 07777;
constexpr unsigned kAnyWriteBit = 0222;
constexpr int kNameAttempts = 100;  // with names that others have left

// The file behind a chain of symbolic links; the name as it is where there is none yet.
std::string Resolve(const std::string& path) {
  std::error_code error;
  const std::filesystem::path resolved = std::filesystem::canonical(path, error);
  return error ? path : resolved.string();
}

std::string TemporaryName(const std::string& target, int number) {
  const std::string name =
      ".dibkit-" + std::to_string(getpid()) + "-" + std::to_string(number) + ".tmp";
  return (std::filesystem::path(target).parent_path() / name).string();
}

// The temporary names that exist now. Never destroyed: a thread may still write while the process
// ends.
struct Temporaries {
  std::mutex mutex;
  std::set<std::string> names;
  bool abandoned = false;
};

Temporaries& AllTemporaries() {
  static auto* all = new Temporaries;
  return *all;
}

void CheckReplaceable(const std::string& path, unsigned mode, IfExists ifExists) {
  if (ifExists == IfExists::kRefuse) {
    throw FileError("cannot write", EEXIST);
  }
  // The rename would ask for the directory's permission only; and root may write anything.
  if ((mode & kAnyWriteBit) == 0 || access(path.c_str(), W_OK) != 0) {
    throw FileError("cannot write", EACCES);
  }
}

// Fails with EEXIST where the target is there.
int RenameToNew(const std::string& from, const std::string& to) {
  const int result = renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE);
  if (result == 0 || (errno != EINVAL && errno != ENOSYS)) {
    return result;
  }
  // Some file systems have no such rename; a link does not replace either.
  if (link(from.c_str(), to.c_str()) != 0) {
    return -1;
  }
  return unlink(from.c_str());
}

}  // namespace

OutputFile::OutputFile(const std::string& path, CancelHook cancelled, IfExists ifExists,
                       Durability durability)
    : cancelled_(std::move(cancelled)), ifExists_(ifExists), durability_(durability) {
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
    if (exists) {
      CheckReplaceable(path, status.st_mode, ifExists);
    }
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
  Temporaries& all = AllTemporaries();
  const std::lock_guard guard(all.mutex);
  int left = kNameAttempts;
  for (int number = 0; left > 0; ++number) {
    std::string name = TemporaryName(target, number);
    const auto [entry, fresh] = all.names.insert(name);
    if (!fresh) {
      continue;
    }
    --left;
    descriptor_ = open(name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, mode);
    if (descriptor_ >= 0) {
      temporary_ = std::move(name);
      return;
    }
    const int error = errno;
    all.names.erase(entry);
    if (error != EEXIST) {
      throw FileError("cannot write", error);
    }
  }
  throw FileError("cannot write", EEXIST);
}

OutputFile::~OutputFile() {
  if (descriptor_ > STDERR_FILENO) {
    close(descriptor_);
  }
  if (!temporary_.empty()) {
    Temporaries& all = AllTemporaries();
    const std::lock_guard guard(all.mutex);
    unlink(temporary_.c_str());
    all.names.erase(temporary_);
  }
}

void OutputFile::WriteStraight(std::span<const unsigned char> bytes) {
  while (!bytes.empty()) {
    StopIf(cancelled_);
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

void OutputFile::Write(std::span<const unsigned char> bytes) {
  if (!IsSeekable()) {
    WriteStraight(bytes);
    return;
  }
  WriteAt(end_, bytes);
}

void OutputFile::WriteAt(uint64_t offset, std::span<const unsigned char> bytes) {
  if (!IsSeekable()) {
    throw FileError("cannot write", ESPIPE);
  }
  WriteFully(descriptor_, offset, bytes, cancelled_);
  end_ = std::max(end_, offset + bytes.size());
}

size_t OutputFile::ReadAt(uint64_t offset, std::span<unsigned char> into) {
  if (!IsSeekable()) {
    throw FileError("cannot read", ESPIPE);
  }
  return ReadFully(descriptor_, offset, into, cancelled_);
}

void OutputFile::MoveIntoPlace() {
  Temporaries& all = AllTemporaries();
  const std::lock_guard guard(all.mutex);
  if (all.abandoned) {
    throw Cancelled();
  }
  const int result = ifExists_ == IfExists::kReplace ? rename(temporary_.c_str(), target_.c_str())
                                                     : RenameToNew(temporary_, target_);
  if (result != 0) {
    throw FileError("cannot write", errno);
  }
  all.names.erase(temporary_);
  temporary_.clear();
}

void OutputFile::Sync() const {
  const bool isFile = !temporary_.empty() && durability_ == Durability::kSynced;
  const bool kept = !isFile || fdatasync(descriptor_) == 0 || errno == EINVAL || errno == EROFS;
  if (!kept) {
    throw FileError("cannot write", errno);
  }
}

void OutputFile::Close() {
  StopIf(cancelled_);
  if (descriptor_ <= STDERR_FILENO) {
    return;
  }
  Sync();
  if (close(std::exchange(descriptor_, -1)) != 0) {
    throw FileError("cannot write", errno);
  }
}

void OutputFile::Commit() {
  Close();
  if (!temporary_.empty()) {
    MoveIntoPlace();
  }
}

void AbandonOutputFiles() {
  Temporaries& all = AllTemporaries();
  const std::lock_guard guard(all.mutex);
  all.abandoned = true;
  for (const std::string& name : all.names) {
    unlink(name.c_str());
  }
}

}  // namespace dibkit::host
