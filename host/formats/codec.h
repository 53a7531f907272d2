// SPDX-License-Identifier: Apache-2.0
//
// What each codec adapter offers to the table of formats. An adapter is one pair of files
// (NAME_reader.cpp, NAME_writer.cpp) and knows nothing of the others.
#ifndef DIBKIT_HOST_FORMATS_CODEC_H
#define DIBKIT_HOST_FORMATS_CODEC_H

#include <memory>
#include <string>

#include "dibkit/host/image_reader.h"
#include "dibkit/host/image_writer.h"

namespace dibkit::host {

struct Codec {
  ImageFormat format;
  std::string (*version)();
  std::unique_ptr<ImageReader> (*open)(std::unique_ptr<ByteSource>, const ReadOptions&);
  std::unique_ptr<ImageWriter> (*make)(ByteSink&);
};

extern const Codec kBmpCodec;
extern const Codec kTiffCodec;
extern const Codec kPngCodec;
extern const Codec kJpegCodec;

// What adapters share.

// As the one of image_writer.h, of a page.
void RequireHeld(ImageFormat format, Compression compression, const DibView& dib);

// Throws kNotHeld for a second page of a format that has one.
[[noreturn]] void RefuseSecondPage(ImageFormat format);

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_FORMATS_CODEC_H
