// SPDX-License-Identifier: Apache-2.0
//
// What the chunks of a PNG file say besides its pixels, both ways.
#ifndef DIBKIT_HOST_FORMATS_PNG_METADATA_H
#define DIBKIT_HOST_FORMATS_PNG_METADATA_H

#include <spng.h>

#include <string>
#include <vector>

#include "dibkit/host/page_metadata.h"
#include "formats/png/context.h"

namespace dibkit::host::png {

struct Metadata {
  PageMetadata page;  // its resolution that of the stored axes
  unsigned orientation = 1;
};

// What the chunks say that were read so far.
Metadata ReadMetadata(const Context& context);

// The chunks for a page that is written. They must outlive the writing of its header, as must the
// metadata.
class Chunks {
 public:
  // `space`: of the image; a profile of another is left out.
  Chunks(const PageMetadata& metadata, ProfileSpace space);
  void SetIn(const Context& context);

 private:
  void AddText(const PageText& text);

  const PageMetadata& metadata_;
  bool hasProfile_;
  std::string empty_;
  std::vector<std::string> values_;
  std::vector<spng_text> texts_;
};

}  // namespace dibkit::host::png

#endif  // DIBKIT_HOST_FORMATS_PNG_METADATA_H
