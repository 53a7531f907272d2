// SPDX-License-Identifier: Apache-2.0
//
// pread and pwrite that go on until all is done, in pieces between which a hook can stop them.
#ifndef DIBKIT_HOST_FILE_POSITIONED_IO_H
#define DIBKIT_HOST_FILE_POSITIONED_IO_H

#include <fcntl.h>

#include <cstdint>
#include <span>

#include "dibkit/host/errors.h"

namespace dibkit::host {

// Returns how many bytes there were before the file ended. Throws FileError or Cancelled.
size_t ReadFully(int descriptor, uint64_t offset, std::span<unsigned char> into,
                 const CancelHook& cancelled);

// Throws FileError or Cancelled.
void WriteFully(int descriptor, uint64_t offset, std::span<const unsigned char> bytes,
                const CancelHook& cancelled);

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_FILE_POSITIONED_IO_H
