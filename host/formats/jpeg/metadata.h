// SPDX-License-Identifier: Apache-2.0
//
// What the markers of a JPEG file say besides its pixels, both ways.
#ifndef DIBKIT_HOST_FORMATS_JPEG_METADATA_H
#define DIBKIT_HOST_FORMATS_JPEG_METADATA_H

#include <vector>

#include "dibkit/host/page_metadata.h"
#include "formats/jpeg/source.h"

namespace dibkit::host::jpeg {

struct Metadata {
  PageMetadata page;  // its resolution that of the stored axes
  unsigned orientation = 1;
};

// Of an object that has read its header.
Metadata ReadMetadata(const jpeg_decompress_struct& object, const KeptMarkers& markers);

// Sets the density of an object that has its defaults and has not begun: whole dots per inch, or
// per centimetre where only that is exact.
void SetDensity(jpeg_compress_struct& object, const Resolution& resolution);

// The markers of a page, ready to be written.
struct Blocks {
  // `space`: of the image; a profile of another is left out.
  Blocks(const PageMetadata& metadata, ProfileSpace space);
  // To be called, inside Guard::Run, when the object has begun.
  void WriteTo(jpeg_compress_struct& object) const;

  std::vector<unsigned char> exif;  // with its name; empty where there is nothing to say
  const std::vector<unsigned char>* profile = nullptr;
};

}  // namespace dibkit::host::jpeg

#endif  // DIBKIT_HOST_FORMATS_JPEG_METADATA_H
