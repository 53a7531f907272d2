// SPDX-License-Identifier: Apache-2.0
#include "common/streaming.h"

#include <sys/mman.h>

#include <algorithm>
#include <cstring>

#include "common/simd.h"

namespace dibkit {

namespace {

#ifdef DIBKIT_X86

DIBKIT_TARGET_AVX2 void CopyLinesAvx2(const uint8_t* source, uint8_t* target, size_t lines) {
  for (const uint8_t* const end = source + lines * kCacheLine; source != end;
       source += kCacheLine, target += kCacheLine) {
    const auto* const from = reinterpret_cast<const __m256i*>(source);
    auto* const to = reinterpret_cast<__m256i*>(target);
    const __m256i low = _mm256_loadu_si256(from);
    const __m256i high = _mm256_loadu_si256(from + 1);
    _mm256_stream_si256(to, low);
    _mm256_stream_si256(to + 1, high);
  }
}

DIBKIT_TARGET_AVX512 void CopyLinesAvx512(const uint8_t* source, uint8_t* target, size_t lines) {
  for (const uint8_t* const end = source + lines * kCacheLine; source != end;
       source += kCacheLine, target += kCacheLine) {
    _mm512_stream_si512(reinterpret_cast<__m512i*>(target), _mm512_loadu_si512(source));
  }
}

void Fence() { _mm_sfence(); }

constexpr LineStream kAvx2Stream = {CopyLinesAvx2, Fence};
constexpr LineStream kAvx512Stream = {CopyLinesAvx512, Fence};

// Null where there is no way past the caches.
const LineStream* LineStreamOf(CpuLevel level) {
  switch (level) {
    case CpuLevel::kAvx512:
      return &kAvx512Stream;
    case CpuLevel::kAvx2:
      return &kAvx2Stream;
    default:
      return nullptr;
  }
}

#else

const LineStream* LineStreamOf(CpuLevel /*level*/) { return nullptr; }

#endif  // DIBKIT_X86

// About what the caches next to a core hold.
constexpr size_t kStreamFrom = size_t{2} << 20;
constexpr size_t kPage = 4096;  // the smallest that a system has

// Whether the page around `at` is in memory. No answer counts as no.
bool IsMapped(const uint8_t* at) {
  unsigned char state = 0;
  void* const page = const_cast<uint8_t*>(at - reinterpret_cast<uintptr_t>(at) % kPage);
  return ::mincore(page, kPage, &state) == 0 && (state & 1) != 0;
}

}  // namespace

const LineStream* LineStreamInto(const uint8_t* result, size_t bytes, CpuLevel level) {
  if (bytes < kStreamFrom) return nullptr;
  const bool mapped =
      IsMapped(result) && IsMapped(result + bytes / 2) && IsMapped(result + bytes - 1);
  return mapped ? LineStreamOf(level) : nullptr;
}

void StreamBytes(const LineStream& stream, const uint8_t* source, uint8_t* target, size_t count) {
  const size_t head = std::min((kCacheLine - BytesIntoLine(target)) % kCacheLine, count);
  std::memcpy(target, source, head);
  const size_t lines = (count - head) / kCacheLine;
  stream.copy(source + head, target + head, lines);
  const size_t done = head + lines * kCacheLine;
  std::memcpy(target + done, source + done, count - done);
}

}  // namespace dibkit
