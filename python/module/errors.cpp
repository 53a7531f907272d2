// SPDX-License-Identifier: Apache-2.0
#include "errors.h"

#include <pybind11/pybind11.h>

namespace dibkit::python {
namespace {

namespace py = pybind11;
using host::PageFault;

// The member of dibkit.Cause.
const char* CauseOf(PageFault fault) {
  switch (fault) {
    case PageFault::kFile:
      return "FILE";
    case PageFault::kNotAnImage:
      return "NOT_AN_IMAGE";
    case PageFault::kDamaged:
      return "DAMAGED";
    case PageFault::kNoSuchPage:
      return "NO_SUCH_PAGE";
    case PageFault::kUnsupported:
      return "UNSUPPORTED";
    case PageFault::kTooManyPixels:
      return "TOO_MANY_PIXELS";
    case PageFault::kTooLarge:
      return "TOO_LARGE";
    case PageFault::kNoResolution:
      return "NO_RESOLUTION";
    case PageFault::kNotHeld:
      return "NOT_HELD";
    case PageFault::kBadArgument:
      return "BAD_ARGUMENT";
    case PageFault::kNoImage:
      return "NO_IMAGE";
    case PageFault::kNotPlain:
      return "NOT_PLAIN";
    case PageFault::kNoMemory:
      return "NO_MEMORY";
    case PageFault::kCancelled:
      break;
  }
  return "CANCELLED";
}

// strerror gives it in the encoding of the locale, as names of files are.
py::str Text(const std::string& bytes) {
  return py::reinterpret_steal<py::str>(
      PyUnicode_DecodeFSDefaultAndSize(bytes.data(), static_cast<Py_ssize_t>(bytes.size())));
}

}  // namespace

void Raise(const host::PageError& error, const std::string& path) {
  const bool isFile = error.Fault() == PageFault::kFile;
  std::string text = path + (path.empty() ? "" : ": ") + error.what();
  if (error.Fault() == PageFault::kTooManyPixels) {
    text += "; max_pixels=N allows more";
  }
  if (error.Fault() == PageFault::kBadArgument) {
    PyErr_SetObject(PyExc_ValueError, Text(text).ptr());
    throw py::error_already_set();
  }
  const py::module_ errors = py::module_::import("dibkit._errors");
  const py::object cause = errors.attr("Cause")[CauseOf(error.Fault())];
  const py::object type = errors.attr(isFile ? "FileError" : "Error");
  const py::object thrown =
      isFile ? type(Text(text), cause, error.ErrorNumber(), Text(path)) : type(Text(text), cause);
  PyErr_SetObject(type.ptr(), thrown.ptr());
  throw py::error_already_set();
}

}  // namespace dibkit::python
