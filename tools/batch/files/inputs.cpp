// SPDX-License-Identifier: Apache-2.0
#include "batch/files/inputs.h"

#include <algorithm>
#include <filesystem>
#include <unordered_set>
#include <utility>

#include "batch/files/canonical_paths.h"
#include "batch/files/name_list.h"
#include "batch/terminal/escaped_name.h"
#include "batch/usage_error.h"
#include "dibkit/host/image_format.h"

namespace dibkit::tool {
namespace {

namespace fs = std::filesystem;

const char* const kStandardInput = "-";

std::string WithoutEndSlashes(std::string path) {
  while (path.size() > 1 && path.ends_with('/')) {
    path.pop_back();
  }
  return path;
}

std::string BaseName(const std::string& path) {
  return fs::path(WithoutEndSlashes(path)).filename().string();
}

// Where an entry of a list belongs below an output folder.
std::string ListedRelative(const std::string& path) {
  const fs::path listed(path);
  const bool climbs = std::find(listed.begin(), listed.end(), "..") != listed.end();
  return listed.is_absolute() || climbs ? BaseName(path)
                                        : WithoutEndSlashes(listed.lexically_normal().string());
}

// The inputs below one folder.
class Walk {
 public:
  explicit Walk(const std::string& folder) : root_(WithoutEndSlashes(folder)) {
    for (waiting_.emplace_back(); !waiting_.empty();) {
      const std::string relative = std::move(waiting_.back());
      waiting_.pop_back();
      Look(relative);
    }
    std::sort(found_.begin(), found_.end(),
              [](const Input& a, const Input& b) { return a.relative < b.relative; });
  }

  std::vector<Input> Take() { return std::move(found_); }

 private:
  std::string Below(const std::string& relative) const {
    return relative.empty() ? root_ : root_ + (root_.ends_with('/') ? "" : "/") + relative;
  }

  void Look(const std::string& relative) {
    std::error_code error;
    for (fs::directory_iterator entry(Below(relative), error), end; !error && entry != end;
         entry.increment(error)) {
      Sort(*entry, relative.empty() ? entry->path().filename().string()
                                    : relative + "/" + entry->path().filename().string());
    }
    if (error && relative.empty()) {
      throw Failure("cannot read the folder " + EscapedName(root_) + ": " + error.message());
    }
    if (error) {
      found_.push_back({Below(relative), relative});
    }
  }

  void Sort(const fs::directory_entry& entry, const std::string& relative) {
    std::error_code error;
    if (entry.symlink_status(error).type() == fs::file_type::directory) {
      waiting_.push_back(relative);
    } else if (host::FormatOfName(relative) && entry.is_regular_file(error)) {
      found_.push_back({Below(relative), relative});
    }
  }

  const std::string root_;
  std::vector<std::string> waiting_;  // folders, below the root
  std::vector<Input> found_;
};

class Gathering {
 public:
  explicit Gathering(const InputOptions& options) : options_(options) {
    for (const std::string& path : options.paths) {
      Add(path, BaseName(path));
    }
    if (!options.filesFrom.empty()) {
      UseStandardInput(options.filesFrom);
      for (const std::string& path : ReadNameList(options.filesFrom, options.nullSeparated)) {
        Add(path, ListedRelative(path));
      }
    }
  }

  std::vector<Input> Take() { return std::move(inputs_); }

 private:
  void UseStandardInput(const std::string& path) {
    if (path == kStandardInput && std::exchange(standardInputUsed_, true)) {
      throw UsageError("standard input can be read only once");
    }
  }

  void Add(const std::string& path, const std::string& relative) {
    if (path.empty()) {
      throw UsageError("the name of an input is empty");
    }
    UseStandardInput(path);
    std::error_code error;
    if (path == kStandardInput || !fs::is_directory(path, error)) {
      inputs_.push_back({path, relative});
      return;
    }
    if (!options_.recursive) {
      throw UsageError(EscapedName(path) + " is a folder: --recursive takes the images in it");
    }
    std::vector<Input> below = Walk(path).Take();
    inputs_.insert(inputs_.end(), std::make_move_iterator(below.begin()),
                   std::make_move_iterator(below.end()));
  }

  const InputOptions& options_;
  bool standardInputUsed_ = false;
  std::vector<Input> inputs_;
};

void LeaveOutRepeated(std::vector<Input>& inputs) {
  CanonicalPaths paths;
  std::unordered_set<std::string> seen;
  std::erase_if(inputs, [&](const Input& input) {
    return input.path != kStandardInput && !seen.insert(paths.Of(input.path)).second;
  });
}

InputList Split(std::vector<Input> inputs, const InputOptions& options) {
  InputList list;
  if (options.shardCount == 1) {
    list.own = std::move(inputs);
    return list;
  }
  for (size_t i = 0; i < inputs.size(); ++i) {
    const bool own = i % options.shardCount == options.shardIndex;
    (own ? list.own : list.others).push_back(std::move(inputs[i]));
  }
  return list;
}

}  // namespace

InputList ListInputs(const InputOptions& options) {
  if (options.paths.empty() && options.filesFrom.empty()) {
    throw UsageError("no input is named");
  }
  std::vector<Input> inputs = Gathering(options).Take();
  if (inputs.empty()) {
    throw Failure(
        "there is no input: a list is empty, or a folder holds no file whose suffix is that of an "
        "image format");
  }
  if (options.shardCount > 1) {
    std::stable_sort(inputs.begin(), inputs.end(),
                     [](const Input& a, const Input& b) { return a.path < b.path; });
  }
  LeaveOutRepeated(inputs);
  return Split(std::move(inputs), options);
}

}  // namespace dibkit::tool
