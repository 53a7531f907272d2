// SPDX-License-Identifier: Apache-2.0
#include "batch/report/report_writer.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string_view>
#include <utility>

#include "batch/report/report_line.h"
#include "dibkit/host/errors.h"

namespace dibkit::tool {
namespace {

constexpr const char* kCannotWrite = "cannot write the report";
constexpr mode_t kNewFileMode = 0666;  // less the umask

// Reading is wanted to see how the file ends, and can be done without.
int OpenReport(const std::string& path) {
  constexpr int kFlags = O_CREAT | O_APPEND | O_CLOEXEC;
  const int descriptor = open(path.c_str(), kFlags | O_RDWR, kNewFileMode);
  return descriptor >= 0 ? descriptor : open(path.c_str(), kFlags | O_WRONLY, kNewFileMode);
}

// True when a file ends inside a line, as after a power cut.
bool EndsInsideALine(int descriptor) {
  struct stat status {};
  char last = '\n';
  return fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode) && status.st_size > 0 &&
         pread(descriptor, &last, 1, status.st_size - 1) == 1 && last != '\n';
}

}  // namespace

ReportWriter::ReportWriter(const std::string& path)
    : descriptor_(path == "-" ? STDOUT_FILENO : OpenReport(path)) {
  if (descriptor_ < 0) {
    throw host::FileError(kCannotWrite, errno);
  }
  cut_ = EndsInsideALine(descriptor_);
}

ReportWriter::~ReportWriter() {
  if (descriptor_ > STDERR_FILENO) {
    close(descriptor_);
  }
}

// A line goes out in one piece; only where the disk is full or a pipe takes less does it take more.
void ReportWriter::Put(std::string_view line) {
  while (!line.empty()) {
    const ssize_t put = write(descriptor_, line.data(), line.size());
    if (put < 0 && errno != EINTR) {
      throw host::FileError(kCannotWrite, errno);
    }
    if (put > 0) {
      cut_ = static_cast<size_t>(put) < line.size();
      line.remove_prefix(static_cast<size_t>(put));
    }
  }
}

void ReportWriter::Add(const PageRecord& record) {
  const std::string line = ReportLine(record);
  const std::lock_guard guard(mutex_);
  Put(cut_ ? "\n" + line : line);
}

void ReportWriter::Close() {
  const std::lock_guard guard(mutex_);
  if (descriptor_ <= STDERR_FILENO) {
    return;
  }
  const int descriptor = std::exchange(descriptor_, -1);
  // Pipes and terminals have nothing to keep.
  const bool kept = fdatasync(descriptor) == 0 || errno == EINVAL || errno == EROFS;
  const int error = errno;
  if (close(descriptor) != 0 || !kept) {
    throw host::FileError(kCannotWrite, kept ? errno : error);
  }
}

}  // namespace dibkit::tool
