// SPDX-License-Identifier: Apache-2.0
#include "json.h"

#include <cstdio>

namespace dibkit::tool {
namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

// Bytes of the UTF-8 character that `text` begins with, 0 when there is none. Overlong forms,
// surrogates and values above U+10FFFF are none.
size_t CharacterLength(std::string_view text) {
  const auto byte = [&](size_t at) {
    return at < text.size() ? static_cast<unsigned char>(text[at]) : 0U;
  };
  const auto continues = [&](size_t at) { return (byte(at) & 0xC0) == 0x80; };
  const unsigned lead = byte(0);
  const unsigned second = byte(1);
  if (lead < 0x80) {
    return 1;
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

std::string Escaped(char character) {
  char text[8];
  std::snprintf(text, sizeof text, "\\u%04x", static_cast<unsigned>(character));
  return text;
}

std::string Quoted(std::string_view value) {
  std::string text = "\"";
  while (!value.empty()) {
    const size_t length = CharacterLength(value);
    const char first = value[0];
    if (length == 0) {
      text += kReplacement;
    } else if (first == '"' || first == '\\') {
      text += '\\';
      text += first;
    } else if (length == 1 && first < ' ') {
      text += Escaped(first);
    } else {
      text += value.substr(0, length);
    }
    value.remove_prefix(length == 0 ? 1 : length);
  }
  return text + '"';
}

}  // namespace

void JsonLine::AddName(std::string_view name) {
  if (!members_.empty()) {
    members_ += ", ";
  }
  members_ += Quoted(name) + ": ";
}

void JsonLine::AddText(std::string_view name, std::string_view value) {
  AddName(name);
  members_ += Quoted(value);
}

void JsonLine::AddNumber(std::string_view name, int64_t value) {
  AddName(name);
  members_ += std::to_string(value);
}

void JsonLine::AddFlag(std::string_view name, bool value) {
  AddName(name);
  members_ += value ? "true" : "false";
}

}  // namespace dibkit::tool
