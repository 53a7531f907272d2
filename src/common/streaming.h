// SPDX-License-Identifier: Apache-2.0
//
// Writing past the caches. A result too large to stay in them until somebody reads it costs half
// the traffic this way, because no old bytes are fetched first.
#ifndef DIBKIT_SRC_COMMON_STREAMING_H
#define DIBKIT_SRC_COMMON_STREAMING_H

#include <cstddef>
#include <cstdint>

#include "common/cpu.h"

namespace dibkit {

inline constexpr size_t kCacheLine = 64;

inline size_t BytesIntoLine(const void* at) { return reinterpret_cast<uintptr_t>(at) % kCacheLine; }

struct LineStream {
  // Copies whole cache lines; `target` is aligned to them.
  void (*copy)(const uint8_t* source, uint8_t* target, size_t lines);
  // Makes all such copies visible to other threads.
  void (*end)();
};

// How to write `bytes` of a result: null for the ordinary way. That is better for small results,
// which stay in the caches until somebody reads them, and for memory that the system has yet to
// map, which comes zeroed and through the caches.
const LineStream* LineStreamInto(const uint8_t* result, size_t bytes, CpuLevel level);

// Copies `count` bytes, the whole lines among them past the caches.
void StreamBytes(const LineStream& stream, const uint8_t* source, uint8_t* target, size_t count);

}  // namespace dibkit

#endif  // DIBKIT_SRC_COMMON_STREAMING_H
