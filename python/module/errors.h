// SPDX-License-Identifier: Apache-2.0
//
// The exceptions of the package, which python/dibkit/_errors.py defines.
#ifndef DIBKIT_PYTHON_ERRORS_H
#define DIBKIT_PYTHON_ERRORS_H

#include <string>

#include "dibkit/host/page_error.h"

namespace dibkit::python {

// Throws it as the Python exception that it is: ValueError for a bad argument, otherwise Error.
// `path` begins the text unless it is empty. With the interpreter's lock.
[[noreturn]] void Raise(const host::PageError& error, const std::string& path);

}  // namespace dibkit::python

#endif  // DIBKIT_PYTHON_ERRORS_H
