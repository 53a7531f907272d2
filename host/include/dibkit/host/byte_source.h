// SPDX-License-Identifier: Apache-2.0
//
// Where the bytes of a file come from.
#ifndef DIBKIT_HOST_BYTE_SOURCE_H
#define DIBKIT_HOST_BYTE_SOURCE_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "dibkit/host/errors.h"

namespace dibkit::host {

class ByteSource {
 public:
  ByteSource() = default;
  ByteSource(const ByteSource&) = delete;
  ByteSource& operator=(const ByteSource&) = delete;
  virtual ~ByteSource() = default;

  // How many bytes there are, counted no further than `limit`: `limit` means that many or more. A
  // pipe is read up to there, nothing is taken on trust.
  virtual uint64_t SizeUpTo(uint64_t limit) = 0;

  // False where what was read, or counted, is kept in memory, as of a pipe or a stream, so that
  // someone who reads at an offset that a file claims must think of a limit.
  virtual bool IsInPlace() const { return true; }

  // Copies the bytes from `offset` on. The caller has made sure that they are there; FileError when
  // the file lost them meanwhile.
  virtual void Read(uint64_t offset, std::span<unsigned char> into) = 0;

  // Copies what is there from `offset` on without waiting for more, and returns how many bytes that
  // were: at least one, 0 at the end only (and for an empty `into`).
  virtual size_t ReadSome(uint64_t offset, std::span<unsigned char> into);

  // Says that nothing before `offset` will be asked for again, whether or not it has come yet: a
  // pipe keeps it no longer, and throws FileError (ESPIPE) for it from then on. Other sources can
  // go back all the same.
  virtual void ForgetBefore(uint64_t /*offset*/) {}

  // The same bytes for another thread, with a hook of its own; may be called while this source is
  // in use, and outlive it. Null where the bytes can be read only once, as those of a pipe. Throws
  // std::bad_alloc.
  virtual std::unique_ptr<ByteSource> Another(CancelHook /*cancelled*/) const { return nullptr; }
};

// Bytes that the caller holds and keeps for the life of the source.
class MemorySource : public ByteSource {
 public:
  explicit MemorySource(std::span<const unsigned char> bytes) : bytes_(bytes) {}
  uint64_t SizeUpTo(uint64_t limit) override;
  void Read(uint64_t offset, std::span<unsigned char> into) override;
  std::unique_ptr<ByteSource> Another(CancelHook cancelled) const override;

 private:
  std::span<const unsigned char> bytes_;
};

// Opens `path`; "-" is standard input. A regular file is read in place, anything else as a pipe, no
// further than it is asked for.
// Throws FileError.
std::unique_ptr<ByteSource> OpenSource(const std::string& path, CancelHook cancelled = nullptr);

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_BYTE_SOURCE_H
