// SPDX-License-Identifier: Apache-2.0
#include "work.h"

#include <filesystem>
#include <system_error>

namespace dibkit::python {
namespace {

// The hooks are asked for every row, and another thread may keep the lock for some milliseconds.
constexpr std::chrono::milliseconds kBetweenLooks{20};
constexpr std::chrono::milliseconds kAtOnce{0};

bool MayWait(const std::string& path) {
  std::error_code error;
  return std::filesystem::exists(path, error) && !std::filesystem::is_regular_file(path, error);
}

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

bool Work::MayGoOn(std::chrono::milliseconds betweenLooks) {
  return Clock::now() - looked_ < betweenLooks || WithLock(RunSignalHandlers);
}

host::CancelHook Work::Cancelled() {
  return [this, between = MayWait(path_) ? kAtOnce : kBetweenLooks] { return !MayGoOn(between); };
}

host::ProgressHook Work::Progress() {
  if (progress_.is_none()) {
    return [this](unsigned) { return MayGoOn(kBetweenLooks); };
  }
  return [this](unsigned percent) {
    return WithLock([&] {
      RunSignalHandlers();
      progress_(percent);
    });
  };
}

}  // namespace dibkit::python
