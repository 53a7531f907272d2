// SPDX-License-Identifier: Apache-2.0
#include "formats/page_texts.h"

#include <algorithm>
#include <string>

namespace dibkit::host {

std::optional<TextKind> TextKindOfTag(uint16_t tag) {
  const auto* const found = std::find(kTextTags.begin(), kTextTags.end(), tag);
  if (found == kTextTags.end()) {
    return std::nullopt;
  }
  return static_cast<TextKind>(found - kTextTags.begin());
}

void AddText(std::vector<PageText>& texts, TextKind kind, std::string_view text) {
  text = text.substr(0, text.find('\0'));
  if (text.find_first_not_of(" \t\r\n") == std::string_view::npos) {
    return;
  }
  const auto place = std::find_if(texts.begin(), texts.end(),
                                  [kind](const PageText& other) { return other.kind >= kind; });
  if (place == texts.end() || place->kind != kind) {
    texts.insert(place, {kind, std::string(text)});
  }
}

}  // namespace dibkit::host
