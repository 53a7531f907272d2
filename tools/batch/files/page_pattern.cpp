// SPDX-License-Identifier: Apache-2.0
#include "batch/files/page_pattern.h"

#include <algorithm>
#include <optional>
#include <string_view>

#include "batch/terminal/escaped_name.h"
#include "batch/usage_error.h"

namespace dibkit::tool {
namespace {

constexpr unsigned kMostDigits = 20;

struct Conversion {
  size_t length = 0;  // characters of "%03d"
  char fill = ' ';
  unsigned width = 0;
};

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// The conversion that `text` begins with. A width over the limit stays over it.
std::optional<Conversion> ReadConversion(std::string_view text) {
  Conversion conversion;
  size_t at = 1;
  if (at < text.size() && text[at] == '0') {
    conversion.fill = '0';
    ++at;
  }
  for (; at < text.size() && IsDigit(text[at]); ++at) {
    conversion.width =
        std::min(conversion.width * 10 + static_cast<unsigned>(text[at] - '0'), kMostDigits + 1);
  }
  if (at == text.size() || text[at] != 'd') {
    return std::nullopt;
  }
  conversion.length = at + 1;
  return conversion;
}

}  // namespace

PagePattern PagePattern::Plain(const std::string& name) {
  PagePattern pattern;
  pattern.before_ = name;
  return pattern;
}

PagePattern PagePattern::Beside(const std::string& stem, const std::string& suffix) {
  PagePattern pattern;
  pattern.before_ = stem + "-";
  pattern.after_ = suffix;
  pattern.width_ = 3;
  pattern.fill_ = '0';
  pattern.hasNumber_ = true;
  return pattern;
}

PagePattern PagePattern::Parse(const std::string& text) {
  PagePattern pattern;
  for (std::string_view rest = text; !rest.empty();) {
    const auto conversion = rest[0] == '%' ? ReadConversion(rest) : std::nullopt;
    if (!conversion) {
      (pattern.hasNumber_ ? pattern.after_ : pattern.before_) += rest[0];
      rest.remove_prefix(rest.starts_with("%%") ? 2 : 1);
      continue;
    }
    if (pattern.hasNumber_) {
      throw UsageError(EscapedName(text) + " has two places for the number of a page");
    }
    if (conversion->width > kMostDigits) {
      throw UsageError(EscapedName(text) + " wants numbers of more than " +
                       std::to_string(kMostDigits) + " digits");
    }
    pattern.hasNumber_ = true;
    pattern.width_ = conversion->width;
    pattern.fill_ = conversion->fill;
    rest.remove_prefix(conversion->length);
  }
  return pattern;
}

std::string PagePattern::Name(uint64_t number) const {
  if (!hasNumber_) {
    return before_;
  }
  const std::string digits = std::to_string(number);
  const size_t missing = width_ > digits.size() ? width_ - digits.size() : 0;
  return before_ + std::string(missing, fill_) + digits + after_;
}

}  // namespace dibkit::tool
