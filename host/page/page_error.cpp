// SPDX-License-Identifier: Apache-2.0
#include "page/page_error.h"

#include <new>

#include "dibkit/host/errors.h"

namespace dibkit::host {
namespace {

PageFault FaultOf(ImageFault fault) {
  switch (fault) {
    case ImageFault::kUnknownFormat:
      return PageFault::kNotAnImage;
    case ImageFault::kNoSuchPage:
      return PageFault::kNoSuchPage;
    case ImageFault::kCompressionNotConvertible:
    case ImageFault::kUnsupported:
      return PageFault::kUnsupported;
    case ImageFault::kTooManyPixels:
      return PageFault::kTooManyPixels;
    case ImageFault::kTooLarge:
      return PageFault::kTooLarge;
    case ImageFault::kNoResolution:
      return PageFault::kNoResolution;
    case ImageFault::kNotHeld:
      return PageFault::kNotHeld;
    case ImageFault::kNoBlock:
    case ImageFault::kUnsoundDib:
      return PageFault::kNoImage;
    case ImageFault::kNoMemory:
      return PageFault::kNoMemory;
    default:
      return PageFault::kDamaged;
  }
}

}  // namespace

void RethrowAsPageError() {
  try {
    throw;
  } catch (const ImageError& error) {
    throw PageError(FaultOf(error.Fault()), error.what());
  } catch (const FileError& error) {
    throw PageError(PageFault::kFile, error.what(), error.ErrorNumber());
  } catch (const Cancelled&) {
    throw PageError(PageFault::kCancelled, "cancelled");
  } catch (const std::bad_alloc&) {
    throw PageError(PageFault::kNoMemory, "no memory");
  }
}

}  // namespace dibkit::host
