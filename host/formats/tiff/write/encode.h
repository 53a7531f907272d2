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

// More than a page can take in the file: `height` rows of `rowBytes` unpacked, and a profile and
// texts of `describingBytes`.
uint64_t MostPageBytes(uint64_t rowBytes, uint32_t height, Compression compression,
                       uint64_t describingBytes);

// Sets the tags that say how the page is stored.
void SetForm(TIFF* tiff, const DibView& dib, const StoredForm& form, const PageOptions& options);

// Writes all strips. Throws as Output.
void Encode(Output& output, const DibView& dib, const StoredForm& form, Compression compression);

}  // namespace dibkit::host::tiff

#endif  // DIBKIT_HOST_FORMATS_TIFF_WRITE_ENCODE_H
