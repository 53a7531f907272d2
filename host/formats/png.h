// SPDX-License-Identifier: Apache-2.0
//
// The two halves of the PNG adapter.
#ifndef DIBKIT_HOST_FORMATS_PNG_H
#define DIBKIT_HOST_FORMATS_PNG_H

#include "formats/codec.h"

namespace dibkit::host {

std::unique_ptr<ImageReader> OpenPng(std::unique_ptr<ByteSource> source,
                                     const ReadOptions& options);
std::unique_ptr<ImageWriter> MakePng(ByteSink& sink);

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_FORMATS_PNG_H
