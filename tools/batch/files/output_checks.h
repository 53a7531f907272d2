// SPDX-License-Identifier: Apache-2.0
//
// Whether outputs can be made without harm to inputs, to each other and to what is there.
#ifndef DIBKIT_TOOLS_BATCH_FILES_OUTPUT_CHECKS_H
#define DIBKIT_TOOLS_BATCH_FILES_OUTPUT_CHECKS_H

#include <sys/stat.h>

#include <set>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "batch/files/canonical_paths.h"
#include "batch/files/inputs.h"

namespace dibkit::tool {

// To be asked about each output once.
class OutputChecks {
 public:
  OutputChecks(const InputList& inputs, bool force, bool skipExisting);

  // Notes the output of an input that another run works on. Throws Failure when there is a second
  // input for it.
  void Reserve(const std::string& input, const std::string& output);

  // True when `output` is there and is to be left as it is. Throws Failure when it is an input or
  // the output of another input, when it is a folder or a file that nobody may write. Standard
  // output and devices pass.
  bool IsLeft(const std::string& input, const std::string& output);

  // Throws Failure when outputs were there that may be neither replaced nor left.
  void Finish() const;

 private:
  void Claim(const std::string& input, const std::string& output, const std::string& canonical);
  bool IsLeftThere(const std::string& output, unsigned mode);

  const bool force_;
  const bool skipExisting_;
  CanonicalPaths paths_;
  std::unordered_set<std::string> inputs_;  // canonical
  std::set<std::pair<dev_t, ino_t>> inputFiles_;
  std::unordered_map<std::string, std::string> outputs_;  // the input, by canonical path
  std::string firstInTheWay_;
  size_t inTheWay_ = 0;
};

}  // namespace dibkit::tool

#endif  // DIBKIT_TOOLS_BATCH_FILES_OUTPUT_CHECKS_H
