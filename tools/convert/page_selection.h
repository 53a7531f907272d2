// SPDX-License-Identifier: Apache-2.0
//
// Which pages of a file are wanted.
#ifndef DIBKIT_TOOLS_CONVERT_PAGE_SELECTION_H
#define DIBKIT_TOOLS_CONVERT_PAGE_SELECTION_H

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace dibkit::tool {

class PageSelection {
 public:
  // All pages.
  PageSelection() = default;
  // "1,3-5": numbers from 1 and ranges with both ends. Throws UsageError, which names `option`.
  static PageSelection Parse(const std::string& option, const std::string& text);

  // Of a file with `count` pages, from 1, ascending, none twice. Throws Failure where one is beyond
  // the last.
  std::vector<uint32_t> Of(uint32_t count) const;

 private:
  std::vector<std::pair<uint32_t, uint32_t>> ranges_;  // first and last
};

}  // namespace dibkit::tool

#endif  // DIBKIT_TOOLS_CONVERT_PAGE_SELECTION_H
