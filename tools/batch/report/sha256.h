// SPDX-License-Identifier: Apache-2.0
//
// SHA-256 of what was written.
#ifndef DIBKIT_TOOLS_BATCH_REPORT_SHA256_H
#define DIBKIT_TOOLS_BATCH_REPORT_SHA256_H

#include <span>
#include <string>

#include "dibkit/host/errors.h"

namespace dibkit::tool {

// False where libnettle is not built in: the functions below then return an empty text.
bool HasSha256();

// 64 hexadecimal digits, small letters.
std::string Sha256OfBytes(std::span<const unsigned char> bytes);

// The same of a file. Throws FileError and Cancelled.
std::string Sha256OfFile(const std::string& path, const host::CancelHook& cancelled = nullptr);

}  // namespace dibkit::tool

#endif  // DIBKIT_TOOLS_BATCH_REPORT_SHA256_H
