// SPDX-License-Identifier: Apache-2.0
#include "formats/tiff/messages.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <exception>
#include <string_view>
#include <utility>

#include "formats/remark.h"

namespace dibkit::host::tiff {
namespace {

constexpr unsigned kMostWarnings = 4;

// libtiff puts the name of the file, see kTiffName, before some of its sentences.
constexpr std::string_view kFileName = "TIFF: ";

bool Contains(std::string_view text, std::string_view part) {
  return text.find(part) != std::string_view::npos;
}

// One line, whatever the file has put into it.
std::string Line(const char* format, va_list arguments) {
  std::array<char, 512> raw{};
  std::vsnprintf(raw.data(), raw.size(), format, arguments);
  std::string_view text(raw.data());
  if (text.substr(0, kFileName.size()) == kFileName) {
    text.remove_prefix(kFileName.size());
  }
  std::string line;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte >= ' ' && byte != 0x7F) {
      line += c;
      continue;
    }
    std::array<char, 5> escaped{};
    std::snprintf(escaped.data(), escaped.size(), "\\x%02X", unsigned{byte});
    line += escaped.data();
  }
  while (!line.empty() && (line.back() == '.' || line.back() == ' ')) {
    line.pop_back();
  }
  return line;
}

// The fax and JPEG decoders go on with white or grey when the data end early or make no sense, and
// call that a warning.
bool TellsOfLostPixels(std::string_view warning) {
  return Contains(warning, "Premature EOF") || Contains(warning, "remature end") ||
         (Contains(warning, "Corrupt JPEG data") && !Contains(warning, "extraneous bytes"));
}

// Tags that libtiff has no name for are everyday; that old files should be written anew helps
// nobody.
bool IsIdle(std::string_view warning) {
  return Contains(warning, "Unknown field with tag") || Contains(warning, "old-style JPEG");
}

}  // namespace

int Messages::OnError(TIFF* /*tiff*/, void* messages, const char* /*module*/, const char* format,
                      va_list arguments) noexcept {
  try {
    static_cast<Messages*>(messages)->error_ = Line(format, arguments);
  } catch (const std::exception&) {
    // The call that failed tells of it too.
  }
  return 1;
}

int Messages::OnWarning(TIFF* tiff, void* messages, const char* module, const char* format,
                        va_list arguments) noexcept {
  try {
    va_list again;
    va_copy(again, arguments);
    const std::string line = Line(format, again);
    va_end(again);
    if (TellsOfLostPixels(line)) {
      return OnError(tiff, messages, module, format, arguments);
    }
    if (!IsIdle(line)) {
      static_cast<Messages*>(messages)->AddWarning(std::string(RemarkOf(line)));
    }
  } catch (const std::exception&) {
    // A warning less.
  }
  return 1;
}

void Messages::AddWarning(const std::string& text) {
  if (heard_ < kMostWarnings &&
      std::find(warnings_.begin(), warnings_.end(), text) == warnings_.end()) {
    warnings_.push_back(text);
    ++heard_;
  }
}

std::string Messages::Complaint(const std::string& what) const {
  return error_.empty() ? what : what + " (" + error_ + ")";
}

void Messages::Forgive() {
  if (HasError()) {
    AddWarning(std::exchange(error_, {}));
  }
}

void Messages::Deliver(const WarningHook& hook) {
  for (const std::string& text : std::exchange(warnings_, {})) {
    if (hook) {
      hook(text);
    }
  }
}

}  // namespace dibkit::host::tiff
