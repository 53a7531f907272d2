// SPDX-License-Identifier: Apache-2.0
//
// No SHA-256: libnettle is not built in.
#include "batch/report/sha256.h"

namespace dibkit::tool {

bool HasSha256() { return false; }

std::string Sha256OfBytes(std::span<const unsigned char> /*bytes*/) { return ""; }

std::string Sha256OfFile(const std::string& /*path*/, const host::CancelHook& /*cancelled*/) {
  return "";
}

}  // namespace dibkit::tool
