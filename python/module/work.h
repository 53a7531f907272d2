// SPDX-License-Identifier: Apache-2.0
//
// Work without the interpreter's lock, that tells its progress, and that Ctrl-C stops.
#ifndef DIBKIT_PYTHON_WORK_H
#define DIBKIT_PYTHON_WORK_H

#include <pybind11/pybind11.h>

#include <chrono>
#include <exception>
#include <string>
#include <utility>

#include "dibkit/host/errors.h"
#include "dibkit/host/page_error.h"
#include "dibkit/host/resample.h"
#include "errors.h"

namespace dibkit::python {

namespace py = pybind11;

class Work {
 public:
  // `path`: what the texts of errors begin with, unless it is empty. `progress`: a callable that
  // takes the percentage, or None; what it raises stops the work and comes out of Run.
  explicit Work(std::string path = "", py::object progress = py::none())
      : path_(std::move(path)), progress_(std::move(progress)) {}

  // For what is called in Run; valid as long as this object lives.
  host::ProgressHook Progress();
  // Of work on `path`: where it is no plain file, the work may wait for somebody else, and each
  // signal that wakes it is looked at.
  host::CancelHook Cancelled();

  // Releases the lock, runs `work` and returns what it returns. PageError comes out as the Python
  // exception that it is.
  template <typename Function>
  auto Run(Function&& work) {
    try {
      const py::gil_scoped_release unlocked;
      return std::forward<Function>(work)();
    } catch (const host::PageError& error) {
      if (raised_) {
        std::rethrow_exception(std::exchange(raised_, nullptr));
      }
      Raise(error, path_);
    }
  }

 private:
  using Clock = std::chrono::steady_clock;

  template <typename Function>
  bool WithLock(Function&& function);
  bool MayGoOn(std::chrono::milliseconds betweenLooks);

  std::string path_;
  py::object progress_;
  std::exception_ptr raised_{};  // by Python code, inside a hook
  Clock::time_point looked_ = Clock::now();
};

}  // namespace dibkit::python

#endif  // DIBKIT_PYTHON_WORK_H
