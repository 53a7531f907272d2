// SPDX-License-Identifier: Apache-2.0
//
// A file from its beginning to its end, for decoders that never go back: pipes keep nothing of it.
#ifndef DIBKIT_HOST_FORMATS_SEQUENTIAL_READER_H
#define DIBKIT_HOST_FORMATS_SEQUENTIAL_READER_H

#include <cstddef>
#include <cstdint>
#include <span>

#include "dibkit/host/byte_source.h"

namespace dibkit::host {

// Members throw what the source throws.
class SequentialReader {
 public:
  // What headers, profiles and texts may take before a file that goes on without an end is told.
  static constexpr uint64_t kMostOverhead = uint64_t{64} << 20;

  explicit SequentialReader(ByteSource& source) : source_(source) {}

  // At least one byte, what is there without waiting; 0 at the end.
  size_t ReadSome(std::span<unsigned char> into);
  // False when the file ends before.
  bool ReadFully(std::span<unsigned char> into);

  // The pixels need at most so many bytes. Beyond them and the overhead, reading throws ImageError
  // (kDamaged).
  void ExpectPixels(uint64_t bytes) { most_ = kMostOverhead + bytes; }

 private:
  ByteSource& source_;
  uint64_t at_ = 0;
  uint64_t most_ = kMostOverhead;
};

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_FORMATS_SEQUENTIAL_READER_H
