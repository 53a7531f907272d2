// SPDX-License-Identifier: Apache-2.0
#include "batch/terminal/utf8.h"

namespace dibkit::tool {

size_t CharacterLength(std::string_view text) {
  const auto byte = [&](size_t at) {
    return at < text.size() ? static_cast<unsigned char>(text[at]) : 0U;
  };
  const auto continues = [&](size_t at) { return (byte(at) & 0xC0) == 0x80; };
  const unsigned lead = byte(0);
  const unsigned second = byte(1);
  if (lead < 0x80) {
    return text.empty() ? 0 : 1;
  }
  if (lead >= 0xC2 && lead <= 0xDF) {
    return continues(1) ? 2 : 0;
  }
  if (lead >= 0xE0 && lead <= 0xEF) {
    const bool allowed = !(lead == 0xE0 && second < 0xA0) && !(lead == 0xED && second >= 0xA0);
    return allowed && continues(1) && continues(2) ? 3 : 0;
  }
  if (lead >= 0xF0 && lead <= 0xF4) {
    const bool allowed = !(lead == 0xF0 && second < 0x90) && !(lead == 0xF4 && second >= 0x90);
    return allowed && continues(1) && continues(2) && continues(3) ? 4 : 0;
  }
  return 0;
}

bool IsUtf8(std::string_view text) {
  while (!text.empty()) {
    const size_t length = CharacterLength(text);
    if (length == 0) {
      return false;
    }
    text.remove_prefix(length);
  }
  return true;
}

}  // namespace dibkit::tool
