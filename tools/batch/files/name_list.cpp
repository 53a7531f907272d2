// SPDX-License-Identifier: Apache-2.0
#include "batch/files/name_list.h"

#include <algorithm>
#include <cstdint>
#include <string_view>

#include "batch/terminal/escaped_name.h"
#include "dibkit/host/byte_source.h"
#include "failure.h"

namespace dibkit::tool {
namespace {

// Some ten million names; what is longer is no list of names.
constexpr uint64_t kMostBytes = uint64_t{1} << 30;

std::string ReadText(const std::string& path) {
  const auto source = host::OpenSource(path);
  const uint64_t size = source->SizeUpTo(kMostBytes);
  if (size == kMostBytes) {
    throw Failure("the list is too long");
  }
  std::string text(static_cast<size_t>(size), '\0');
  source->Read(0, {reinterpret_cast<unsigned char*>(text.data()), text.size()});
  return text;
}

std::string_view WithoutReturn(std::string_view name) {
  return name.ends_with('\r') ? name.substr(0, name.size() - 1) : name;
}

}  // namespace

std::vector<std::string> ReadNameList(const std::string& path, bool nullSeparated) {
  std::string text;
  try {
    text = ReadText(path);
  } catch (const std::runtime_error& error) {
    throw Failure(EscapedName(path) + ": " + error.what());
  }
  std::vector<std::string> names;
  for (std::string_view rest = text; !rest.empty();) {
    const size_t end = std::min(rest.find(nullSeparated ? '\0' : '\n'), rest.size());
    const std::string_view entry = rest.substr(0, end);
    const std::string_view name = nullSeparated ? entry : WithoutReturn(entry);
    if (!name.empty()) {
      names.emplace_back(name);
    }
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
  return names;
}

}  // namespace dibkit::tool
