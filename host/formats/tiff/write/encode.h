// SPDX-License-Identifier: Apache-2.0
//
// The pixels of a DIB into the strips of a page.
#ifndef DIBKIT_HOST_FORMATS_TIFF_WRITE_ENCODE_H
#define DIBKIT_HOST_FORMATS_TIFF_WRITE_ENCODE_H

#include <cstdint>

#include "dibkit/host/dib_view.h"
#include "dibkit/host/image_writer.h"
#include "dibkit/host/page_metadata.h"
#include "formats/tiff/write/output.h"
#include "formats/tiff/write/stored_form.h"

namespace dibkit::host::tiff {

// More than the pixels of the page can take in the file.
uint64_t MostEncodedBytes(const DibView& dib, const StoredForm& form, Compression compression);

// Sets the tags that say how the page is stored.
void SetForm(TIFF* tiff, const DibView& dib, const StoredForm& form, const PageOptions& options);

// Writes all strips. Throws as Output.
void Encode(Output& output, const DibView& dib, const StoredForm& form, Compression compression);

}  // namespace dibkit::host::tiff

#endif  // DIBKIT_HOST_FORMATS_TIFF_WRITE_ENCODE_H
