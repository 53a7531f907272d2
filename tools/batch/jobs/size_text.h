// SPDX-License-Identifier: Apache-2.0
//
// Numbers of bytes as people write them.
#ifndef DIBKIT_TOOLS_BATCH_JOBS_SIZE_TEXT_H
#define DIBKIT_TOOLS_BATCH_JOBS_SIZE_TEXT_H

#include <cstdint>
#include <string>
#include <string_view>

namespace dibkit::tool {

// Decimal digits, and K, M, G or T (or k, m, g, t) for powers of 1024: "512M", "2G", "100000".
// Throws UsageError for anything else, for 0 and for what 64 bits do not hold.
uint64_t ParseSize(std::string_view text);

// "1250.5 MiB": bytes below 10 KiB, else one place in the largest unit that leaves ten or more
// before it. `up` rounds up, otherwise down.
std::string SizeText(uint64_t bytes, bool up = false);

}  // namespace dibkit::tool

#endif  // DIBKIT_TOOLS_BATCH_JOBS_SIZE_TEXT_H
