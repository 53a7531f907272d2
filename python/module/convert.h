// SPDX-License-Identifier: Apache-2.0
//
// Arrays into arrays. Texts and usual values are those of python/dibkit, which calls these.
#ifndef DIBKIT_PYTHON_CONVERT_H
#define DIBKIT_PYTHON_CONVERT_H

#include <pybind11/pybind11.h>

namespace dibkit::python {

void DefineConversions(pybind11::module_& module);

}  // namespace dibkit::python

#endif  // DIBKIT_PYTHON_CONVERT_H
