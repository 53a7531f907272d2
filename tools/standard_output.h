// SPDX-License-Identifier: Apache-2.0
//
// Texts for standard output.
#ifndef DIBKIT_TOOLS_STANDARD_OUTPUT_H
#define DIBKIT_TOOLS_STANDARD_OUTPUT_H

#include <string>

namespace dibkit::tool {

// Writes all of `text` at once. Throws FileError, also for a full disk, and Cancelled.
void Print(const std::string& text);

}  // namespace dibkit::tool

#endif  // DIBKIT_TOOLS_STANDARD_OUTPUT_H
