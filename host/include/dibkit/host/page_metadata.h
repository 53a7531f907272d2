// SPDX-License-Identifier: Apache-2.0
//
// What goes with an image besides its pixels, from one format to another where it has a place.
#ifndef DIBKIT_HOST_PAGE_METADATA_H
#define DIBKIT_HOST_PAGE_METADATA_H

#include <string>
#include <vector>

#include "dibkit/host/resolution.h"

namespace dibkit::host {

// Texts that describe a page, named after the TIFF tags (269, 270, 271, 272, 285, 305, 306, 315,
// 316, 33432). PNG keeps them as text chunks (Title, Description, Make, Model, Page, Software,
// Creation Time, Author, Host, Copyright), JPEG in an Exif block.
enum class TextKind {
  kDocumentName,
  kDescription,
  kMake,
  kModel,
  kPageName,
  kSoftware,
  kDateTime,
  kArtist,
  kHostComputer,
  kCopyright
};

struct PageText {
  TextKind kind;
  std::string text;  // bytes as the file holds them, without a zero byte
  bool operator==(const PageText&) const = default;
};

struct PageMetadata {
  Resolution resolution{};
  // An ICC profile as it is, empty when there is none.
  std::vector<unsigned char> iccProfile{};
  // At most one of a kind, in the order of TextKind.
  std::vector<PageText> texts{};
};

// The colours that a profile speaks of, by its header; kOther for one too short to say.
enum class ProfileSpace { kGrey, kRgb, kOther };
ProfileSpace SpaceOfProfile(const std::vector<unsigned char>& profile);

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_PAGE_METADATA_H
