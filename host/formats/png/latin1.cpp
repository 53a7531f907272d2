// SPDX-License-Identifier: Apache-2.0
#include "formats/png/latin1.h"

#include <cstddef>
#include <cstdint>

namespace dibkit::host::png {
namespace {

// What the first byte of a character says.
struct Lead {
  size_t bytes;     // of the character; 0: none begins so
  uint32_t bits;    // its own
  uint32_t lowest;  // of the characters that need so many bytes
};

Lead LeadOf(unsigned char byte) {
  if (byte < 0x80) {
    return {1, byte, 0};
  }
  if (byte >= 0xC0 && byte < 0xE0) {
    return {2, byte & 0x1FU, 0x80};
  }
  if (byte >= 0xE0 && byte < 0xF0) {
    return {3, byte & 0x0FU, 0x800};
  }
  if (byte >= 0xF0 && byte < 0xF8) {
    return {4, byte & 0x07U, 0x10000};
  }
  return {0, 0, 0};
}

// Takes the first character off; none where it is not well-formed. `text` is not empty.
std::optional<uint32_t> TakeCharacter(std::string_view& text) {
  const Lead lead = LeadOf(static_cast<unsigned char>(text[0]));
  if (lead.bytes == 0 || lead.bytes > text.size()) {
    return std::nullopt;
  }
  uint32_t character = lead.bits;
  for (size_t i = 1; i < lead.bytes; ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    if ((byte & 0xC0U) != 0x80) {
      return std::nullopt;
    }
    character = character << 6 | (byte & 0x3FU);
  }
  const bool surrogate = character >= 0xD800 && character < 0xE000;
  if (character < lead.lowest || character > 0x10FFFF || surrogate) {
    return std::nullopt;
  }
  text.remove_prefix(lead.bytes);
  return character;
}

}  // namespace

bool IsUtf8(std::string_view text) {
  while (!text.empty()) {
    if (!TakeCharacter(text)) {
      return false;
    }
  }
  return true;
}

std::string Utf8OfLatin1(std::string_view text) {
  std::string utf8;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x80) {
      utf8 += c;
    } else {
      utf8 += static_cast<char>(0xC0 | byte >> 6);
      utf8 += static_cast<char>(0x80 | (byte & 0x3F));
    }
  }
  return utf8;
}

std::optional<std::string> Latin1OfUtf8(std::string_view text) {
  std::string latin1;
  while (!text.empty()) {
    const auto character = TakeCharacter(text);
    if (!character || *character > 0xFF || (*character >= 0x7F && *character < 0xA0)) {
      return std::nullopt;
    }
    latin1 += static_cast<char>(*character);
  }
  return latin1;
}

}  // namespace dibkit::host::png
