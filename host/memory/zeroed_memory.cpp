// SPDX-License-Identifier: Apache-2.0
#include "memory/zeroed_memory.h"

#include <sys/mman.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <limits>

namespace dibkit::host {
namespace {

constexpr size_t kHugePage = size_t{2} << 20;
constexpr size_t kFewestMapped = 2 * kHugePage;

unsigned char* Map(size_t bytes) {
  void* at = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  return at == MAP_FAILED ? nullptr : static_cast<unsigned char*>(at);
}

// A mapping that begins at a huge page. What is mapped around it is given back.
unsigned char* MapAligned(size_t bytes) {
  unsigned char* whole = Map(bytes + kHugePage);
  if (whole == nullptr) {
    return Map(bytes);
  }
  const size_t before = (kHugePage - reinterpret_cast<uintptr_t>(whole) % kHugePage) % kHugePage;
  if (before != 0) {
    munmap(whole, before);
  }
  munmap(whole + before + bytes, kHugePage - before);
  madvise(whole + before, bytes, MADV_HUGEPAGE);
  return whole + before;
}

}  // namespace

ZeroedMemory::ZeroedMemory(size_t bytes) {
  if (bytes < kFewestMapped || bytes > std::numeric_limits<size_t>::max() - 2 * kHugePage) {
    data_ = static_cast<unsigned char*>(std::calloc(std::max<size_t>(bytes, 1), 1));
    return;
  }
  constexpr size_t kPage = 4096;
  mapped_ = (bytes + kPage - 1) / kPage * kPage;
  data_ = MapAligned(mapped_);
}

ZeroedMemory::~ZeroedMemory() {
  if (mapped_ != 0 && data_ != nullptr) {
    munmap(data_, mapped_);
  } else {
    std::free(data_);
  }
}

}  // namespace dibkit::host
