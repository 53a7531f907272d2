// SPDX-License-Identifier: Apache-2.0
#include "convert/page_selection.h"

#include <algorithm>
#include <limits>
#include <numeric>
#include <set>
#include <string_view>

#include "batch/terminal/escaped_name.h"
#include "batch/usage_error.h"
#include "command_line/numbers.h"

namespace dibkit::tool {
namespace {

// 0 for anything but a page number.
uint32_t PageNumber(std::string_view text) {
  const auto number = NumberOf(text);
  return number && *number <= std::numeric_limits<uint32_t>::max() ? static_cast<uint32_t>(*number)
                                                                   : 0;
}

std::pair<uint32_t, uint32_t> Range(std::string_view text) {
  const size_t dash = text.find('-');
  const uint32_t first = PageNumber(text.substr(0, dash));
  return {first, dash == std::string_view::npos ? first : PageNumber(text.substr(dash + 1))};
}

}  // namespace

PageSelection PageSelection::Parse(const std::string& option, const std::string& text) {
  PageSelection selection;
  std::string_view rest = text;
  for (size_t comma = 0; comma != std::string_view::npos;) {
    comma = rest.find(',');
    const auto range = Range(rest.substr(0, comma));
    if (range.first == 0 || range.second < range.first) {
      throw UsageError(option + " takes page numbers from 1 and ranges of them, as 1,3-5, not '" +
                       EscapedName(text) + "'");
    }
    selection.ranges_.push_back(range);
    rest.remove_prefix(comma == std::string_view::npos ? rest.size() : comma + 1);
  }
  return selection;
}

std::vector<uint32_t> PageSelection::Of(uint32_t count) const {
  if (ranges_.empty()) {
    std::vector<uint32_t> all(count);
    std::iota(all.begin(), all.end(), 1U);
    return all;
  }
  std::set<uint32_t> pages;
  for (const auto& [first, last] : ranges_) {
    if (last > count) {
      throw Failure("there is no page " + std::to_string(std::max(first, count + 1)) +
                    ", the file has " + std::to_string(count) + (count == 1 ? " page" : " pages"));
    }
    for (uint64_t page = first; page <= last; ++page) {
      pages.insert(static_cast<uint32_t>(page));
    }
  }
  return {pages.begin(), pages.end()};
}

}  // namespace dibkit::tool
