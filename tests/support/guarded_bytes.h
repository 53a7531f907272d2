// SPDX-License-Identifier: Apache-2.0
//
// Raw bytes right before, or right behind, an inaccessible page.
#ifndef DIBKIT_TESTS_SUPPORT_GUARDED_BYTES_H
#define DIBKIT_TESTS_SUPPORT_GUARDED_BYTES_H

#include <cstddef>
#include <cstdint>
#include <vector>

namespace dibtest {

enum class GuardSide { kEnd, kStart };

class GuardedBytes {
 public:
  // `bytes` bytes of 0. kEnd: the byte behind the last is inaccessible. kStart: the byte before the
  // first is. The other side has an inaccessible page too, not always adjacent.
  explicit GuardedBytes(size_t bytes, GuardSide side = GuardSide::kEnd);
  explicit GuardedBytes(const std::vector<uint8_t>& content, GuardSide side = GuardSide::kEnd);
  GuardedBytes(const GuardedBytes&) = delete;
  GuardedBytes& operator=(const GuardedBytes&) = delete;
  ~GuardedBytes();

  // From now on a write is stopped.
  void MakeReadOnly();

  unsigned char* data() { return m_data; }
  size_t size() const { return m_bytes; }
  unsigned char& operator[](size_t index) { return m_data[index]; }
  std::vector<uint8_t> Copy() const { return {m_data, m_data + m_bytes}; }

 private:
  unsigned char* m_mapping;
  size_t m_mappingBytes;
  unsigned char* m_data;
  size_t m_bytes;
};

}  // namespace dibtest

#endif  // DIBKIT_TESTS_SUPPORT_GUARDED_BYTES_H
