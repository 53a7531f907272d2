// SPDX-License-Identifier: Apache-2.0
//
// How every handle of libtiff is opened: quiet, and with a limit for each of its allocations.
#ifndef DIBKIT_HOST_FORMATS_TIFF_OPEN_OPTIONS_H
#define DIBKIT_HOST_FORMATS_TIFF_OPEN_OPTIONS_H

#include <tiffio.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <memory>
#include <new>

#include "formats/tiff/messages.h"

namespace dibkit::host::tiff {

struct TiffDeleter {
  void operator()(TIFF* tiff) const { TIFFCleanup(tiff); }
};
using OwnedTiff = std::unique_ptr<TIFF, TiffDeleter>;

struct OpenOptionsDeleter {
  void operator()(TIFFOpenOptions* options) const { TIFFOpenOptionsFree(options); }
};
using OpenOptions = std::unique_ptr<TIFFOpenOptions, OpenOptionsDeleter>;

inline OpenOptions MakeOpenOptions(Messages& messages, uint64_t mostBytesAtOnce) {
  OpenOptions options(TIFFOpenOptionsAlloc());
  if (!options) {
    throw std::bad_alloc();
  }
  TIFFOpenOptionsSetErrorHandlerExtR(options.get(), Messages::OnError, &messages);
  TIFFOpenOptionsSetWarningHandlerExtR(options.get(), Messages::OnWarning, &messages);
  constexpr uint64_t kMost = std::numeric_limits<tmsize_t>::max();
  TIFFOpenOptionsSetMaxSingleMemAlloc(options.get(),
                                      static_cast<tmsize_t>(std::min(mostBytesAtOnce, kMost)));
  return options;
}

}  // namespace dibkit::host::tiff

#endif  // DIBKIT_HOST_FORMATS_TIFF_OPEN_OPTIONS_H
