// SPDX-License-Identifier: Apache-2.0
//
// A file descriptor with an owner.
#ifndef DIBKIT_HOST_FILE_DESCRIPTOR_H
#define DIBKIT_HOST_FILE_DESCRIPTOR_H

#include <unistd.h>

namespace dibkit::host {

class Descriptor {
 public:
  explicit Descriptor(int number) : number_(number) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() {
    // The standard streams are the process's own.
    if (number_ > STDERR_FILENO) {
      close(number_);
    }
  }
  int Number() const { return number_; }

 private:
  int number_;
};

// One call moves no more than this, so that a cancel hook is asked often enough.
inline constexpr size_t kTransferBytes = size_t{4} << 20;

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_FILE_DESCRIPTOR_H
