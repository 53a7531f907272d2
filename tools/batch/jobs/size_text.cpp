// SPDX-License-Identifier: Apache-2.0
#include "batch/jobs/size_text.h"

#include <charconv>
#include <cstdio>
#include <limits>

#include "batch/terminal/escaped_name.h"
#include "batch/usage_error.h"

namespace dibkit::tool {
namespace {

constexpr std::string_view kUnits = "KMGT";
constexpr unsigned kUnitBits = 10;

// Bits that the last character shifts by; 0 when it is no unit.
unsigned ShiftOf(char unit) {
  const char capital = unit >= 'a' && unit <= 'z' ? static_cast<char>(unit - 'a' + 'A') : unit;
  const size_t at = kUnits.find(capital);
  return at == std::string_view::npos ? 0 : kUnitBits * static_cast<unsigned>(at + 1);
}

}  // namespace

uint64_t ParseSize(std::string_view text) {
  const unsigned shift = text.empty() ? 0 : ShiftOf(text.back());
  const std::string_view digits = text.substr(0, text.size() - (shift != 0 ? 1 : 0));
  uint64_t number = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
  if (error == std::errc::invalid_argument || end != digits.data() + digits.size()) {
    throw UsageError(EscapedName(text) + " is no size: digits, and K, M, G or T if wanted");
  }
  const bool tooLarge =
      error != std::errc() || number > std::numeric_limits<uint64_t>::max() >> shift;
  if (tooLarge || number == 0) {
    throw UsageError(EscapedName(text) + (tooLarge ? " bytes are too many" : " bytes are too few"));
  }
  return number << shift;
}

std::string SizeText(uint64_t bytes, bool up) {
  constexpr uint64_t kPlain = 10'240;
  if (bytes < kPlain) {
    return std::to_string(bytes) + (bytes == 1 ? " byte" : " bytes");
  }
  size_t unit = 0;
  while (unit + 1 < kUnits.size() && bytes >> (kUnitBits * (unit + 1)) >= kPlain) {
    ++unit;
  }
  // Tenths of the unit, without a product that could pass 64 bits.
  const uint64_t size = uint64_t{1} << (kUnitBits * (unit + 1));
  const uint64_t rest = bytes % size * 10;
  const uint64_t tenths = bytes / size * 10 + rest / size + (up && rest % size != 0 ? 1 : 0);
  return std::to_string(tenths / 10) + "." + std::to_string(tenths % 10) + " " + kUnits[unit] +
         "iB";
}

}  // namespace dibkit::tool
