// SPDX-License-Identifier: Apache-2.0
//
// Names of files, which may hold any bytes, for people and terminals.
#ifndef DIBKIT_TOOLS_BATCH_TERMINAL_ESCAPED_NAME_H
#define DIBKIT_TOOLS_BATCH_TERMINAL_ESCAPED_NAME_H

#include <string>
#include <string_view>

namespace dibkit::tool {

// A line feed, carriage return and tab become \n, \r and \t, other control characters (C1 too) and
// bytes that are not UTF-8 \xHH each; all else stays as it is, so that escaping twice changes
// nothing more.
std::string EscapedName(std::string_view name);

}  // namespace dibkit::tool

#endif  // DIBKIT_TOOLS_BATCH_TERMINAL_ESCAPED_NAME_H
