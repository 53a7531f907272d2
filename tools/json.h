// SPDX-License-Identifier: Apache-2.0
//
// One JSON object on one line.
#ifndef DIBKIT_TOOLS_JSON_H
#define DIBKIT_TOOLS_JSON_H

#include <cstdint>
#include <string>
#include <string_view>

namespace dibkit::tool {

// Members appear in the order in which they were added.
class JsonLine {
 public:
  // Bytes of `value` that are not UTF-8, as a file name may have, become U+FFFD.
  void AddText(std::string_view name, std::string_view value);
  void AddNumber(std::string_view name, int64_t value);
  void AddFlag(std::string_view name, bool value);

  // The object with a line feed.
  std::string Text() const { return "{" + members_ + "}\n"; }

 private:
  void AddName(std::string_view name);
  std::string members_;
};

}  // namespace dibkit::tool

#endif  // DIBKIT_TOOLS_JSON_H
