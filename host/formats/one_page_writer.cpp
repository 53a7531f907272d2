// SPDX-License-Identifier: Apache-2.0
//
// What the writers of formats that hold one page share.
#include <string>

#include "dibkit/host/encoded_page.h"
#include "formats/codec.h"

namespace dibkit::host {

void OnePageWriter::Add(const DibView& dib, const PageMetadata& metadata,
                        const PageOptions& options) {
  RequireFirst();
  RequireHeld(format_, options.compression, dib);
  RequireSize(dib);
  written_ = true;
  Write(sink_, dib, metadata, options);
}

void OnePageWriter::Append(const EncodedPage& page) {
  RequireFirst();
  RequireFormat(format_, page);
  written_ = true;
  sink_.Write(page.Bytes());
}

void OnePageWriter::RequireFirst() const {
  if (written_) {
    throw ImageError(ImageFault::kNotHeld,
                     std::string("a ") + FormatName(format_) + " file holds one page only");
  }
}

void RequireFormat(ImageFormat format, const EncodedPage& page) {
  if (page.Format() != format) {
    throw ImageError(ImageFault::kNotHeld, std::string("a page of a ") + FormatName(page.Format()) +
                                               " file cannot go into a " + FormatName(format) +
                                               " file as it is");
  }
}

}  // namespace dibkit::host
