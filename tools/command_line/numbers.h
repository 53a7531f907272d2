// SPDX-License-Identifier: Apache-2.0
//
// Numbers on the command line: decimal digits and nothing else. No sign, no blanks, no other base
// (0200 is two hundred), no fractions.
#ifndef DIBKIT_TOOLS_COMMAND_LINE_NUMBERS_H
#define DIBKIT_TOOLS_COMMAND_LINE_NUMBERS_H

#include <concepts>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "command_line/option.h"

namespace dibkit::tool {

// The number that the digits spell; none for anything else, and for one beyond 2^64 - 1.
std::optional<uint64_t> NumberOf(std::string_view digits);

// The value of an option between `least` and `most`; otherwise throws UsageError.
uint64_t NumberOption(const std::string& option, const std::string& value, uint64_t least,
                      uint64_t most);

// An option with a number.
template <std::integral Number>
Option Counted(const std::string& name, const std::string& help, uint64_t least, uint64_t most,
               Number& into) {
  return {name, 0, "N", help, [&into, name, least, most](const std::string& value) {
            into = static_cast<Number>(NumberOption(name, value, least, most));
          }};
}

}  // namespace dibkit::tool

#endif  // DIBKIT_TOOLS_COMMAND_LINE_NUMBERS_H
