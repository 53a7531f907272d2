// SPDX-License-Identifier: Apache-2.0
//
// The two halves of the bitmap adapter.
#ifndef DIBKIT_HOST_FORMATS_BMP_H
#define DIBKIT_HOST_FORMATS_BMP_H

#include "formats/codec.h"

namespace dibkit::host {

std::unique_ptr<ImageReader> OpenBmp(std::unique_ptr<ByteSource> source,
                                     const ReadOptions& options);
std::unique_ptr<ImageWriter> MakeBmp(ByteSink& sink);

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_FORMATS_BMP_H
