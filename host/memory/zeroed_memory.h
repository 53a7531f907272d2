// SPDX-License-Identifier: Apache-2.0
//
// The bytes of one block: zero, and with an owner.
#ifndef DIBKIT_HOST_MEMORY_ZEROED_MEMORY_H
#define DIBKIT_HOST_MEMORY_ZEROED_MEMORY_H

#include <cstddef>
#include <utility>

namespace dibkit::host {

// Large ones come from the system one by one, in huge pages where it offers them (half of the time
// that a page-sized image takes from file to file goes into mapping it otherwise), and go back at
// once when they are freed.
class ZeroedMemory {
 public:
  // Data() is null when there is no memory; it is never null for 0 bytes otherwise.
  explicit ZeroedMemory(size_t bytes);
  ZeroedMemory(ZeroedMemory&& other) noexcept
      : data_(std::exchange(other.data_, nullptr)), mapped_(other.mapped_) {}
  ZeroedMemory(const ZeroedMemory&) = delete;
  ZeroedMemory& operator=(const ZeroedMemory&) = delete;
  ZeroedMemory& operator=(ZeroedMemory&&) = delete;
  ~ZeroedMemory();

  unsigned char* Data() const { return data_; }

 private:
  unsigned char* data_ = nullptr;
  size_t mapped_ = 0;  // bytes of a mapping; 0 for memory of the heap
};

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_MEMORY_ZEROED_MEMORY_H
