// SPDX-License-Identifier: Apache-2.0
#include "resolution/sinks.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>

namespace dibkit::resolution {
namespace {

void OpenBlock(tagHANDLE* handle, CBufTransfer& sink) {
  sink.m_wKind = kSinkMemory;
  sink.m_hHandle = handle;
  if (handle != nullptr) {
    sink.m_pData = static_cast<unsigned char*>(GlobalLock(handle));
  }
}

bool IsWhole(ssize_t transferred, size_t length) {
  return transferred >= 0 && static_cast<size_t>(transferred) == length;
}

void OpenFile(int file, CBufTransfer& sink) {
  sink.m_wKind = kSinkFile;
  sink.m_iFile = file;
}

}  // namespace

void OpenSource(unsigned short mode, const void* src, CBufTransfer& sink) {
  if ((mode & TRANSFORM_SRC_FILE) != 0) {
    OpenFile(::open(static_cast<const char*>(src), O_RDWR), sink);
  } else if ((mode & TRANSFORM_SRC_MEMORY) != 0) {
    OpenBlock(*static_cast<tagHANDLE* const*>(src), sink);
  }
}

void OpenDestination(unsigned short mode, void* dst, CBufTransfer& sink) {
  if ((mode & TRANSFORM_DST_FILE) != 0) {
    // Others may write, nobody may read: the permission that hosts have always got.
    constexpr mode_t kPermission = 2;
    OpenFile(::creat(static_cast<const char*>(dst), kPermission), sink);
  } else if ((mode & TRANSFORM_DST_MEMORY) != 0) {
    OpenBlock(*static_cast<tagHANDLE* const*>(dst), sink);
  }
}

bool ReadNext(CBufTransfer& sink, void* buffer, size_t length) {
  if (IsFile(sink)) {
    if (!ReadFile(sink.m_iFile, buffer, length)) return false;
    sink.m_dwPosition = FilePosition(sink.m_iFile);
    return true;
  }
  if (sink.m_pData == nullptr) return false;
  std::memcpy(buffer, sink.m_pData + static_cast<uint32_t>(sink.m_dwPosition), length);
  sink.m_dwPosition = static_cast<uint32_t>(sink.m_dwPosition + length);
  return true;
}

bool ReadFile(int file, void* buffer, size_t length) {
  return file != -1 && IsWhole(::read(file, buffer, length), length);
}

bool WriteFile(int file, const void* buffer, size_t length) {
  return file != -1 && IsWhole(::write(file, buffer, length), length);
}

unsigned long FilePosition(int file) { return static_cast<uint32_t>(::lseek(file, 0, SEEK_CUR)); }

}  // namespace dibkit::resolution
