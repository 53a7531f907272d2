// SPDX-License-Identifier: Apache-2.0
#include "buffer.h"

#include <malloc.h>
#include <sys/mman.h>
#include <unistd.h>

#include <new>
#include <utility>
#include <vector>

#if defined(__x86_64__) || defined(__i386__)
#include <immintrin.h>
#endif

namespace dibkit::bench {
namespace {

constexpr size_t kPage = 4096;

size_t MappedBytes(size_t bytes) { return (bytes + kPage - 1) / kPage * kPage + kPage; }

}  // namespace

Buffer::Buffer(size_t bytes) : size_(bytes) {
  void* mapped = ::mmap(nullptr, MappedBytes(bytes), PROT_READ | PROT_WRITE,
                        MAP_PRIVATE | MAP_ANONYMOUS | MAP_POPULATE, -1, 0);
  if (mapped == MAP_FAILED) throw std::bad_alloc();
  data_ = static_cast<unsigned char*>(mapped);
}

Buffer::Buffer(Buffer&& other) noexcept
    : data_(std::exchange(other.data_, nullptr)), size_(std::exchange(other.size_, 0)) {}

Buffer& Buffer::operator=(Buffer&& other) noexcept {
  std::swap(data_, other.data_);
  std::swap(size_, other.size_);
  return *this;
}

Buffer::~Buffer() {
  if (data_ != nullptr) {
    ::munmap(data_, MappedBytes(size_));
  }
}

#if defined(__x86_64__) || defined(__i386__)

namespace {

constexpr size_t kLine = 64;

// A great deal faster than the older instruction, because it waits for nothing.
__attribute__((target("clflushopt"))) void EvictUnordered(Bytes range) {
  for (size_t at = 0; at < range.size(); at += kLine) {
    // The intrinsic wants a pointer to data that may change; it changes nothing.
    _mm_clflushopt(const_cast<unsigned char*>(range.data() + at));
  }
}

void EvictInOrder(Bytes range) {
  for (size_t at = 0; at < range.size(); at += kLine) {
    _mm_clflush(range.data() + at);
  }
}

}  // namespace

void Evict(Bytes range) {
  if (__builtin_cpu_supports("clflushopt")) {
    EvictUnordered(range);
  } else {
    EvictInOrder(range);
  }
  _mm_mfence();
}

#else

// No instruction for it that every CPU has: read something larger than the caches instead.
void Evict(Bytes) {
  static const std::vector<unsigned char> walk(size_t{512} << 20, 1);
  static volatile unsigned sum;
  for (size_t at = 0; at < walk.size(); at += 64) {
    sum = sum + walk[at];
  }
}

#endif

void EvictHeap() {
  const size_t bytes = ::mallinfo2().arena;
  const unsigned char* end = static_cast<const unsigned char*>(::sbrk(0));
  Evict({end - bytes, bytes});
}

void SetHeap(Heap heap) {
  constexpr int kDefaultThreshold = 128 << 10;
  constexpr int kDefaultMappings = 65536;
  constexpr int kNeverTrim = -1;
  const bool warm = heap == Heap::kWarm;
  ::mallopt(M_MMAP_THRESHOLD, kDefaultThreshold);
  ::mallopt(M_MMAP_MAX, warm ? 0 : kDefaultMappings);
  ::mallopt(M_TRIM_THRESHOLD, warm ? kNeverTrim : kDefaultThreshold);
}

}  // namespace dibkit::bench
