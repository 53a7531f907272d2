// SPDX-License-Identifier: Apache-2.0
#include "dibkit/host/byte_source.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <utility>

#include "file/descriptor.h"
#include "file/one_way_source.h"

namespace dibkit::host {
namespace {

// Runs one read call until it is not interrupted. 0 at the end of the file.
template <typename ReadCall>
size_t Transfer(const CancelHook& cancelled, ReadCall call) {
  for (;;) {
    StopIf(cancelled);
    const ssize_t got = call();
    if (got >= 0) {
      return static_cast<size_t>(got);
    }
    if (errno != EINTR) {
      throw FileError("cannot read", errno);
    }
  }
}

// Reads in place, so that rows come straight into the block that will hold them.
class RegularFile : public ByteSource {
 public:
  RegularFile(std::shared_ptr<const Descriptor> descriptor, uint64_t begin, uint64_t size,
              CancelHook cancelled)
      : descriptor_(std::move(descriptor)),
        begin_(begin),
        size_(size),
        cancelled_(std::move(cancelled)) {}

  uint64_t SizeUpTo(uint64_t limit) override { return std::min(size_, limit); }

  void Read(uint64_t offset, std::span<unsigned char> into) override {
    uint64_t at = begin_ + offset;
    while (!into.empty()) {
      const size_t got = Transfer(cancelled_, [&] {
        return pread(descriptor_->Number(), into.data(), std::min(into.size(), kTransferBytes),
                     static_cast<off_t>(at));
      });
      if (got == 0) {
        throw FileError("cannot read, the file was cut while it was read", EIO);
      }
      at += got;
      into = into.subspan(got);
    }
  }

  std::unique_ptr<ByteSource> Another(CancelHook cancelled) const override {
    return std::make_unique<RegularFile>(descriptor_, begin_, size_, std::move(cancelled));
  }

 private:
  std::shared_ptr<const Descriptor> descriptor_;
  uint64_t begin_;
  uint64_t size_;
  CancelHook cancelled_;
};

class Pipe : public OneWaySource {
 public:
  Pipe(int descriptor, CancelHook cancelled) : descriptor_(descriptor), cancelled_(cancelled) {}

 private:
  size_t Fetch(std::span<unsigned char> into, size_t /*wanted*/) override {
    return Transfer(cancelled_,
                    [&] { return read(descriptor_.Number(), into.data(), into.size()); });
  }

  Descriptor descriptor_;
  CancelHook cancelled_;
};

int OpenForReading(const std::string& path, const CancelHook& cancelled) {
  for (;;) {
    StopIf(cancelled);
    const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor >= 0) {
      return descriptor;
    }
    if (errno != EINTR) {
      throw FileError("cannot open", errno);
    }
  }
}

}  // namespace

size_t ByteSource::ReadSome(uint64_t offset, std::span<unsigned char> into) {
  const uint64_t end = SizeUpTo(offset + into.size());
  const size_t count = end <= offset ? 0 : static_cast<size_t>(end - offset);
  if (count != 0) {
    Read(offset, into.first(count));
  }
  return count;
}

uint64_t MemorySource::SizeUpTo(uint64_t limit) { return std::min<uint64_t>(bytes_.size(), limit); }

void MemorySource::Read(uint64_t offset, std::span<unsigned char> into) {
  if (offset > bytes_.size() || into.size() > bytes_.size() - offset) {
    throw FileError("cannot read", EIO);
  }
  std::copy_n(bytes_.begin() + static_cast<std::ptrdiff_t>(offset), into.size(), into.begin());
}

std::unique_ptr<ByteSource> MemorySource::Another(CancelHook /*cancelled*/) const {
  return std::make_unique<MemorySource>(bytes_);
}

std::unique_ptr<ByteSource> OpenSource(const std::string& path, CancelHook cancelled) {
  const int descriptor = path == "-" ? STDIN_FILENO : OpenForReading(path, cancelled);
  struct stat status {};
  if (fstat(descriptor, &status) != 0) {
    const int error = errno;
    const Descriptor closing(descriptor);
    throw FileError("cannot read", error);
  }
  if (S_ISREG(status.st_mode)) {
    // Standard input may be a file that someone has read the beginning of.
    const auto begin = static_cast<uint64_t>(std::max<off_t>(lseek(descriptor, 0, SEEK_CUR), 0));
    const auto size = static_cast<uint64_t>(status.st_size);
    return std::make_unique<RegularFile>(std::make_shared<const Descriptor>(descriptor), begin,
                                         size - std::min(begin, size), std::move(cancelled));
  }
  return std::make_unique<Pipe>(descriptor, cancelled);
}

}  // namespace dibkit::host
