// SPDX-License-Identifier: Apache-2.0
//
// Which bytes are UTF-8.
#ifndef DIBKIT_TOOLS_BATCH_TERMINAL_UTF8_H
#define DIBKIT_TOOLS_BATCH_TERMINAL_UTF8_H

#include <cstddef>
#include <string_view>

namespace dibkit::tool {

// Bytes of the character that `text` begins with, 1 to 4; 0 when there is none. Overlong forms,
// surrogates and values above U+10FFFF are none.
size_t CharacterLength(std::string_view text);

bool IsUtf8(std::string_view text);

}  // namespace dibkit::tool

#endif  // DIBKIT_TOOLS_BATCH_TERMINAL_UTF8_H
