// SPDX-License-Identifier: Apache-2.0
#ifndef DIBKIT_TOOLS_STATUS_TEXT_H
#define DIBKIT_TOOLS_STATUS_TEXT_H

namespace dibkit::tool {

// A sentence for a ConversionStatus other than CNV_OK.
const char* StatusText(int status);

}  // namespace dibkit::tool

#endif  // DIBKIT_TOOLS_STATUS_TEXT_H
