// SPDX-License-Identifier: Apache-2.0
//
// What the markers of a JPEG file say besides its pixels, both ways.
#ifndef DIBKIT_HOST_FORMATS_JPEG_METADATA_H
#define DIBKIT_HOST_FORMATS_JPEG_METADATA_H

#include <vector>

#include "dibkit/host/page_metadata.h"
#include "formats/jpeg_source.h"

namespace dibkit::host {

struct JpegMetadata {
  PageMetadata page;  // its resolution that of the stored axes
  unsigned orientation = 1;
};

// Of an object that has read its header.
JpegMetadata ReadJpegMetadata(const jpeg_decompress_struct& object, const JpegMarkers& markers);

// Sets the density of an object that has its defaults and has not begun: whole dots per inch, or
// per centimetre where only that is exact.
void SetJpegDensity(jpeg_compress_struct& object, const Resolution& resolution);

// The markers of a page, ready to be written.
struct JpegBlocks {
  // `space`: of the image; a profile of another is left out.
  JpegBlocks(const PageMetadata& metadata, ProfileSpace space);
  // To be called, inside JpegGuard::Run, when the object has begun.
  void WriteTo(jpeg_compress_struct& object) const;

  std::vector<unsigned char> exif;  // with its name; empty where there is nothing to say
  const std::vector<unsigned char>* profile = nullptr;
};

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_FORMATS_JPEG_METADATA_H
