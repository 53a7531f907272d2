// SPDX-License-Identifier: Apache-2.0
#include "work.h"

namespace dibkit::python {
namespace {

// The hooks are asked for every row, and another thread may keep the lock for some milliseconds.
constexpr std::chrono::milliseconds kBetweenLooks{20};

// Runs the handlers of signals that have come; only on the main thread do they run.
void RunSignalHandlers() {
  if (PyErr_CheckSignals() != 0) {
    throw py::error_already_set();
  }
}

}  // namespace

// False when `function` has raised, which is kept for Run: no exception passes through a codec.
template <typename Function>
bool Work::WithLock(Function&& function) {
  const py::gil_scoped_acquire locked;
  try {
    function();
    looked_ = Clock::now();
    return true;
  } catch (const py::error_already_set&) {
    raised_ = std::current_exception();
    return false;
  }
}

bool Work::MayGoOn() {
  return Clock::now() - looked_ < kBetweenLooks || WithLock(RunSignalHandlers);
}

host::CancelHook Work::Cancelled() {
  return [this] { return !MayGoOn(); };
}

host::ProgressHook Work::Progress() {
  if (progress_.is_none()) {
    return [this](unsigned) { return MayGoOn(); };
  }
  return [this](unsigned percent) {
    return WithLock([&] {
      RunSignalHandlers();
      progress_(percent);
    });
  };
}

}  // namespace dibkit::python
