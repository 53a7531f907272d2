// SPDX-License-Identifier: Apache-2.0
//
// Resolution, profile and texts of a page, from its directory and into one.
#ifndef DIBKIT_HOST_FORMATS_TIFF_METADATA_H
#define DIBKIT_HOST_FORMATS_TIFF_METADATA_H

#include <tiffio.h>

#include <optional>

#include "dibkit/host/page_metadata.h"
#include "formats/tiff/directory.h"

namespace dibkit::host::tiff {

// Of the stored axes, exactly as the directory says it.
Resolution ResolutionOf(TIFF* tiff, const ReadBytes& read, const Form& form,
                        const Directory& directory);

bool HasProfile(TIFF* tiff);

// All but the resolution.
PageMetadata MetadataOf(TIFF* tiff);

// Sets the tags for a page that is about to be written. Its resolution is rounded by libtiff, see
// StoreResolution; the profile goes along when it speaks of such colours.
void SetMetadata(TIFF* tiff, const PageMetadata& metadata, ProfileSpace colours);

// Pixels per inch or centimetre as a file can hold them.
struct FileResolution {
  uint16_t unit;  // RESUNIT_NONE, _INCH, _CENTIMETER
  Rational x;
  Rational y;
};

// None where there is nothing to write: a denominator or both values are 0.
std::optional<FileResolution> FileResolutionOf(const Resolution& resolution);

}  // namespace dibkit::host::tiff

#endif  // DIBKIT_HOST_FORMATS_TIFF_METADATA_H
