// SPDX-License-Identifier: Apache-2.0
//
// Files into arrays and back. Texts and usual values are those of python/dibkit, which calls these.
#ifndef DIBKIT_PYTHON_FILES_H
#define DIBKIT_PYTHON_FILES_H

#include <pybind11/pybind11.h>

namespace dibkit::python {

void DefineFiles(pybind11::module_& module);

}  // namespace dibkit::python

#endif  // DIBKIT_PYTHON_FILES_H
