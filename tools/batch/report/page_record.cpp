// SPDX-License-Identifier: Apache-2.0
#include "batch/report/page_record.h"

#include <array>
#include <cstddef>

namespace dibkit::tool {

const char* StatusName(PageStatus status) {
  constexpr std::array kNames{"done", "failed", "skipped", "interrupted"};
  return kNames[static_cast<size_t>(status)];
}

}  // namespace dibkit::tool
