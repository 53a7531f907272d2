// SPDX-License-Identifier: Apache-2.0
#include "AutoClass.h"

#include <cstddef>

namespace {

// On i386 hosts rely on the size and on where the fields stand.
#if defined(__i386__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Winvalid-offsetof"
static_assert(offsetof(CHandle, m_hHandle) == 4);
static_assert(offsetof(CHandle, m_pData) == 8);
static_assert(offsetof(CHandle, m_bLocked) == 12);
static_assert(sizeof(CHandle) == 16);
#pragma GCC diagnostic pop
#endif

void UnlockToZero(tagHANDLE* handle) {
  while ((GlobalFlags(handle) & GMEM_LOCKCOUNT) != 0) {
    GlobalUnlock(handle);
  }
}

}  // namespace

CHandle::CHandle(tagHANDLE* handle) : m_hHandle(nullptr), m_pData(nullptr), m_bLocked(false) {
  if (handle == nullptr || GlobalFlags(handle) == GMEM_INVALID_HANDLE) {
    return;
  }
  m_hHandle = handle;
  UnlockToZero(handle);
}

// Not a copy-and-swap: both wrappers own the block afterwards, and hosts rely on it.
CHandle& CHandle::operator=(const CHandle& other) {
  m_hHandle = other.m_hHandle;
  m_pData = other.m_pData;
  m_bLocked = other.m_bLocked;
  return *this;
}

CHandle::~CHandle() { Cleanup(); }

void CHandle::Cleanup() { Free(); }

void CHandle::Free() {
  if (m_hHandle != nullptr) {
    if (m_bLocked) {
      UnlockToZero(m_hHandle);
    }
    GlobalFree(m_hHandle);
  }
  Detach();
}

void* CHandle::Lock() {
  if (!m_bLocked && m_hHandle != nullptr) {
    m_pData = GlobalLock(m_hHandle);
    if (m_pData != nullptr) {
      m_bLocked = true;
    } else {
      UnlockToZero(m_hHandle);
    }
  }
  return m_pData;
}

void CHandle::UnLock() {
  if (m_bLocked && m_hHandle != nullptr) {
    UnlockToZero(m_hHandle);
  }
  m_bLocked = false;
  m_pData = nullptr;
}

void CHandle::Detach() {
  m_hHandle = nullptr;
  m_bLocked = false;
  m_pData = nullptr;
}

tagHANDLE* CHandle::GetHandle() {
  tagHANDLE* handle = m_hHandle;
  Detach();
  return handle;
}

bool CHandle::IsEmpty() { return m_hHandle == nullptr; }

void CHandle::SetHandle(tagHANDLE* handle) {
  Cleanup();
  m_hHandle = handle;
}

unsigned char& CHandle::operator[](int index) { return static_cast<unsigned char*>(Lock())[index]; }

CHandle::operator unsigned long*() { return static_cast<unsigned long*>(Lock()); }
CHandle::operator unsigned int*() { return static_cast<unsigned int*>(Lock()); }
CHandle::operator unsigned short*() { return static_cast<unsigned short*>(Lock()); }
CHandle::operator unsigned char*() { return static_cast<unsigned char*>(Lock()); }
CHandle::operator long*() { return static_cast<long*>(Lock()); }
CHandle::operator int*() { return static_cast<int*>(Lock()); }
CHandle::operator short*() { return static_cast<short*>(Lock()); }
CHandle::operator char*() { return static_cast<char*>(Lock()); }
