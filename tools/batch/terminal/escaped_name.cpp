// SPDX-License-Identifier: Apache-2.0
#include "batch/terminal/escaped_name.h"

#include "batch/terminal/utf8.h"

namespace dibkit::tool {
namespace {

// C0, delete and C1; terminals take the last ones for commands too.
bool IsControl(std::string_view character) {
  const auto first = static_cast<unsigned char>(character[0]);
  if (character.size() == 1) {
    return first < 0x20 || first == 0x7F;
  }
  return first == 0xC2 && static_cast<unsigned char>(character[1]) < 0xA0;
}

std::string EscapedByte(char byte) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  switch (byte) {
    case '\n':
      return "\\n";
    case '\r':
      return "\\r";
    case '\t':
      return "\\t";
    default:
      break;
  }
  const auto value = static_cast<unsigned char>(byte);
  return {'\\', 'x', kDigits[value >> 4], kDigits[value & 15]};
}

}  // namespace

std::string EscapedName(std::string_view name) {
  std::string escaped;
  while (!name.empty()) {
    const size_t length = CharacterLength(name);
    const std::string_view character = name.substr(0, length == 0 ? 1 : length);
    if (length == 0 || IsControl(character)) {
      for (const char byte : character) {
        escaped += EscapedByte(byte);
      }
    } else {
      escaped += character;
    }
    name.remove_prefix(character.size());
  }
  return escaped;
}

}  // namespace dibkit::tool
