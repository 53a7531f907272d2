// SPDX-License-Identifier: Apache-2.0
#include "support/guarded_bytes.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace dibtest {
namespace {

size_t PageSize() { return static_cast<size_t>(sysconf(_SC_PAGESIZE)); }

void Demand(bool condition) {
  if (condition) return;
  std::fputs("GuardedBytes: no memory\n", stderr);
  std::abort();
}

}  // namespace

GuardedBytes::GuardedBytes(size_t bytes, GuardSide side) : m_bytes(bytes) {
  const size_t page = PageSize();
  const size_t inside = (bytes + page - 1) / page * page;
  m_mappingBytes = inside + 2 * page;
  void* mapping = mmap(nullptr, m_mappingBytes, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  Demand(mapping != MAP_FAILED);
  m_mapping = static_cast<unsigned char*>(mapping);
  if (inside != 0) Demand(mprotect(m_mapping + page, inside, PROT_READ | PROT_WRITE) == 0);
  m_data = m_mapping + page + (side == GuardSide::kStart ? 0 : inside - bytes);
}

GuardedBytes::GuardedBytes(const std::vector<uint8_t>& content, GuardSide side)
    : GuardedBytes(content.size(), side) {
  std::copy(content.begin(), content.end(), m_data);
}

GuardedBytes::~GuardedBytes() { munmap(m_mapping, m_mappingBytes); }

void GuardedBytes::MakeReadOnly() {
  const size_t page = PageSize();
  if (m_mappingBytes > 2 * page) {
    Demand(mprotect(m_mapping + page, m_mappingBytes - 2 * page, PROT_READ) == 0);
  }
}

}  // namespace dibtest
