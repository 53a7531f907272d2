// SPDX-License-Identifier: Apache-2.0
#include "ocr/error_rate.h"

#include <algorithm>
#include <array>
#include <numeric>
#include <string_view>
#include <utility>
#include <vector>

namespace dibkit::bench::ocr {
namespace {

// The bytes of the character at the front of a text that is not empty.
size_t CharacterBytes(std::string_view text) {
  size_t bytes = 1;
  while (bytes < text.size() && (static_cast<unsigned char>(text[bytes]) & 0xC0) == 0x80) {
    ++bytes;
  }
  return bytes;
}

std::string_view Plain(std::string_view character) {
  static constexpr std::array<std::pair<std::string_view, std::string_view>, 9> kPlainForms{
      {{"\u2018", "'"},
       {"\u2019", "'"},
       {"\u201C", "\""},
       {"\u201D", "\""},
       {"\u2013", "-"},
       {"\u2014", "-"},
       {"\uFB00", "ff"},
       {"\uFB01", "fi"},
       {"\uFB02", "fl"}}};
  for (const auto& [typographic, plain] : kPlainForms) {
    if (character == typographic) {
      return plain;
    }
  }
  return character;
}

bool IsSpace(std::string_view character) {
  return character.find_first_of(" \t\n\v\f\r") != std::string_view::npos;
}

// A text as its characters, with single blanks.
std::vector<std::string_view> Characters(std::string_view text) {
  static constexpr std::string_view kBlank = " ";
  std::vector<std::string_view> characters;
  bool blank = false;
  for (size_t bytes = 0; !text.empty(); text.remove_prefix(bytes)) {
    bytes = CharacterBytes(text);
    const std::string_view plain = Plain(text.substr(0, bytes));
    if (IsSpace(plain)) {
      blank = !characters.empty();
      continue;
    }
    if (std::exchange(blank, false)) {
      characters.push_back(kBlank);
    }
    const bool several = plain.size() > 1 && static_cast<unsigned char>(plain[0]) < 0x80;
    for (size_t i = 0; i < plain.size(); i += several ? 1 : plain.size()) {
      characters.push_back(several ? plain.substr(i, 1) : plain);
    }
  }
  return characters;
}

}  // namespace

CharacterErrors CompareTexts(const std::string& truth, const std::string& recognised) {
  const std::vector<std::string_view> a = Characters(truth);
  const std::vector<std::string_view> b = Characters(recognised);
  // distance[j]: from the first i characters of `a` to the first j of `b`.
  std::vector<size_t> distance(b.size() + 1);
  std::iota(distance.begin(), distance.end(), size_t{0});
  for (size_t i = 0; i < a.size(); ++i) {
    size_t diagonal = std::exchange(distance[0], i + 1);
    for (size_t j = 0; j < b.size(); ++j) {
      const size_t replaced = diagonal + (a[i] == b[j] ? 0 : 1);
      diagonal = distance[j + 1];
      distance[j + 1] = std::min({replaced, diagonal + 1, distance[j] + 1});
    }
  }
  return {distance[b.size()], a.size()};
}

}  // namespace dibkit::bench::ocr
