// SPDX-License-Identifier: Apache-2.0
#include "resample/exact.h"

#include <exception>

#include "convert/status_text.h"
#include "dibkit/Cnv_res_mem.h"
#include "dibkit/host/errors.h"
#include "dibkit/host/left_behind.h"

namespace dibkit::host {
namespace {

// The library's callback has no argument for the hook's own; what the hook throws must not pass
// through the library.
struct ProgressCall {
  const ProgressHook* hook;
  std::exception_ptr thrown;
};

thread_local ProgressCall* currentCall = nullptr;

int ReportProgress(unsigned short percent) {
  try {
    return !*currentCall->hook || (*currentCall->hook)(percent) ? 1 : 0;
  } catch (...) {
    currentCall->thrown = std::current_exception();
    return 0;
  }
}

// Makes `call` the current one for a scope; a hook may itself resample another image.
class ProgressScope {
 public:
  explicit ProgressScope(ProgressCall* call) : outer_(currentCall) { currentCall = call; }
  ProgressScope(const ProgressScope&) = delete;
  ProgressScope& operator=(const ProgressScope&) = delete;
  ~ProgressScope() { currentCall = outer_; }

 private:
  ProgressCall* outer_;
};

[[noreturn]] void Fail(int status) {
  if (status == CNV_CANCELLED) {
    throw Cancelled();
  }
  throw ImageError(status == CNV_NO_MEMORY ? ImageFault::kNoMemory : ImageFault::kUnsoundDib,
                   StatusText(status));
}

}  // namespace

// The conversion leaves its widened copy of a palette image behind; the scope takes it back.
OwnedBlock ConvertedExactly(tagHANDLE* source, unsigned dpi, int threshold,
                            const ProgressHook& progress) {
  LeftBehind scope;
  tagHANDLE* result = nullptr;
  ProgressCall call{&progress, nullptr};
  const ProgressScope current(&call);
  const int status = ConvertResolution(source, &result, ReportProgress,
                                       static_cast<unsigned short>(dpi), threshold);
  scope.Keep(result);
  OwnedBlock owned(result);
  if (call.thrown) {
    std::rethrow_exception(call.thrown);
  }
  if (status != CNV_OK) {
    Fail(status);
  }
  if (!owned) {
    throw ImageError(ImageFault::kNoMemory, "there is not enough memory for the colour reduction");
  }
  return owned;
}

}  // namespace dibkit::host
