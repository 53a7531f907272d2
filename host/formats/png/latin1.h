// SPDX-License-Identifier: Apache-2.0
//
// Texts in UTF-8 and in Latin-1, of which a file does not always say which it holds.
#ifndef DIBKIT_HOST_FORMATS_PNG_LATIN1_H
#define DIBKIT_HOST_FORMATS_PNG_LATIN1_H

#include <optional>
#include <string>
#include <string_view>

namespace dibkit::host::png {

// True for well-formed UTF-8: the shortest form, no surrogates, up to U+10FFFF. ASCII is so too.
bool IsUtf8(std::string_view text);

// Latin-1 as UTF-8.
std::string Utf8OfLatin1(std::string_view text);

// UTF-8 as Latin-1; none where a character is not there, or is a control character beyond ASCII.
std::optional<std::string> Latin1OfUtf8(std::string_view text);

}  // namespace dibkit::host::png

#endif  // DIBKIT_HOST_FORMATS_PNG_LATIN1_H
