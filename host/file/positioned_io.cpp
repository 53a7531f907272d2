// SPDX-License-Identifier: Apache-2.0
#include "file/positioned_io.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "file/descriptor.h"

namespace dibkit::host {

size_t ReadFully(int descriptor, uint64_t offset, std::span<unsigned char> into,
                 const CancelHook& cancelled) {
  size_t done = 0;
  while (done < into.size()) {
    StopIf(cancelled);
    const ssize_t got =
        pread(descriptor, into.data() + done, std::min(into.size() - done, kTransferBytes),
              static_cast<off_t>(offset + done));
    if (got < 0 && errno != EINTR) {
      throw FileError("cannot read", errno);
    }
    if (got == 0) {
      break;
    }
    done += got > 0 ? static_cast<size_t>(got) : 0;
  }
  return done;
}

void WriteFully(int descriptor, uint64_t offset, std::span<const unsigned char> bytes,
                const CancelHook& cancelled) {
  while (!bytes.empty()) {
    StopIf(cancelled);
    const ssize_t put = pwrite(descriptor, bytes.data(), std::min(bytes.size(), kTransferBytes),
                               static_cast<off_t>(offset));
    if (put < 0 && errno != EINTR) {
      throw FileError("cannot write", errno);
    }
    if (put > 0) {
      offset += static_cast<uint64_t>(put);
      bytes = bytes.subspan(static_cast<size_t>(put));
    }
  }
}

}  // namespace dibkit::host
