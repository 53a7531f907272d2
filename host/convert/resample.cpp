// SPDX-License-Identifier: Apache-2.0
#include "dibkit/host/resample.h"

#include <exception>
#include <string>

#include "convert/conversion_limits.h"
#include "convert/new_dib.h"
#include "convert/plain.h"
#include "convert/status_text.h"
#include "dibkit/Cnv_res_mem.h"
#include "dibkit/host/dib_view.h"
#include "dibkit/host/errors.h"
#include "dibkit/host/left_behind.h"
#include "dibkit/host/locked_block.h"
#include "dibkit/host/resolution.h"

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

void Report(const ProgressHook& progress, unsigned percent) {
  if (progress && !progress(percent)) {
    throw Cancelled();
  }
}

Dpi SourceDpi(int32_t xPelsPerMeter, int32_t yPelsPerMeter) {
  const Dpi dpi{DotsPerInch(xPelsPerMeter), DotsPerInch(yPelsPerMeter)};
  if (dpi.x == 0 || dpi.y == 0) {
    throw ImageError(ImageFault::kNoResolution,
                     "the image has no usable resolution (" + std::to_string(xPelsPerMeter) +
                         " x " + std::to_string(yPelsPerMeter) + " pixels per metre)");
  }
  return dpi;
}

void CheckRequest(tagHANDLE* dib, const ResampleRequest& request) {
  const LockedBlock lock(dib);
  const DibView view(lock.Bytes());
  const Dpi from = SourceDpi(view.XPelsPerMeter(), view.YPelsPerMeter());
  CheckSides(view.Width(), view.Height(), from, request.dpi);
}

void SetResolution(tagHANDLE* dib, unsigned dpi) {
  const LockedBlock lock(dib);
  const int32_t pels = PelsPerMeter(dpi);
  DibView(lock.Bytes()).SetPelsPerMeter(pels, pels);
}

[[noreturn]] void Fail(int status) {
  if (status == CNV_CANCELLED) {
    throw Cancelled();
  }
  throw ImageError(status == CNV_NO_MEMORY ? ImageFault::kNoMemory : ImageFault::kUnsoundDib,
                   StatusText(status));
}

// The conversion leaves its widened copy of a palette image behind; the scope takes it back.
OwnedBlock Convert(tagHANDLE* source, const ResampleRequest& request,
                   const ProgressHook& progress) {
  LeftBehind scope;
  tagHANDLE* result = nullptr;
  ProgressCall call{&progress, nullptr};
  const ProgressScope current(&call);
  const int status = ConvertResolution(source, &result, ReportProgress,
                                       static_cast<unsigned short>(request.dpi), request.threshold);
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

bool IsConvertibleDepth(uint16_t bits) { return bits != 16 && bits != 32; }

}  // namespace

OwnedBlock Resampled(const OwnedBlock& dib, const ResampleRequest& request,
                     const ProgressHook& progress) {
  Report(progress, 0);
  CheckRequest(dib.get(), request);
  OwnedBlock widened;
  {
    const LockedBlock lock(dib.get());
    if (!IsConvertibleDepth(DibView(lock.Bytes()).BitCount())) {
      widened = PlainTo24(dib);
    }
  }
  tagHANDLE* source = widened ? widened.get() : dib.get();
  CheckConversion(source, request.dpi, request.maxPixels);
  OwnedBlock result = Convert(source, request, progress);
  // The colour reduction makes its image anew, without a resolution.
  SetResolution(result.get(), request.dpi);
  Report(progress, 100);
  return result;
}

PixelSize ResampledSize(PixelSize size, uint16_t bitCount, int32_t xPelsPerMeter,
                        int32_t yPelsPerMeter, const ResampleRequest& request) {
  CheckSides(size.width, size.height, SourceDpi(xPelsPerMeter, yPelsPerMeter), request.dpi);
  const uint16_t bits = IsConvertibleDepth(bitCount) ? bitCount : uint16_t{24};
  return SizeOfConversion(size, bits, xPelsPerMeter, yPelsPerMeter, request);
}

}  // namespace dibkit::host
