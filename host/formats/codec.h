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

// Throws kNotHeld for a page that was packed for another format.
void RequireFormat(ImageFormat format, const EncodedPage& page);

// A format whose files hold one page.
class OnePageWriter : public ImageWriter {
 public:
  void Add(const DibView& dib, const PageMetadata& metadata, const PageOptions& options) final;
  void Append(const EncodedPage& page) final;
  void Finish() final {}

 protected:
  OnePageWriter(ImageFormat format, ByteSink& sink) : format_(format), sink_(sink) {}

 private:
  // Throws kNotHeld for an image that the format has no place for, whatever its depth.
  virtual void RequireSize(const DibView& /*dib*/) const {}
  // Writes the file. The packing is one that the format has for the page.
  virtual void Write(ByteSink& sink, const DibView& dib, const PageMetadata& metadata,
                     const PageOptions& options) = 0;
  void RequireFirst() const;

  ImageFormat format_;
  ByteSink& sink_;
  bool written_ = false;
};

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_FORMATS_CODEC_H
