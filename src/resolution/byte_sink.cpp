// SPDX-License-Identifier: Apache-2.0
//
// The exported members of the byte sink.
#include <unistd.h>

#include <cstdint>
#include <cstring>

#include "Cnv_res_mem.h"
#include "resolution/sinks.h"

using namespace dibkit::resolution;

CBufTransfer::~CBufTransfer() {
  m_dwPosition = 0;
  if (m_wKind == kSinkMemory && m_pData != nullptr) {
    GlobalUnlock(m_hHandle);
    m_pData = nullptr;
    m_hHandle = nullptr;
  } else if (m_wKind == kSinkFile && m_iFile != -1) {
    ::close(m_iFile);
    m_iFile = -1;
  }
}

int CBufTransfer::SetData(unsigned long offset, unsigned long length, void* buffer, int append) {
  const uint32_t bytes = static_cast<uint32_t>(length);
  if (!IsFile(*this)) {
    if (m_pData == nullptr) return 0;
    const uint32_t start = static_cast<uint32_t>(append == 1 ? offset + m_dwPosition : offset);
    std::memcpy(m_pData + start, buffer, bytes);
    m_dwPosition = static_cast<uint32_t>(start + bytes);
    return 1;
  }
  if (m_hHandle == nullptr) return 0;
  if (append == 0 &&
      ::lseek(m_iFile, static_cast<off_t>(static_cast<uint32_t>(offset)), SEEK_SET) == -1) {
    return 0;
  }
  if (!WriteFile(m_iFile, buffer, bytes)) return 0;
  m_dwPosition = FilePosition(m_iFile);
  return 1;
}
