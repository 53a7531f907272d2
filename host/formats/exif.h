// SPDX-License-Identifier: Apache-2.0
//
// The Exif block of PNG and JPEG files: orientation, resolution and texts of its first directory.
#ifndef DIBKIT_HOST_FORMATS_EXIF_H
#define DIBKIT_HOST_FORMATS_EXIF_H

#include <span>
#include <vector>

#include "dibkit/host/page_metadata.h"

namespace dibkit::host {

struct ExifBlock {
  unsigned orientation = 1;  // 1 to 8
  Resolution resolution{};   // of the stored axes
  std::vector<PageText> texts{};
};

// Reads a block from its byte order mark on. The bytes may be anything: what is not sound is passed
// over, as viewers do, and nothing outside of them is looked at.
ExifBlock ReadExif(std::span<const unsigned char> block);

// A block that holds the texts and nothing else, of at most `most` bytes, by leaving out those that
// do not fit; empty when there is none. Same texts, same bytes.
std::vector<unsigned char> ExifOfTexts(const std::vector<PageText>& texts, size_t most);

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_FORMATS_EXIF_H
