// SPDX-License-Identifier: Apache-2.0
//
// What codecs say of a file that they read all the same.
#ifndef DIBKIT_HOST_FORMATS_REMARK_H
#define DIBKIT_HOST_FORMATS_REMARK_H

#include <string_view>

namespace dibkit::host {

// Without the word that some codecs begin with: whoever shows a warning says that it is one.
inline std::string_view RemarkOf(std::string_view text) {
  for (const std::string_view word : {"Warning: ", "Warning, "}) {
    if (text.starts_with(word)) {
      return text.substr(word.size());
    }
  }
  return text;
}

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_FORMATS_REMARK_H
