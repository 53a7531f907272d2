// SPDX-License-Identifier: Apache-2.0
//
// Plain packed DIBs into image files of any format.
#ifndef DIBKIT_HOST_IMAGE_WRITER_H
#define DIBKIT_HOST_IMAGE_WRITER_H

#include <memory>

#include "dibkit/host/byte_sink.h"
#include "dibkit/host/dib_view.h"
#include "dibkit/host/image_format.h"
#include "dibkit/host/page_metadata.h"

namespace dibkit::host {

struct PageOptions {
  // One that Holds() allows for the page; kNotHeld otherwise.
  Compression compression = Compression::kNone;
  int jpegQuality = 90;  // 1 to 100
};

class EncodedPage;

// What a format packs pages in unless told otherwise: G4 at 1 bit and Deflate elsewhere in TIFF.
Compression UsualCompression(ImageFormat format, unsigned bitCount);

// Throws ImageError (kNotHeld) where Holds() is false.
void RequireHeld(ImageFormat format, Compression compression, unsigned bitCount, bool greyTable);

// One file that is being made. For one thread at a time. All members throw ImageError, FileError,
// Cancelled, std::bad_alloc; the file is then of no further use.
class ImageWriter {
 public:
  ImageWriter() = default;
  ImageWriter(const ImageWriter&) = delete;
  ImageWriter& operator=(const ImageWriter&) = delete;
  virtual ~ImageWriter() = default;

  // Appends a page, upright. The resolution is that of `metadata`; a profile whose colours are not
  // the image's is left out. ImageError (kNotHeld) for a depth that the format has no place for,
  // and for a second page where it takes one only.
  virtual void Add(const DibView& dib, const PageMetadata& metadata,
                   const PageOptions& options) = 0;
  // Appends a page that EncodePage has packed, see encoded_page.h. The file gets the bytes that Add
  // with the same arguments would have given it. ImageError (kNotHeld) for a page of another
  // format, and for a second page where the format takes one only.
  virtual void Append(const EncodedPage& page) = 0;
  // Completes the file; at least one page was added.
  virtual void Finish() = 0;
};

// The sink must outlive the writer. ImageError (kUnknownFormat) when the codec is not built in.
std::unique_ptr<ImageWriter> MakeWriter(ImageFormat format, ByteSink& sink);

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_IMAGE_WRITER_H
