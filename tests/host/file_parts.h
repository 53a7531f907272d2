// SPDX-License-Identifier: Apache-2.0
//
// Small things that the tests of several formats need.
#ifndef DIBKIT_TESTS_HOST_FILE_PARTS_H
#define DIBKIT_TESTS_HOST_FILE_PARTS_H

#include <algorithm>
#include <cerrno>
#include <span>
#include <string>

#include "bitmap_builder.h"
#include "dibkit/host/byte_sink.h"
#include "dibkit/host/errors.h"

namespace dibkit::test {

inline bool Contains(const Bytes& file, const Bytes& part) {
  return std::search(file.begin(), file.end(), part.begin(), part.end()) != file.end();
}

// Bytes that a reader takes for a profile of the colour space `space`, as "RGB ".
inline Bytes SomeProfile(const std::string& space, size_t bytes) {
  constexpr std::ptrdiff_t kSpaceAt = 16;
  Bytes profile(bytes);
  for (size_t i = 0; i < bytes; ++i) {
    profile[i] = static_cast<unsigned char>(i * i / 3);
  }
  std::copy(space.begin(), space.end(), profile.begin() + kSpaceAt);
  return profile;
}

// Fails when more than `limit` bytes are to be written.
class FullSink : public host::ByteSink {
 public:
  explicit FullSink(size_t limit) : left_(limit) {}
  void Write(std::span<const unsigned char> bytes) override {
    if (bytes.size() > left_) {
      throw host::FileError("cannot write", ENOSPC);
    }
    left_ -= bytes.size();
  }

 private:
  size_t left_;
};

}  // namespace dibkit::test

#endif  // DIBKIT_TESTS_HOST_FILE_PARTS_H
