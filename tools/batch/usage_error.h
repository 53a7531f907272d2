// SPDX-License-Identifier: Apache-2.0
//
// What the command line alone gets wrong.
#ifndef DIBKIT_TOOLS_BATCH_USAGE_ERROR_H
#define DIBKIT_TOOLS_BATCH_USAGE_ERROR_H

#include <string>

#include "failure.h"

namespace dibkit::tool {

// Unlike other failures its text may hold file names (escaped): it belongs to no one input.
class UsageError : public Failure {
 public:
  explicit UsageError(const std::string& message) : Failure(message, EXIT_CODE_USAGE) {}
};

}  // namespace dibkit::tool

#endif  // DIBKIT_TOOLS_BATCH_USAGE_ERROR_H
