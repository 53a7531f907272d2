// SPDX-License-Identifier: Apache-2.0
#ifndef DIBKIT_HOST_CONVERT_STATUS_TEXT_H
#define DIBKIT_HOST_CONVERT_STATUS_TEXT_H

namespace dibkit::host {

// A sentence for a ConversionStatus other than CNV_OK.
const char* StatusText(int status);

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_CONVERT_STATUS_TEXT_H
