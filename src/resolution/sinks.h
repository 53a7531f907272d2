// SPDX-License-Identifier: Apache-2.0
//
// Opening the byte sinks of the driver and reading from them.
#ifndef DIBKIT_SRC_RESOLUTION_SINKS_H
#define DIBKIT_SRC_RESOLUTION_SINKS_H

#include <cstddef>

#include "Cnv_res_mem.h"

namespace dibkit::resolution {

// Values of CBufTransfer::m_wKind.
inline constexpr unsigned short kSinkNone = 0;
inline constexpr unsigned short kSinkMemory = 1;
inline constexpr unsigned short kSinkFile = 2;

inline bool IsFile(const CBufTransfer& sink) { return sink.m_wKind == kSinkFile; }

void OpenSource(unsigned short mode, const void* src, CBufTransfer& sink);
void OpenDestination(unsigned short mode, void* dst, CBufTransfer& sink);

// Reads `length` bytes at the position and moves it behind them. False when there are not as many.
bool ReadNext(CBufTransfer& sink, void* buffer, size_t length);

// Reads or writes `length` bytes; false on a missing descriptor, an error or a short transfer.
bool ReadFile(int file, void* buffer, size_t length);
bool WriteFile(int file, const void* buffer, size_t length);

// The position in a file as the sinks keep it.
unsigned long FilePosition(int file);

}  // namespace dibkit::resolution

#endif  // DIBKIT_SRC_RESOLUTION_SINKS_H
