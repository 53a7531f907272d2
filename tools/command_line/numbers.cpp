// SPDX-License-Identifier: Apache-2.0
#include "command_line/numbers.h"

#include <charconv>

#include "batch/terminal/escaped_name.h"

namespace dibkit::tool {
std::optional<uint64_t> NumberOf(std::string_view digits) {
  uint64_t number = 0;
  const char* end = digits.data() + digits.size();
  // A minus sign is no part of an unsigned number to from_chars, and it skips nothing.
  const auto [stop, error] = std::from_chars(digits.data(), end, number);
  if (digits.empty() || stop != end || error != std::errc()) {
    return std::nullopt;
  }
  return number;
}

uint64_t NumberOption(const std::string& option, const std::string& value, uint64_t least,
                      uint64_t most) {
  const auto number = NumberOf(value);
  if (!number || *number < least || *number > most) {
    throw UsageError(option + " takes a number from " + std::to_string(least) + " to " +
                     std::to_string(most) + ", in decimal digits, not '" + EscapedName(value) +
                     "'");
  }
  return *number;
}

}  // namespace dibkit::tool
