// SPDX-License-Identifier: Apache-2.0
//
// Where the bytes of a file that is being made go.
#ifndef DIBKIT_HOST_BYTE_SINK_H
#define DIBKIT_HOST_BYTE_SINK_H

#include <cstdint>
#include <iosfwd>
#include <span>
#include <utility>
#include <vector>

namespace dibkit::host {

class ByteSink {
 public:
  ByteSink() = default;
  ByteSink(const ByteSink&) = delete;
  ByteSink& operator=(const ByteSink&) = delete;
  virtual ~ByteSink() = default;

  // Appends. Throws FileError or Cancelled; the sink is then of no further use.
  virtual void Write(std::span<const unsigned char> bytes) = 0;

  // True where the two calls below work; elsewhere they throw FileError.
  virtual bool IsSeekable() const { return false; }
  // Changes bytes from `offset` on; what reaches behind the end is appended, and a gap reads as 0.
  virtual void WriteAt(uint64_t offset, std::span<const unsigned char> bytes);
  // Reads back what was written; returns how many of the bytes are there.
  virtual size_t ReadAt(uint64_t offset, std::span<unsigned char> into);
};

// Keeps the bytes in memory.
class MemorySink : public ByteSink {
 public:
  void Write(std::span<const unsigned char> bytes) override;
  bool IsSeekable() const override { return true; }
  void WriteAt(uint64_t offset, std::span<const unsigned char> bytes) override;
  size_t ReadAt(uint64_t offset, std::span<unsigned char> into) override;

  const std::vector<unsigned char>& Bytes() const { return bytes_; }
  // The same, handed over; the sink is empty then.
  std::vector<unsigned char> TakeBytes() { return std::exchange(bytes_, {}); }

 private:
  std::vector<unsigned char> bytes_;
};

// Appends to a stream that the caller keeps. A failed stream is a FileError (EIO).
class StreamSink : public ByteSink {
 public:
  explicit StreamSink(std::ostream& stream) : stream_(stream) {}
  void Write(std::span<const unsigned char> bytes) override;

 private:
  std::ostream& stream_;
};

// A seekable sink in front of one that is not: the bytes go to a nameless temporary file in
// $TMPDIR, or /tmp, and from there to `target` in Flush.
class SpoolSink : public ByteSink {
 public:
  // Throws FileError when there is no place for the temporary file.
  explicit SpoolSink(ByteSink& target);
  ~SpoolSink() override;
  void Write(std::span<const unsigned char> bytes) override;
  bool IsSeekable() const override { return true; }
  void WriteAt(uint64_t offset, std::span<const unsigned char> bytes) override;
  size_t ReadAt(uint64_t offset, std::span<unsigned char> into) override;
  // Sends everything on; to be called once, at the end.
  void Flush();

 private:
  ByteSink& target_;
  int descriptor_;
  uint64_t size_ = 0;
};

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_BYTE_SINK_H
