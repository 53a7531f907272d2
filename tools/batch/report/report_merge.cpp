// SPDX-License-Identifier: Apache-2.0
#include "batch/report/report_merge.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <system_error>
#include <unordered_set>

#include "batch/files/canonical_paths.h"
#include "batch/report/report_line.h"

namespace dibkit::tool {
namespace {

struct CloseFile {
  void operator()(FILE* file) const {
    if (file != stdin) {
      std::fclose(file);
    }
  }
};
using OpenFile = std::unique_ptr<FILE, CloseFile>;

struct FreeText {
  void operator()(char* text) const { std::free(text); }
};

std::string ErrorText(int number) { return std::generic_category().message(number); }

// "./a//b" and "a/b" are one name, without a look at any disk.
std::string KeyOf(const std::string& path) {
  return std::filesystem::path(path).lexically_normal().string();
}

bool IsDone(const PageRecord& record) { return record.status == PageStatus::kDone; }

bool AnyDone(const std::map<uint32_t, PageRecord>& pages) {
  return std::any_of(pages.begin(), pages.end(), [](const auto& e) { return IsDone(e.second); });
}

// Calls `use` with the number and the text of each line. Returns 0 or an error number.
template <typename Use>
int ForEachLine(FILE* file, Use use) {
  char* text = nullptr;
  size_t room = 0;
  uint64_t number = 0;
  errno = 0;
  ssize_t length = 0;
  std::unique_ptr<char, FreeText> owner;
  while ((length = getline(&text, &room, file)) >= 0) {
    static_cast<void>(owner.release());
    owner.reset(text);
    use(++number, std::string_view(text, static_cast<size_t>(length)));
  }
  static_cast<void>(owner.release());
  owner.reset(text);
  return std::ferror(file) != 0 ? errno : 0;
}

}  // namespace

void ReportMerge::AddLine(const std::string& report, uint64_t number, std::string_view line) {
  while (line.ends_with('\n') || line.ends_with('\r')) {
    line.remove_suffix(1);
  }
  if (line.empty()) {
    return;
  }
  if (const auto record = ParseReportLine(line)) {
    Add(*record);
  } else if (const auto input = InputOfCutLine(line)) {
    faults_.push_back({report, number, "the line is cut off", true});
    if (!input->empty()) {
      expected_.push_back(*input);
    }
  } else {
    faults_.push_back({report, number, "not a line of a report", false});
  }
}

void ReportMerge::AddReport(const std::string& path) {
  const OpenFile file(path == "-" ? stdin : std::fopen(path.c_str(), "re"));
  if (!file) {
    faults_.push_back({path, 0, "cannot open: " + ErrorText(errno), false});
    return;
  }
  const int error = ForEachLine(
      file.get(), [&](uint64_t number, std::string_view line) { AddLine(path, number, line); });
  if (error != 0) {
    faults_.push_back({path, 0, "cannot read: " + ErrorText(error), false});
  }
}

void ReportMerge::AddSkipped(File& file, const PageRecord& record) {
  if (record.page != 0) {
    file.pages.erase(0);
    const auto [entry, fresh] = file.pages.try_emplace(record.page, record);
    entry->second = fresh || IsDone(entry->second) ? entry->second : record;
    return;
  }
  file.outputThere = true;
  if (!AnyDone(file.pages)) {
    file.pages.clear();
    file.pages.emplace(0, record);
  }
}

void ReportMerge::Add(const PageRecord& record) {
  File& file = files_[KeyOf(record.input.path)];
  if (record.status == PageStatus::kSkipped) {
    AddSkipped(file, record);
    return;
  }
  if (record.page == 0) {
    file.pages.clear();
  } else {
    file.pages.erase(0);
  }
  file.outputThere = false;
  file.pages[record.page] = record;
}

void ReportMerge::Expect(const std::vector<std::string>& inputs) {
  expected_.insert(expected_.end(), inputs.begin(), inputs.end());
}

std::vector<PageRecord> ReportMerge::Records() const {
  std::vector<PageRecord> records;
  for (const auto& [key, file] : files_) {
    for (const auto& [page, record] : file.pages) {
      records.push_back(record);
    }
  }
  return records;
}

bool ReportMerge::Knows(const std::string& input) const {
  const std::string key = KeyOf(input);
  const std::string folder = key.ends_with('/') ? key : key + "/";
  const auto below = files_.lower_bound(folder);
  return files_.contains(key) || (below != files_.end() && below->first.starts_with(folder));
}

std::vector<std::string> ReportMerge::UnknownInputs() const {
  std::vector<std::string> unknown;
  std::copy_if(expected_.begin(), expected_.end(), std::back_inserter(unknown),
               [this](const std::string& input) { return !Knows(input); });
  if (unknown.empty()) {
    return unknown;
  }
  CanonicalPaths paths;
  std::unordered_set<std::string> known;
  for (const auto& [key, file] : files_) {
    known.insert(paths.Of(key));
  }
  std::erase_if(unknown, [&](const std::string& input) { return known.contains(paths.Of(input)); });
  return unknown;
}

std::vector<ReportGap> ReportMerge::Missing() const {
  std::vector<ReportGap> gaps;
  for (const std::string& input : UnknownInputs()) {
    gaps.push_back({input, 0});
  }
  for (const auto& [key, file] : files_) {
    uint32_t wanted = 0;
    for (const auto& [page, record] : file.pages) {
      wanted = page != 0 && !file.outputThere ? std::max(wanted, record.pages) : wanted;
    }
    if (wanted > file.pages.size()) {
      gaps.push_back({file.pages.begin()->second.input.path, wanted - file.pages.size()});
    }
  }
  return gaps;
}

}  // namespace dibkit::tool
