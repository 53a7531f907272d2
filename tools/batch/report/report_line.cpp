// SPDX-License-Identifier: Apache-2.0
#include "batch/report/report_line.h"

#include <array>
#include <charconv>
#include <limits>
#include <nlohmann/json.hpp>

#include "batch/terminal/utf8.h"

namespace dibkit::tool {
namespace {

using Json = nlohmann::ordered_json;

// ---- writing -----------------------------------------------------------------------------------

// What is no UTF-8 becomes U+FFFD.
std::string LineOf(const Json& object) {
  return object.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

std::string Hexadecimal(const std::string& bytes) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    text += kDigits[byte >> 4];
    text += kDigits[byte & 15];
  }
  return text;
}

void AddText(Json& object, const std::string& name, const std::string& text) {
  if (!text.empty()) {
    object[name] = text;
  }
}

void AddPath(Json& object, const std::string& name, const std::string& path) {
  AddText(object, name, path);
  if (!IsUtf8(path)) {
    object[name + "_bytes"] = Hexadecimal(path);
  }
}

void AddNumber(Json& object, const std::string& name, uint64_t number) {
  if (number != 0) {
    object[name] = number;
  }
}

void AddSide(Json& object, const std::string& prefix, const PageSide& side) {
  AddText(object, prefix + "format", side.format);
  AddNumber(object, prefix + "width", side.width);
  AddNumber(object, prefix + "height", side.height);
  AddNumber(object, prefix + "bits", side.bits);
  AddNumber(object, prefix + "dpi_x", side.dpiX);
  AddNumber(object, prefix + "dpi_y", side.dpiY);
}

// ---- reading -----------------------------------------------------------------------------------

// The members of an object. Those that are not there leave their place as it is; one that is no
// good is noted.
class Members {
 public:
  explicit Members(const Json& object) : object_(object) {}
  bool AreGood() const { return good_; }

  void Read(const std::string& name, std::string& into) {
    if (const Json* member = Find(name)) {
      good_ = good_ && member->is_string();
      into = good_ ? member->get<std::string>() : "";
    }
  }

  void ReadPath(const std::string& name, std::string& into) {
    std::string hexadecimal;
    Read(name, into);
    Read(name + "_bytes", hexadecimal);
    if (!hexadecimal.empty()) {
      into = BytesOf(hexadecimal);
    }
  }

  template <typename Number>
  void Read(const std::string& name, Number& into) {
    if (const Json* member = Find(name)) {
      good_ = good_ && member->is_number_unsigned() &&
              member->get<uint64_t>() <= std::numeric_limits<Number>::max();
      into = good_ ? member->get<Number>() : 0;
    }
  }

  void Read(PageStatus& status) {
    std::string text;
    Read("status", text);
    for (const PageStatus each :
         {PageStatus::kDone, PageStatus::kFailed, PageStatus::kSkipped, PageStatus::kInterrupted}) {
      if (text == StatusName(each)) {
        status = each;
        return;
      }
    }
    good_ = false;
  }

  void Read(const std::string& prefix, PageSide& side) {
    Read(prefix + "format", side.format);
    Read(prefix + "width", side.width);
    Read(prefix + "height", side.height);
    Read(prefix + "bits", side.bits);
    Read(prefix + "dpi_x", side.dpiX);
    Read(prefix + "dpi_y", side.dpiY);
  }

 private:
  const Json* Find(const std::string& name) const {
    const auto found = object_.find(name);
    return found == object_.end() ? nullptr : &*found;
  }

  std::string BytesOf(const std::string& hexadecimal) {
    std::string bytes;
    for (size_t at = 0; at + 2 <= hexadecimal.size(); at += 2) {
      const char* const first = hexadecimal.data() + at;
      unsigned char byte = 0;
      good_ = good_ && std::from_chars(first, first + 2, byte, 16).ptr == first + 2;
      bytes += static_cast<char>(byte);
    }
    good_ = good_ && hexadecimal.size() % 2 == 0;
    return bytes;
  }

  const Json& object_;
  bool good_ = true;
};

}  // namespace

std::string ReportLine(const PageRecord& record) {
  Json object;
  AddPath(object, "input", record.input.path);
  AddNumber(object, "page", record.page);
  AddNumber(object, "pages", record.pages);
  object["status"] = StatusName(record.status);
  AddText(object, "message", record.message);
  AddPath(object, "output", record.output.path);
  AddText(object, "sha256", record.sha256);
  AddNumber(object, "milliseconds", record.milliseconds);
  AddNumber(object, "peak_bytes", record.peakBytes);
  AddSide(object, "input_", record.input);
  AddSide(object, "output_", record.output);
  return LineOf(object);
}

std::optional<PageRecord> ParseReportLine(std::string_view line) {
  const Json object = Json::parse(line, nullptr, false);
  if (!object.is_object()) {
    return std::nullopt;
  }
  PageRecord record;
  Members members(object);
  members.ReadPath("input", record.input.path);
  members.Read("page", record.page);
  members.Read("pages", record.pages);
  members.Read(record.status);
  members.Read("message", record.message);
  members.ReadPath("output", record.output.path);
  members.Read("sha256", record.sha256);
  members.Read("milliseconds", record.milliseconds);
  members.Read("peak_bytes", record.peakBytes);
  members.Read("input_", record.input);
  members.Read("output_", record.output);
  const bool good = members.AreGood() && !record.input.path.empty();
  return good ? std::optional(record) : std::nullopt;
}

// Whole members are taken from the end until the rest is whole.
std::optional<std::string> InputOfCutLine(std::string_view line) {
  constexpr std::string_view kStart = "{\"input\":\"";
  constexpr std::string_view kBetween = ",\"";
  const std::string_view start = line.substr(0, kStart.size());
  if (!kStart.starts_with(start) || line.ends_with('}')) {
    return std::nullopt;
  }
  for (size_t end = line.rfind(kBetween); end != std::string_view::npos && end > 0;
       end = line.rfind(kBetween, end - 1)) {
    const Json object = Json::parse(std::string(line.substr(0, end)) + "}", nullptr, false);
    if (object.is_object()) {
      Members members(object);
      std::string input;
      members.ReadPath("input", input);
      return members.AreGood() ? std::optional(input) : std::nullopt;
    }
  }
  return "";
}

std::string MissingLine(const std::string& input, uint64_t pages) {
  Json object;
  AddPath(object, "input", input);
  object["status"] = "missing";
  AddNumber(object, "pages", pages);
  return LineOf(object);
}

std::string FaultLine(const std::string& report, uint64_t line, const std::string& error) {
  Json object;
  AddPath(object, "report", report);
  AddNumber(object, "line", line);
  object["error"] = error;
  return LineOf(object);
}

std::string NumbersLine(const std::vector<std::pair<std::string, uint64_t>>& numbers) {
  Json object;
  for (const auto& [name, number] : numbers) {
    object[name] = number;
  }
  return LineOf(object);
}

}  // namespace dibkit::tool
