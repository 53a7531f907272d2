// SPDX-License-Identifier: Apache-2.0
//
// A stream that holds a file and then goes on for ever.
#ifndef DIBKIT_TESTS_HOST_ENDLESS_TAIL_H
#define DIBKIT_TESTS_HOST_ENDLESS_TAIL_H

#include <cstdint>
#include <streambuf>
#include <utility>

#include "bitmap_builder.h"

namespace dibkit::test {

class EndlessTail : public std::streambuf {
 public:
  EndlessTail(Bytes start, char filler) : start_(std::move(start)), filler_(filler) {}
  // What was read from it.
  uint64_t Taken() const { return made_ - static_cast<uint64_t>(egptr() - gptr()); }

 private:
  int_type underflow() override {
    for (char& byte : buffer_) {
      byte =
          made_ < start_.size() ? static_cast<char>(start_[static_cast<size_t>(made_)]) : filler_;
      ++made_;
    }
    setg(buffer_, buffer_, buffer_ + sizeof buffer_);
    return traits_type::to_int_type(*gptr());
  }

  Bytes start_;
  char filler_;
  uint64_t made_ = 0;
  char buffer_[512] = {};
};

}  // namespace dibkit::test

#endif  // DIBKIT_TESTS_HOST_ENDLESS_TAIL_H
