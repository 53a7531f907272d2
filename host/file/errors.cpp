// SPDX-License-Identifier: Apache-2.0
#include "dibkit/host/errors.h"

#include <system_error>

namespace dibkit::host {

FileError::FileError(const std::string& action, int errorNumber)
    : std::runtime_error(action + ": " + std::generic_category().message(errorNumber)),
      errorNumber_(errorNumber) {}

}  // namespace dibkit::host
