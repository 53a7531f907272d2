// SPDX-License-Identifier: Apache-2.0
#include "batch/jobs/control_groups.h"

#include <algorithm>
#include <charconv>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string_view>

namespace dibkit::tool {
namespace {

// A line of /proc/self/mountinfo that mounts control groups.
struct Mount {
  unsigned version = 0;
  std::string root;   // the group that is seen at `point`
  std::string point;  // folder
};

// Blanks and their like are written as three octal digits there.
std::string Unescaped(std::string_view text) {
  std::string plain;
  while (!text.empty()) {
    unsigned value = 0;
    const bool escaped =
        text[0] == '\\' && text.size() >= 4 &&
        std::from_chars(text.data() + 1, text.data() + 4, value, 8).ptr == text.data() + 4;
    plain += escaped ? static_cast<char>(value) : text[0];
    text.remove_prefix(escaped ? 4 : 1);
  }
  return plain;
}

bool Lists(const std::string& commaSeparated, const std::string& word) {
  return ("," + commaSeparated + ",").find("," + word + ",") != std::string::npos;
}

// "36 25 0:31 / /sys/fs/cgroup/memory rw - cgroup cgroup rw,memory"
std::optional<Mount> ReadMount(const std::string& line, const std::string& controller) {
  std::istringstream stream(line);
  const std::vector<std::string> words{std::istream_iterator<std::string>(stream), {}};
  const auto dash = std::find(words.begin(), words.end(), "-");
  constexpr std::ptrdiff_t kRootAt = 3;
  constexpr std::ptrdiff_t kPointAt = 4;
  if (dash - words.begin() <= kPointAt || words.end() - dash < 4) {
    return std::nullopt;
  }
  const std::string& type = dash[1];
  const bool second = type == "cgroup2";
  if (!second && !(type == "cgroup" && Lists(dash[3], controller))) {
    return std::nullopt;
  }
  return Mount{second ? 2U : 1U, Unescaped(words[kRootAt]), Unescaped(words[kPointAt])};
}

// Of a line of /proc/self/cgroup, "0::/path" or "4:memory:/path".
std::optional<std::string> GroupOf(const std::string& line, unsigned version,
                                   const std::string& controller) {
  const size_t first = line.find(':');
  const size_t second = first == std::string::npos ? first : line.find(':', first + 1);
  if (second == std::string::npos) {
    return std::nullopt;
  }
  const std::string controllers = line.substr(first + 1, second - first - 1);
  const bool wanted =
      version == 2 ? line.starts_with("0:") && controllers.empty() : Lists(controllers, controller);
  return wanted ? std::optional(line.substr(second + 1)) : std::nullopt;
}

std::vector<std::string> Lines(const std::string& path) {
  std::ifstream file(path);
  std::vector<std::string> lines;
  for (std::string line; std::getline(file, line);) {
    lines.push_back(line);
  }
  return lines;
}

// The group's path below the mount point. In a container the mount may show what is outside as its
// root, and a group that is not below that root cannot be seen: then the root is all there is.
std::string Below(const std::string& group, const std::string& root) {
  const std::string start = root == "/" ? "" : root;
  if (!group.starts_with(start) || (group.size() > start.size() && group[start.size()] != '/') ||
      group.find("/..") != std::string::npos) {
    return "";
  }
  const std::string below = group.substr(start.size());
  return below == "/" ? "" : below;
}

void AddUpwards(const Mount& mount, std::string below, std::vector<ControlGroup>& groups) {
  for (;; below.erase(below.rfind('/'))) {
    groups.push_back({mount.version, mount.point + below});
    if (below.find('/') == std::string::npos) {
      return;
    }
  }
}

}  // namespace

std::optional<uint64_t> ControlGroup::Number(const std::string& file, size_t place) const {
  std::ifstream stream(folder + "/" + file);
  std::string word;
  for (size_t i = 0; i <= place; ++i) {
    if (!(stream >> word)) {
      return std::nullopt;
    }
  }
  uint64_t number = 0;
  const char* const end = word.data() + word.size();
  const auto [stopped, error] = std::from_chars(word.data(), end, number);
  return error == std::errc() && stopped == end ? std::optional(number) : std::nullopt;
}

std::vector<ControlGroup> ControlGroups(const std::string& proc, const std::string& controller) {
  const std::vector<std::string> memberships = Lines(proc + "/self/cgroup");
  std::vector<ControlGroup> groups;
  for (const std::string& line : Lines(proc + "/self/mountinfo")) {
    const auto mount = ReadMount(line, controller);
    for (size_t i = 0; mount && i < memberships.size(); ++i) {
      if (const auto group = GroupOf(memberships[i], mount->version, controller)) {
        AddUpwards(*mount, Below(*group, mount->root), groups);
      }
    }
  }
  return groups;
}

}  // namespace dibkit::tool
