// SPDX-License-Identifier: Apache-2.0
//
// The control groups that this process is in.
#ifndef DIBKIT_TOOLS_BATCH_JOBS_CONTROL_GROUPS_H
#define DIBKIT_TOOLS_BATCH_JOBS_CONTROL_GROUPS_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace dibkit::tool {

struct ControlGroup {
  unsigned version = 2;  // 1 or 2
  std::string folder;    // where its files are

  // The word at `place` in one of its files; none when it is not there or no number, such as "max"
  // and "-1".
  std::optional<uint64_t> Number(const std::string& file, size_t place = 0) const;
};

// Those that may limit what `controller` ("memory", "cpu") gives out: of v2 and of the v1 hierarchy
// of the controller, the process's own and all above it that are mounted here. `proc` is where the
// process file system is.
std::vector<ControlGroup> ControlGroups(const std::string& proc, const std::string& controller);

}  // namespace dibkit::tool

#endif  // DIBKIT_TOOLS_BATCH_JOBS_CONTROL_GROUPS_H
