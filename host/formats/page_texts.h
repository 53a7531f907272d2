// SPDX-License-Identifier: Apache-2.0
//
// The texts of a page, and the tags that TIFF files and Exif blocks keep them under.
#ifndef DIBKIT_HOST_FORMATS_PAGE_TEXTS_H
#define DIBKIT_HOST_FORMATS_PAGE_TEXTS_H

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "dibkit/host/page_metadata.h"

namespace dibkit::host {

// In the order of TextKind, which is that of the tags.
inline constexpr std::array<uint16_t, 10> kTextTags{269, 270, 271, 272, 285,
                                                    305, 306, 315, 316, 33432};

std::optional<TextKind> TextKindOfTag(uint16_t tag);
constexpr uint16_t TagOf(TextKind kind) { return kTextTags[static_cast<size_t>(kind)]; }

// Adds a text at its place, up to its first zero byte. One of blanks only is left out, and one of
// whose kind there is another already.
void AddText(std::vector<PageText>& texts, TextKind kind, std::string_view text);

}  // namespace dibkit::host

#endif  // DIBKIT_HOST_FORMATS_PAGE_TEXTS_H
