// SPDX-License-Identifier: Apache-2.0
#include "dibkit/host/byte_sink.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <limits>
#include <ostream>
#include <string>

#include "dibkit/host/errors.h"
#include "file/positioned_io.h"

namespace dibkit::host {
namespace {

int OpenNameless() {
  const char* place = std::getenv("TMPDIR");
  const std::filesystem::path directory = place != nullptr && *place != 0 ? place : "/tmp";
  std::string name = (directory / "dibkit-XXXXXX").string();
  const int descriptor = mkostemp(name.data(), O_CLOEXEC);
  if (descriptor < 0) {
    throw FileError("cannot make a temporary file in " + directory.string(), errno);
  }
  unlink(name.c_str());
  return descriptor;
}

}  // namespace

void ByteSink::WriteAt(uint64_t /*offset*/, std::span<const unsigned char> /*bytes*/) {
  throw FileError("cannot go back", ESPIPE);
}

size_t ByteSink::ReadAt(uint64_t /*offset*/, std::span<unsigned char> /*into*/) {
  throw FileError("cannot go back", ESPIPE);
}

void MemorySink::Write(std::span<const unsigned char> bytes) {
  bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
}

void MemorySink::WriteAt(uint64_t offset, std::span<const unsigned char> bytes) {
  if (bytes.size() > bytes_.max_size() || offset > bytes_.max_size() - bytes.size()) {
    throw FileError("cannot write", EFBIG);
  }
  const auto at = static_cast<size_t>(offset);
  bytes_.resize(std::max(bytes_.size(), at + bytes.size()));
  std::copy(bytes.begin(), bytes.end(), bytes_.begin() + static_cast<std::ptrdiff_t>(at));
}

size_t MemorySink::ReadAt(uint64_t offset, std::span<unsigned char> into) {
  if (offset >= bytes_.size()) {
    return 0;
  }
  const size_t count = std::min<size_t>(into.size(), bytes_.size() - static_cast<size_t>(offset));
  std::copy_n(bytes_.begin() + static_cast<std::ptrdiff_t>(offset), count, into.begin());
  return count;
}

void StreamSink::Write(std::span<const unsigned char> bytes) {
  stream_.write(reinterpret_cast<const char*>(bytes.data()),
                static_cast<std::streamsize>(bytes.size()));
  if (!stream_) {
    throw FileError("cannot write", EIO);
  }
}

SpoolSink::SpoolSink(ByteSink& target) : target_(target), descriptor_(OpenNameless()) {}

SpoolSink::~SpoolSink() { close(descriptor_); }

void SpoolSink::Write(std::span<const unsigned char> bytes) { WriteAt(size_, bytes); }

void SpoolSink::WriteAt(uint64_t offset, std::span<const unsigned char> bytes) {
  WriteFully(descriptor_, offset, bytes, nullptr);
  size_ = std::max(size_, offset + bytes.size());
}

size_t SpoolSink::ReadAt(uint64_t offset, std::span<unsigned char> into) {
  return ReadFully(descriptor_, offset, into, nullptr);
}

void SpoolSink::Flush() {
  constexpr size_t kPiece = size_t{256} << 10;
  std::vector<unsigned char> piece(kPiece);
  for (uint64_t at = 0; at < size_;) {
    const size_t got = ReadAt(at, piece);
    if (got == 0) {
      throw FileError("cannot read the temporary file back", EIO);
    }
    target_.Write(std::span(piece).first(got));
    at += got;
  }
}

}  // namespace dibkit::host
