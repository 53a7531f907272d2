// SPDX-License-Identifier: Apache-2.0
//
// Replaces every form of operator new by one that can be made to fail.
#include <cstdlib>
#include <new>

#include "support/fault.h"

namespace {

const bool installed = [] { return dibtest::can_fail_new = true; }();

void* Allocate(std::size_t size) noexcept {
  if (installed && dibtest::FaultStrikes(dibtest::Fault::kNew)) return nullptr;
  return std::malloc(size != 0 ? size : 1);
}

void* AllocateAligned(std::size_t size, std::align_val_t alignment) noexcept {
  if (installed && dibtest::FaultStrikes(dibtest::Fault::kNew)) return nullptr;
  const std::size_t step = static_cast<std::size_t>(alignment);
  return std::aligned_alloc(step, (size + step) / step * step);
}

void* OrThrow(void* memory) {
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

}  // namespace

void* operator new(std::size_t size) { return OrThrow(Allocate(size)); }
void* operator new[](std::size_t size) { return OrThrow(Allocate(size)); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return Allocate(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return Allocate(size); }
void* operator new(std::size_t size, std::align_val_t a) {
  return OrThrow(AllocateAligned(size, a));
}
void* operator new[](std::size_t size, std::align_val_t a) {
  return OrThrow(AllocateAligned(size, a));
}
void* operator new(std::size_t size, std::align_val_t a, const std::nothrow_t&) noexcept {
  return AllocateAligned(size, a);
}
void* operator new[](std::size_t size, std::align_val_t a, const std::nothrow_t&) noexcept {
  return AllocateAligned(size, a);
}

void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete(void* memory, const std::nothrow_t&) noexcept { std::free(memory); }
void operator delete[](void* memory, const std::nothrow_t&) noexcept { std::free(memory); }
void operator delete(void* memory, std::align_val_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::align_val_t) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t, std::align_val_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t, std::align_val_t) noexcept { std::free(memory); }
void operator delete(void* memory, std::align_val_t, const std::nothrow_t&) noexcept {
  std::free(memory);
}
void operator delete[](void* memory, std::align_val_t, const std::nothrow_t&) noexcept {
  std::free(memory);
}
