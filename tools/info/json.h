// SPDX-License-Identifier: Apache-2.0
//
// One JSON object on one line.
#ifndef DIBKIT_TOOLS_INFO_JSON_H
#define DIBKIT_TOOLS_INFO_JSON_H

#include <cstdint>
#include <memory>
#include <string>

namespace dibkit::tool {

// Members appear in the order in which they were added.
class JsonLine {
 public:
  JsonLine();
  ~JsonLine();

  // Bytes of `value` that are not UTF-8, as a file name may have, become U+FFFD.
  void AddText(const std::string& name, const std::string& value);
  void AddNumber(const std::string& name, int64_t value);
  void AddFlag(const std::string& name, bool value);

  // The object with a line feed.
  std::string Text() const;

 private:
  struct Object;
  std::unique_ptr<Object> object_;
};

}  // namespace dibkit::tool

#endif  // DIBKIT_TOOLS_INFO_JSON_H
