// SPDX-License-Identifier: Apache-2.0
#include "standard_output.h"

#include "batch/jobs/interruption.h"
#include "dibkit/host/output_file.h"

namespace dibkit::tool {

void Print(const std::string& text) {
  host::OutputFile output("-", Interrupted);
  output.Write({reinterpret_cast<const unsigned char*>(text.data()), text.size()});
  output.Commit();
}

}  // namespace dibkit::tool
