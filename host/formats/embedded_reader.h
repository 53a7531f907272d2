// SPDX-License-Identifier: Apache-2.0
//
// Bitmap files whose pixels are a whole JPEG or PNG file.
#ifndef DIBKIT_HOST_FORMATS_EMBEDDED_READER_H
#define DIBKIT_HOST_FORMATS_EMBEDDED_READER_H

#include <memory>

#include "dibkit/host/bitmap_description.h"
#include "dibkit/host/image_reader.h"

namespace dibkit::host {

// JPEG or PNG; the pixels must be embedded.
ImageFormat FormatOfEmbedded(const BitmapDescription& bitmap);

// The embedded file as the one page of a BMP file, through its codec, which must be built in. The
// resolution is that of the bitmap header where it has one. Throws ImageError (kDamaged) when the
// pixels are no such file or one of another size, and what the codec throws.
std::unique_ptr<ImageReader> OpenEmbedded(std::unique_ptr<ByteSource> source,
                                          const BitmapDescription& bitmap,
                                          const ReadOptions& options);

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_FORMATS_EMBEDDED_READER_H
