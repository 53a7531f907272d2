// SPDX-License-Identifier: Apache-2.0
//
// The module dibkit._dibkit: what the package dibkit is made of.
#include <pybind11/pybind11.h>

#include "convert.h"
#include "dibkit/host/pixel_limit.h"
#include "dibkit/version.h"
#include "files.h"

PYBIND11_MODULE(_dibkit, module) {
  module.attr("version") = DIBKIT_VERSION_STRING;
  module.attr("usual_max_pixels") = dibkit::host::kUsualMaxPixels;
  dibkit::python::DefineConversions(module);
  dibkit::python::DefineFiles(module);
}
