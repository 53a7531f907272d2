// SPDX-License-Identifier: Apache-2.0
//
// Memory whose state is known: zeroed and mapped when it is made, and out of the caches on demand.
#ifndef DIBKIT_BENCH_BUFFER_H
#define DIBKIT_BENCH_BUFFER_H

#include <cstddef>
#include <span>

namespace dibkit::bench {

using Bytes = std::span<const unsigned char>;

// A zeroed range with pages of its own, all of them mapped. Behind it lies at least a page that may
// be read, because some peers read whole vectors past the end of a picture.
class Buffer {
 public:
  Buffer() = default;
  explicit Buffer(size_t bytes);
  Buffer(Buffer&& other) noexcept;
  Buffer& operator=(Buffer&& other) noexcept;
  ~Buffer();

  unsigned char* Data() const { return data_; }
  size_t Size() const { return size_; }
  Bytes View() const { return {data_, size_}; }

 private:
  unsigned char* data_ = nullptr;
  size_t size_ = 0;
};

// Writes the range back and takes it out of every cache.
void Evict(Bytes range);

// The same for everything that malloc holds outside of mappings of its own.
void EvictHeap();

// How malloc serves large requests.
enum class Heap {
  kFresh,  // each gets new pages from the system, as programs see it by default
  kWarm,   // from memory that stays mapped between calls
};
void SetHeap(Heap heap);

}  // namespace dibkit::bench

#endif  // DIBKIT_BENCH_BUFFER_H
