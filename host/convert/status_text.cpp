// SPDX-License-Identifier: Apache-2.0
#include "convert/status_text.h"

#include "dibkit/Cnv_res_mem.h"

namespace dibkit::host {

const char* StatusText(int status) {
  switch (status) {
    case CNV_CANCELLED:
      return "the conversion was cancelled";
    case CNV_NO_MEMORY:
      return "there is not enough memory for the conversion";
    case CNV_SOURCE_UNREADABLE:
      return "the conversion could not read the image";
    case CNV_HEADER_NOT_WRITTEN:
      return "the conversion could not write the header of its result";
    case CNV_NO_SOURCE:
      return "the conversion was given no image";
    case CNV_BAD_SOURCE:
      return "the conversion found no horizontal resolution in the image";
    default:
      return "the conversion failed for an unknown reason";
  }
}

}  // namespace dibkit::host
