// SPDX-License-Identifier: Apache-2.0
//
// The two halves of the JPEG adapter.
#ifndef DIBKIT_HOST_FORMATS_JPEG_H
#define DIBKIT_HOST_FORMATS_JPEG_H

#include "formats/codec.h"

namespace dibkit::host {

std::unique_ptr<ImageReader> OpenJpeg(std::unique_ptr<ByteSource> source,
                                      const ReadOptions& options);
std::unique_ptr<ImageWriter> MakeJpeg(ByteSink& sink);

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_FORMATS_JPEG_H
