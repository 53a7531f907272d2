// SPDX-License-Identifier: Apache-2.0
#include "batch/files/output_checks.h"

#include <fcntl.h>
#include <unistd.h>

#include <optional>

#include "batch/terminal/escaped_name.h"
#include "failure.h"

namespace dibkit::tool {
namespace {

constexpr unsigned kAnyWriteBit = 0222;

using Status = struct stat;

std::optional<Status> StatusOf(const std::string& path) {
  Status status{};
  return stat(path.c_str(), &status) == 0 ? std::optional(status) : std::nullopt;
}

}  // namespace

OutputChecks::OutputChecks(const InputList& inputs, bool force, bool skipExisting)
    : force_(force), skipExisting_(skipExisting) {
  for (const Input& input : inputs.own) {
    inputs_.insert(paths_.Of(input.path));
    if (const auto status = StatusOf(input.path)) {
      inputFiles_.insert({status->st_dev, status->st_ino});
    }
  }
  for (const Input& input : inputs.others) {
    inputs_.insert(paths_.Of(input.path));
  }
}

void OutputChecks::Claim(const std::string& input, const std::string& output,
                         const std::string& canonical) {
  const auto [other, fresh] = outputs_.try_emplace(canonical, input);
  if (!fresh) {
    throw Failure(EscapedName(other->second) + " and " + EscapedName(input) +
                  " would both become " + EscapedName(output));
  }
}

void OutputChecks::Reserve(const std::string& input, const std::string& output) {
  Claim(input, output, paths_.Of(output));
}

bool OutputChecks::IsLeft(const std::string& input, const std::string& output) {
  const auto status = StatusOf(output);
  if (output == "-" || (status && !S_ISREG(status->st_mode) && !S_ISDIR(status->st_mode))) {
    return false;
  }
  const std::string canonical = paths_.Of(output);
  Claim(input, output, canonical);
  if (inputs_.contains(canonical) ||
      (status && inputFiles_.contains({status->st_dev, status->st_ino}))) {
    throw Failure(EscapedName(output) + ", which " + EscapedName(input) +
                  " would become, is an input itself");
  }
  return status && IsLeftThere(output, status->st_mode);
}

// Of a file that is there.
bool OutputChecks::IsLeftThere(const std::string& output, unsigned mode) {
  if (S_ISDIR(mode)) {
    throw Failure(EscapedName(output) + " is a folder");
  }
  if (skipExisting_) {
    return true;
  }
  if (!force_) {
    firstInTheWay_ = inTheWay_++ == 0 ? output : firstInTheWay_;
    return false;
  }
  // The rename that puts a file in place would ask for the folder's permission only; and root may
  // write anything.
  if ((mode & kAnyWriteBit) == 0 || faccessat(AT_FDCWD, output.c_str(), W_OK, AT_EACCESS) != 0) {
    throw Failure(EscapedName(output) + " is write-protected");
  }
  return false;
}

void OutputChecks::Finish() const {
  if (inTheWay_ == 0) {
    return;
  }
  const std::string more =
      inTheWay_ > 1 ? " and " + std::to_string(inTheWay_ - 1) + " more" : std::string();
  throw Failure(EscapedName(firstInTheWay_) + more + (inTheWay_ > 1 ? " exist" : " exists") +
                " already: --force replaces, --skip-existing leaves what is there");
}

}  // namespace dibkit::tool
